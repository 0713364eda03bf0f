// Lets one allocation of the calling thread fail: linked in, it replaces operator new and, with the
// linker's --wrap=realloc, that too.
#ifndef WZAPP_TESTS_PLATFORM_ZELIPC_FAILING_ALLOCATION_H
#define WZAPP_TESTS_PLATFORM_ZELIPC_FAILING_ALLOCATION_H

#include <gtest/gtest.h>

namespace zelipc_test {

inline constexpr int kNever = -1;

/// The allocations of this thread before one fails; kNever once it has.
extern thread_local int allocationsLeft;

/// Runs `step` with the first, second, third... allocation failing until one run needs fewer.
/// `step` gives whether it succeeded, which it must exactly when nothing failed.
template <class Step>
void failEachAllocation(const Step& step) {
  bool hit = true;
  for (int i = 0; hit; ++i) {
    allocationsLeft = i;
    const bool succeeded = step();
    hit = allocationsLeft == kNever;
    allocationsLeft = kNever;
    EXPECT_EQ(succeeded, !hit) << "allocation " << i;
    ASSERT_LT(i, 10'000);
  }
}

}  // namespace zelipc_test

#endif  // WZAPP_TESTS_PLATFORM_ZELIPC_FAILING_ALLOCATION_H
