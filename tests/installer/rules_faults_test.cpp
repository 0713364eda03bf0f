// The rules on a rich terminal, with one operation after the other failing, and with memory running
// out after one allocation more each time.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <set>
#include <string>

#include "installer/dependency_check.h"
#include "installer/marketplace_rules.h"
#include "support/install_result.h"
#include "tests/builders/failing_memory.h"
#include "tests/installer/file_calls.h"
#include "tests/installer/rules_fixture.h"

namespace wzapp {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using namespace wzapp_test;

class RulesFaultsTest : public RulesTest {
 protected:
  // One application that stays, and one for each way to go.
  void fill() {
    fs::remove_all(kConfig);
    terminal.writeFile("/home/sys1/www/terminal.mft", R"({"exports_trigger":[{"id":"pay"}]})");
    install("stays", R"({"application":{"id":"stays"},"imports_trigger":[{"id":"pay"}]})");
    install("needy", R"({"application":{"id":"needy"},"imports_trigger":[{"id":"none"}]})");
    install("uninstalled", "{}");
    writeUninstallManifest("uninstalled", manifestFor("uninstalled"));
    install("refused", "{}");
    writeMarketplaceManifest("refused", manifestFor("refused", "1"));
    installApplication("unknown");
  }

  void run() {
    removed.clear();
    lines.clear();
    setInstallResult(kInstallOk);
    isJudged = applyMarketplaceRules(removed) && checkDependencies(removed);
  }

  static std::size_t openFiles() { return listed("/proc/self/fd").size(); }

  FileCalls calls;
  AppIds removed;
  bool isJudged = false;
};

const std::set<std::string> kWhatStays = {"fsroot/",
                                          "fsroot/stays/",
                                          "fsroot/stays/data",
                                          "mp/",
                                          "mp/stays/",
                                          "mp/stays/mpmanifest.mft",
                                          "wz/",
                                          "wz/stays.mft",
                                          "wz/stays/",
                                          "wz/stays/index.html"};

TEST_F(RulesFaultsTest, BeginWithARunThatHasNone) {
  fill();

  run();

  EXPECT_EQ(tree(), kWhatStays);
  EXPECT_THAT(removed, ElementsAre("needy", "refused"));
  EXPECT_EQ(installResult(), kInstallError);
}

TEST_F(RulesFaultsTest, EndTheRunAndAreSeenInItsReport) {
  fill();
  run();
  const Lines undisturbed = lines;
  const std::size_t before = openFiles();
  int nth = 1;
  for (bool wasHit = true; wasHit; ++nth) {
    fill();
    int count = 0;
    FileCall failed;
    calls.hook = [&](const FileCall& call) {
      if (++count != nth) return 0;
      failed = call;
      return EIO;
    };

    run();

    calls.hook = nullptr;
    wasHit = count >= nth;
    EXPECT_EQ(openFiles(), before) << nth;
    // What has no status is left without a word.
    if (failed.function == "fstatat") continue;
    EXPECT_TRUE(tree() == kWhatStays || lines != undisturbed)
        << nth << " " << failed.function << " " << failed.name;
  }
  EXPECT_GT(nth, 60);
}

// Whatever is looked at, and for whatever reason it cannot be seen for a moment.
class PassingFaultsTest : public RulesFaultsTest, public testing::WithParamInterface<int> {
 protected:
  // Lets the `nth` look and those that repeat it fail, `times` in all. False when there are fewer.
  bool runWithFault(int nth, int times) {
    fill();
    int count = 0;
    int left = times;
    failed = FileCall();
    calls.hook = [&](const FileCall& call) {
      if (!isLook(call)) return 0;
      ++count;
      const bool isRepeated = call.function == failed.function && call.name == failed.name;
      if (count < nth || (count > nth && !isRepeated) || left == 0) return 0;
      failed = call;
      --left;
      return GetParam();
    };
    run();
    calls.hook = nullptr;
    return count >= nth;
  }

  [[nodiscard]] std::string where(int nth) const {
    return std::to_string(nth) + ": " + failed.function + " " + failed.name;
  }

  // A sample, or every one.
  static int step() { return std::getenv("WZAPP_EVERY_POINT") != nullptr ? 1 : 7; }

  // Whether it is one of those that tell who may stay, and not one of a removal.
  bool isLook(const FileCall& call) {
    if (call.function == "opendir" || call.function == "fdopendir") opened = call.function;
    if (call.function == "readdir") return opened == "opendir";
    if (call.function == "open") return call.name != kConfig;
    return call.function == "opendir" || call.function == "stat" || call.function == "read";
  }

  std::string opened;  // how the last directory was
  FileCall failed;
};

TEST_P(PassingFaultsTest, AreTriedAgainAtOnce) {
  fill();
  run();
  const Lines undisturbed = lines;
  int nth = 1;
  for (; runWithFault(nth, 1); nth += step()) {
    ASSERT_EQ(lines, undisturbed) << where(nth);
    ASSERT_EQ(tree(), kWhatStays) << where(nth);
    ASSERT_TRUE(isJudged) << where(nth);
  }
  EXPECT_GT(nth, 100);
}

TEST_P(PassingFaultsTest, ThatStayCondemnNobody) {
  constexpr int kForGood = 1000000;
  fill();
  run();
  const Lines undisturbed = lines;
  int unknown = 0;
  int nth = 1;
  for (; runWithFault(nth, kForGood); nth += step()) {
    for (const std::string& path : kWhatStays) {
      ASSERT_TRUE(terminal.exists(kConfig + "/" + path)) << where(nth) << ": " << path;
    }
    if (!isJudged) {
      ++unknown;
      ASSERT_EQ(installResult(), kInstallError) << where(nth);
      ASSERT_THAT(lines, testing::Contains(testing::AnyOf(
                             testing::StartsWith("Error: Cannot read '"),
                             testing::StartsWith("Warning: Failed to read directory '"))))
          << where(nth);
    }

    run();

    ASSERT_EQ(tree(), kWhatStays) << where(nth);
    ASSERT_TRUE(isJudged) << where(nth);
  }
  EXPECT_GT(unknown * step(), 80);
}

INSTANTIATE_TEST_SUITE_P(Errors, PassingFaultsTest,
                         testing::Values(EMFILE, ENFILE, ENOMEM, EIO, EINTR));

// What is not there, and what may not be read, is no failure but an answer.
TEST_F(RulesFaultsTest, DoNotIncludeWhatMayNotBeRead) {
  for (const int error : {ENOENT, ENOTDIR, EACCES, EPERM}) {
    fill();
    calls.hook = [error](const FileCall& call) {
      return call.function == "opendir" && call.name == kManifests ? error : 0;
    };

    run();

    calls.hook = nullptr;
    EXPECT_TRUE(isJudged) << error;
    EXPECT_FALSE(terminal.exists(kApps)) << error;
  }
}

TEST_F(RulesFaultsTest, OfMemoryLeaveNothingOpenAndAreMadeUpForByTheNextRun) {
  constexpr int kMoreThanAnyAllocations = 20000;
  constexpr int kStride = 7;  // not every one: a run takes a few thousand
  fill();
  run();
  const std::size_t before = openFiles();
  wzapp::setInstallLog(nullptr, nullptr);  // the log's own memory is not meant
  int nth = 1;
  for (; nth < kMoreThanAnyAllocations; nth += kStride) {
    fill();
    bool wasThrown = false;

    failAllocation(nth, Shortage::kOnce);
    try {
      run();
    } catch (const std::bad_alloc&) {
      wasThrown = true;
    }
    if (!endShortage()) break;

    if (wasThrown) {
      run();
      ASSERT_EQ(tree(), kWhatStays) << nth;
    }
    ASSERT_EQ(openFiles(), before) << nth;
  }
  EXPECT_GT(nth, 200);
  EXPECT_LT(nth, kMoreThanAnyAllocations);
}

}  // namespace
}  // namespace wzapp
