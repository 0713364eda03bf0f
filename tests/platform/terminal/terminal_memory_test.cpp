// No memory: what reads a terminal says so, keeps no file open and goes on when there is some
// again.

#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <new>

#include "tests/builders/failing_memory.h"
#include "tests/builders/test_terminal.h"
#include "workstation/terminal/terminal_profile.h"

namespace {

namespace fs = std::filesystem;
using wzapp_test::endShortage;
using wzapp_test::failAllocation;
using wzapp_test::Shortage;
using wzapp_test::TestTerminal;

constexpr int kMoreThanAnyAllocations = 1000;

std::ptrdiff_t openFiles() {
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

TEST(TerminalMemoryTest, AProfileThatFindsNoneLeavesNoFileOpen) {
  const TestTerminal terminal;
  const std::ptrdiff_t before = openFiles();
  int nth = 1;
  for (; nth < kMoreThanAnyAllocations; ++nth) {
    workstation::TerminalProfile profile;
    workstation::ProfileError error;
    bool isLoaded = false;

    failAllocation(nth, Shortage::kOnce);
    try {
      isLoaded = loadTerminalProfile(terminal.directory(), profile, error);
    } catch (const std::bad_alloc&) {
    }
    if (!endShortage()) {
      EXPECT_TRUE(isLoaded);
      break;
    }

    EXPECT_EQ(openFiles(), before) << nth;
  }
  EXPECT_GT(nth, 1);
  EXPECT_LT(nth, kMoreThanAnyAllocations);
}

}  // namespace
