// A log callback that keeps what it is told.
#ifndef WZAPP_TESTS_BUILDERS_COLLECTED_LOG_H
#define WZAPP_TESTS_BUILDERS_COLLECTED_LOG_H

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

namespace wzapp_test {

using Lines = std::vector<std::string>;

// At most 4095 octets.
inline std::string formatLine(const char* format, va_list arguments) {
  char line[4096];
  std::vsnprintf(line, sizeof line, format, arguments);
  return line;
}

// `user` is the Lines that it adds to.
inline void collectLine(void* user, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  static_cast<Lines*>(user)->push_back(formatLine(format, arguments));
  va_end(arguments);
}

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_BUILDERS_COLLECTED_LOG_H
