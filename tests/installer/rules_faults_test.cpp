// The rules on a rich terminal, with one operation after the other failing, and with memory running
// out after one allocation more each time.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
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
    applyMarketplaceRules(removed);
    checkDependencies(removed);
  }

  static std::size_t openFiles() { return listed("/proc/self/fd").size(); }

  FileCalls calls;
  AppIds removed;
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
    // What has no status is left without a word, and so are the manifests that cannot be listed
    // when the dependency check cleans up.
    if (failed.function == "fstatat") continue;
    if (failed.function == "opendir" && failed.name == kManifests) continue;
    if (failed.function == "readdir") continue;  // some are those of the same listing
    EXPECT_TRUE(tree() == kWhatStays || lines != undisturbed)
        << nth << " " << failed.function << " " << failed.name;
  }
  EXPECT_GT(nth, 60);
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
    removed.clear();
    bool wasThrown = false;

    failAllocation(nth, Shortage::kOnce);
    try {
      applyMarketplaceRules(removed);
      checkDependencies(removed);
    } catch (const std::bad_alloc&) {
      wasThrown = true;
    }
    if (!endShortage()) break;

    if (wasThrown) {
      applyMarketplaceRules(removed);
      checkDependencies(removed);
      ASSERT_EQ(tree(), kWhatStays) << nth;
    }
    ASSERT_EQ(openFiles(), before) << nth;
  }
  EXPECT_GT(nth, 300);
  EXPECT_LT(nth, kMoreThanAnyAllocations);
}

}  // namespace
}  // namespace wzapp
