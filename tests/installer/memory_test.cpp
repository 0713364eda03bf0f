// No memory: the exported function reports a failure, and nothing stays locked.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <string>

#include "installer/directories.h"
#include "tests/builders/failing_memory.h"
#include "tests/builders/test_terminal.h"
#include "wzapp/wzapp.h"

namespace wzapp {
namespace {

using wzapp_test::endShortage;
using wzapp_test::failAllocation;
using wzapp_test::Shortage;
using wzapp_test::TestTerminal;

constexpr int kMoreThanAnyAllocations = 1000;

// Keeps the last format and needs no memory for it.
void keepLastFormat(void* user, const char* format, ...) {
  *static_cast<const char**>(user) = format;
}

TEST(DirectoriesMemoryTest, TheSourceDirectoryCannotBeCreatedWithoutIt) {
  int nth = 1;
  for (; nth < kMoreThanAnyAllocations; ++nth) {
    const TestTerminal terminal;
    const char* format = nullptr;

    failAllocation(nth, Shortage::kForGood);
    const int result = wzInstallCreateSourceDir(keepLastFormat, &format);
    if (!endShortage()) {
      EXPECT_EQ(result, 0);
      break;
    }

    EXPECT_EQ(result, 2) << nth;
    EXPECT_STREQ(format, "Error: Failed to create %s\n") << nth;
    EXPECT_EQ(wzInstallCreateSourceDir(keepLastFormat, &format), 0) << nth;
  }
  EXPECT_GT(nth, 1);
  EXPECT_LT(nth, kMoreThanAnyAllocations);
}

TEST(DirectoriesMemoryTest, TheConfigurationRootIsLeftForAnotherTry) {
  int nth = 1;
  for (; nth < kMoreThanAnyAllocations; ++nth) {
    const TestTerminal terminal;
    bool wasThrown = false;

    failAllocation(nth, Shortage::kOnce);
    try {
      static_cast<void>(prepareConfigRoot(nullptr, nullptr));
    } catch (const std::bad_alloc&) {
      wasThrown = true;
    }
    if (!endShortage()) break;

    EXPECT_TRUE(wasThrown) << nth;
    EXPECT_TRUE(prepareConfigRoot(nullptr, nullptr)) << nth;
  }
  EXPECT_GT(nth, 1);
  EXPECT_LT(nth, kMoreThanAnyAllocations);
}

TEST(DirectoriesMemoryTest, AnExistingConfigurationRootNeedsNone) {
  const TestTerminal terminal;
  ASSERT_TRUE(prepareConfigRoot(nullptr, nullptr));

  failAllocation(1, Shortage::kForGood);
  const bool isUsable = prepareConfigRoot(nullptr, nullptr);

  EXPECT_FALSE(endShortage());
  EXPECT_TRUE(isUsable);
}

}  // namespace
}  // namespace wzapp
