// No memory: what reads a terminal says so, keeps no file open and goes on when there is some
// again.

#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <new>
#include <string>
#include <vector>

#include "tests/builders/failing_memory.h"
#include "tests/builders/test_terminal.h"
#include "workstation/terminal/terminal_directory.h"
#include "workstation/terminal/terminal_profile.h"
#include "zelsec/zelsec.h"

namespace {

namespace fs = std::filesystem;
using wzapp_test::endShortage;
using wzapp_test::failAllocation;
using wzapp_test::Shortage;
using wzapp_test::testProfile;
using wzapp_test::TestTerminal;

constexpr int kMoreThanAnyAllocations = 1000;
constexpr int kCertificates = 2;

std::ptrdiff_t openFiles() {
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

// Names beyond what a string holds without memory of its own.
std::string longName(char first) { return first + std::string(40, 'x') + ".der"; }

workstation::TerminalProfile profileWithRoots() {
  workstation::TerminalProfile profile = testProfile();
  profile.rootsDirectory = "roots";
  return profile;
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

TEST(TerminalMemoryTest, AFolderOfCertificatesThrowsAndIsClosed) {
  TestTerminal terminal;
  for (const char first : {'a', 'b', 'c'}) {
    terminal.writeFile("roots/" + longName(first), "certificate");
  }
  const std::string folder = terminal.directory() + "/roots";
  const std::ptrdiff_t before = openFiles();
  int nth = 1;
  for (; nth < kMoreThanAnyAllocations; ++nth) {
    std::vector<std::string> files;
    bool wasThrown = false;

    failAllocation(nth, Shortage::kForGood);
    try {
      files = workstation::certificateFiles(folder);
    } catch (const std::bad_alloc&) {
      wasThrown = true;
    }
    if (!endShortage()) {
      EXPECT_EQ(files.size(), 3U);
      break;
    }

    EXPECT_TRUE(wasThrown) << nth;
    EXPECT_EQ(openFiles(), before) << nth;
  }
  EXPECT_GT(nth, 1);
  EXPECT_LT(nth, kMoreThanAnyAllocations);
}

TEST(TerminalMemoryTest, TheSecurityServiceThrowsAndGoesOnWhenThereIsSome) {
  TestTerminal terminal(profileWithRoots());
  terminal.writeFile("roots/" + longName('a'), "certificate");
  std::vector<char> buffer(8192);
  unsigned short length = 0;
  int nth = 1;
  for (; nth < kMoreThanAnyAllocations; ++nth) {
    int result = 0;
    bool wasThrown = false;

    failAllocation(nth, Shortage::kForGood);
    try {
      result = CMDiag(kCertificates, buffer.data(), &length);
    } catch (const std::bad_alloc&) {
      wasThrown = true;
    }
    if (!endShortage()) {
      EXPECT_EQ(result, 0);
      EXPECT_EQ(std::string(buffer.data(), length), "certificate");
      break;
    }

    EXPECT_TRUE(wasThrown) << nth;
  }
  EXPECT_GT(nth, 1);
  EXPECT_LT(nth, kMoreThanAnyAllocations);
}

}  // namespace
