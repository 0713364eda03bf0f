// A log callback that keeps what it is told.
#ifndef WZAPP_TESTS_BUILDERS_COLLECTED_LOG_H
#define WZAPP_TESTS_BUILDERS_COLLECTED_LOG_H

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

namespace wzapp_test {

using Lines = std::vector<std::string>;

// `user` is the Lines that it adds to.
inline void collectLine(void* user, const char* format, ...) {
  char line[4096];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  static_cast<Lines*>(user)->emplace_back(line);
}

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_BUILDERS_COLLECTED_LOG_H
