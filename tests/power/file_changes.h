// What a program changes on the flash, one operation after the other: the functions that
// CMakeLists.txt lists are wrapped in it.
#ifndef WZAPP_TESTS_POWER_FILE_CHANGES_H
#define WZAPP_TESTS_POWER_FILE_CHANGES_H

namespace wzapp_test {

// Called before each change; null: nobody is. Set while one thread runs.
extern void (*beforeChange)();

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_POWER_FILE_CHANGES_H
