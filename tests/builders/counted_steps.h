// How much work a program does, counted instead of measured: the same on every machine, whatever
// else it does. A test program that lists wzapp_counted_steps among its LIBS has the archive, the
// installer and what they stand on compiled once more, such that every step from one basic block to
// the next is counted.
#ifndef WZAPP_TESTS_BUILDERS_COUNTED_STEPS_H
#define WZAPP_TESTS_BUILDERS_COUNTED_STEPS_H

#include <cstdint>

namespace wzapp_test {

// The steps that the program has taken so far. For one thread.
std::uint64_t stepsTaken();

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_BUILDERS_COUNTED_STEPS_H
