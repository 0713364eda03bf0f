// A run that is killed, or fails, at each of its file operations.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <string>

#include "support/install_result.h"
#include "tests/builders/child_process.h"
#include "tests/installer/file_calls.h"
#include "tests/installer/install_scenario.h"

namespace wzapp {
namespace {

namespace fs = std::filesystem;

using wzapp_test::FileCall;
using wzapp_test::FileCalls;
using wzapp_test::kTemporary;
using wzapp_test::ScenarioTest;
using wzapp_test::Snapshot;
using wzapp_test::triesEveryPoint;
using wzapp_test::tryInChild;

constexpr int kDisturbanceStep = 17;
// The processes that are killed.
constexpr int kBeforeDeletion = 90;
constexpr int kAmongDeletions = 91;

bool isDeletion(const FileCall& call) {
  return call.function == "remove" && call.name != kTemporary;
}

std::ptrdiff_t openFiles() {
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

class InstallDisturbanceTest : public ScenarioTest {
 protected:
  InstallDisturbanceTest() {
    prepare();
    result = install();
    after = snapshot();
    EXPECT_EQ(result, kInstallError);
  }

  // Kills a run at its `nth` file operation. Returns 0 when it has fewer.
  int killAt(int nth) {
    const wzapp_test::ChildResult child = tryInChild([this, nth] {
      int count = 0;
      bool hasDeleted = false;
      calls.hook = [&](const FileCall& call) {
        if (++count == nth) _exit(hasDeleted ? kAmongDeletions : kBeforeDeletion);
        hasDeleted = hasDeleted || isDeletion(call);
        return 0;
      };
      static_cast<void>(install());
    });
    EXPECT_EQ(child.failures, "");
    EXPECT_TRUE(WIFEXITED(child.status)) << child.status;
    return WEXITSTATUS(child.status);
  }

  FileCalls calls;
  // Of the undisturbed run.
  int result;
  Snapshot after;
};

TEST_F(InstallDisturbanceTest, IsMadeUpForWhereverTheRunIsKilled) {
  const int step = triesEveryPoint() ? 1 : kDisturbanceStep;
  int points = 0;
  int deletionPoints = 0;
  for (int nth = 1;; nth += step) {
    prepare();
    const int end = killAt(nth);
    if (end == 0) break;
    ASSERT_TRUE(end == kBeforeDeletion || end == kAmongDeletions) << nth << ": " << end;
    ++points;
    deletionPoints += end == kAmongDeletions ? 1 : 0;

    const int next = install();

    // Once packages are gone, their errors are too.
    ASSERT_TRUE(end == kAmongDeletions || next == result) << nth << ": " << next;
    ASSERT_EQ(snapshot(), after) << nth;
  }
  std::cout << "[ POINTS   ] killed at " << points << " points, " << deletionPoints
            << " of them among the deletions\n";
  EXPECT_GT(points * step, 200);
  EXPECT_TRUE(!triesEveryPoint() || deletionPoints > 3);
}

TEST_F(InstallDisturbanceTest, IsReportedWhereverAnOperationFails) {
  const int step = triesEveryPoint() ? 1 : kDisturbanceStep;
  int points = 0;
  for (int nth = 1;; nth += step) {
    prepare();
    int count = 0;
    FileCall failed;
    const std::ptrdiff_t before = openFiles();
    calls.hook = [&](const FileCall& call) {
      if (++count != nth) return 0;
      failed = call;
      return call.function == "write" ? ENOSPC : EIO;
    };
    static_cast<void>(install());
    calls.hook = nullptr;
    if (count < nth) break;
    ++points;
    const std::string where = std::to_string(nth) + ": " + failed.function + " " + failed.name;

    ASSERT_EQ(openFiles(), before) << where;
    ASSERT_TRUE(lines.back().starts_with("Overall result: ")) << where;
    // Where it is its own removal that fails, the file stays.
    const bool mayStay = failed.function == "remove" && failed.name == kTemporary;
    ASSERT_TRUE(mayStay || !terminal.exists(kTemporary)) << where;

    // With its packages dropped anew the next run comes to the same end.
    dropPackages();
    static_cast<void>(install());
    Snapshot repaired = snapshot();
    Snapshot expected = after;
    for (Snapshot* tree : {&repaired, &expected}) {
      // Data of applications that were removed for a manifest which could not be read.
      std::erase_if(
          *tree, [](const auto& file) { return file.first.find("/fsroot") != std::string::npos; });
    }
    ASSERT_EQ(repaired, expected) << where;
  }
  std::cout << "[ POINTS   ] failed at " << points << " points\n";
  EXPECT_GT(points * step, 200);
}

// The error of an application that is gone is gone with it: what no package brings again is only
// reported as long as there is evidence.
TEST_F(InstallDisturbanceTest, LosesTheErrorOfALapsedApplicationOnlyWithItsManifest) {
  const int step = triesEveryPoint() ? 1 : kDisturbanceStep;
  for (int nth = 1;; nth += step) {
    prepare();
    for (const char* name : {"bad.zip", "fail.zip"}) fs::remove(wzapp_test::kSource + "/" + name);
    const int end = killAt(nth);
    if (end == 0) break;
    const bool hasEvidence = terminal.exists(wzapp_test::kManifests + "/lapsed/mpmanifest.mft");

    const int next = install();

    ASSERT_TRUE(!hasEvidence || next == kInstallError) << nth << ": " << next;
    ASSERT_EQ(snapshot(), after) << nth;
  }
}

}  // namespace
}  // namespace wzapp
