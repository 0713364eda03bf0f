// Lets memory run out, and counts it: a test program that lists wzapp_failing_memory among its LIBS
// has its operator new replaced.
#ifndef WZAPP_TESTS_BUILDERS_FAILING_MEMORY_H
#define WZAPP_TESTS_BUILDERS_FAILING_MEMORY_H

#include <cstddef>

namespace wzapp_test {

enum class Shortage {
  kOnce,     // one allocation fails
  kForGood,  // and all that follow
};

// Lets the calling thread's `nth` allocation from now on fail, counting from 1.
void failAllocation(int nth, Shortage shortage);

// Ends the shortage on the calling thread; true if an allocation has failed.
bool endShortage();

// Begins to count what the calling thread takes and gives back.
void countMemory();

// The most octets that it has had at once since then, beyond those that it had at that time.
std::size_t mostMemory();

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_BUILDERS_FAILING_MEMORY_H
