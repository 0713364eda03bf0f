// Lets memory run out: replaces operator new of the whole program.
#ifndef WZAPP_TESTS_RUNTIME_STUBS_FAILING_MEMORY_H
#define WZAPP_TESTS_RUNTIME_STUBS_FAILING_MEMORY_H

namespace stubs {

enum class Shortage {
  kOnce,     // one allocation fails
  kForGood,  // and all that follow
};

// Lets the calling thread's `nth` allocation from now on fail, counting from 1.
void failAllocation(int nth, Shortage shortage);

// Ends the shortage on the calling thread; true if an allocation has failed.
bool endShortage();

}  // namespace stubs

#endif  // WZAPP_TESTS_RUNTIME_STUBS_FAILING_MEMORY_H
