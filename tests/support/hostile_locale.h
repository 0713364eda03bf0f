// A locale in which numbers have a decimal comma, "~" is white space and the capital of "a" is "Q".
#ifndef WZAPP_TESTS_SUPPORT_HOSTILE_LOCALE_H
#define WZAPP_TESTS_SUPPORT_HOSTILE_LOCALE_H

namespace wzapp_test {

// Makes it the locale of this process; for child processes. False if the
// machine cannot compile it.
[[nodiscard]] bool enterHostileLocale();

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_SUPPORT_HOSTILE_LOCALE_H
