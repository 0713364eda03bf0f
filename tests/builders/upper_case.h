// The installer's idea of capitals: those of ASCII, whatever the locale.
#ifndef WZAPP_TESTS_BUILDERS_UPPER_CASE_H
#define WZAPP_TESTS_BUILDERS_UPPER_CASE_H

#include <string>

namespace wzapp_test {

inline std::string upper(std::string text) {
  for (char& c : text) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  return text;
}

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_BUILDERS_UPPER_CASE_H
