#include "tools/wz/reports/log_follower.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/wz/reports/log_reading.h"

namespace wzapp_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using wz::LogFollower;

class LogFollowerTest : public testing::Test {
 protected:
  // As the library reports.
  template <typename... Arguments>
  void report(const char* format, Arguments... arguments) {
    LogFollower::take(&log_, format, arguments...);
  }

  LogFollower log_{LogFollower::Display::kNone, 1};
};

TEST_F(LogFollowerTest, LinesAreKeptWithoutTheirLineFeeds) {
  report("Installing to %s\n", "/mnt");
  report("Warning: Failed to remove '%s' (errno=%d)\n", "a\nb", 13);

  EXPECT_THAT(log_.lines(),
              ElementsAre("Installing to /mnt", "Warning: Failed to remove 'a\nb' (errno=13)"));
}

TEST_F(LogFollowerTest, ErrorsBelongToThePackageAndItsArchive) {
  report("Install %s\n", "/mnt/flash/system/wz/a.zip");
  report("Error: Failed to extract '%s'\n", "x.crt");
  report("Found %s\n", "SHOP.ZIP");
  report("Error: Signature '%s' not found\n", "SHOP.P7S");
  report("Install %s\n", "/mnt/flash/system/wz/b.zip");
  report("Error: Failed reading '%s'\n", "/mnt/flash/system/wz/b.zip");

  EXPECT_THAT(log_.ofPackage("a.zip"),
              ElementsAre("Error: Failed to extract 'x.crt'",
                          "SHOP.ZIP: Error: Signature 'SHOP.P7S' not found"));
  EXPECT_THAT(log_.ofPackage("b.zip"),
              ElementsAre("Error: Failed reading '/mnt/flash/system/wz/b.zip'"));
}

TEST_F(LogFollowerTest, RefusalsBelongToTheApplicationThatIsChecked) {
  report("Install %s\n", "/mnt/flash/system/wz/a.zip");
  report("postinstall\n");
  report("Checking %s\n", "Shop");
  report("Mismatching directory name %s\n", "Shop");
  report("Error: No valid marketplace manifest found for %s\n", "TIP");
  report("Checking dependencies\n");
  report("Checking %s\n", "/mnt/flash/etc/config/wzapp/wz/till.MFT");
  report("Error: Missing api %s\n", "PRINT");

  EXPECT_THAT(log_.ofPackage("a.zip"), IsEmpty());
  EXPECT_THAT(log_.ofApplication("shop"), ElementsAre("Mismatching directory name Shop"));
  EXPECT_THAT(log_.ofApplication("tip"),
              ElementsAre("Error: No valid marketplace manifest found for TIP"));
  EXPECT_THAT(log_.ofApplication("Till"), ElementsAre("Error: Missing api PRINT"));
}

// A package decides what its archives are called, but not what the log says about them.
TEST_F(LogFollowerTest, ANameIsNotTakenForALineOfTheLog) {
  report("Install %s\n", "/mnt/flash/system/wz/a.zip");
  report("Found %s\n", "postinstall\nChecking tip\nError: x.zip");
  report("Error: Invalid signature\n");

  EXPECT_THAT(log_.ofPackage("a.zip"),
              ElementsAre("postinstall\nChecking tip\nError: x.zip: Error: Invalid signature"));
  EXPECT_THAT(log_.ofApplication("tip"), IsEmpty());
}

TEST_F(LogFollowerTest, WhatTheListingSaysIsNobodysReason) {
  report("postinstall\n");
  report("Checking %s\n", "shop");
  report("List of installed applications:\n");
  report("Error: app id missing in %s\n", "x");

  EXPECT_THAT(log_.ofApplication("shop"), IsEmpty());
}

// ---- Logs that are read back -------------------------------------------------------------------

using Lines = std::vector<std::string>;

Lines codesOf(const wz::LogRemarks& remarks) {
  Lines codes;
  for (const wz::LogRemark& remark : remarks) codes.emplace_back(remark.code->id);
  return codes;
}

TEST(LogReadingTest, RemarksBelongToPackagesArchivesAndRemovals) {
  const auto runs = wz::readInstallLog({
      "Installing to /mnt/flash/etc/config/wzapp/wz",
      "Install /mnt/flash/system/wz/a.zip",
      "Error: Failed to extract 'x.crt'",
      "Found shop.zip",
      "Error: Invalid signature",
      "Found tip.zip",
      "Checking tip.zip",
      "Extracting tip.zip",
      "postinstall",
      "Checking tip",
      "Error: Invalid sponsor list '1' for installing 'tip', expecting sponsor '2'",
      "Removing /mnt/flash/etc/config/wzapp/wz/tip.MFT",
      "Error: No valid marketplace manifest found for TIP",
      "Removing /mnt/flash/etc/config/wzapp/wz/tip",
      "Removing /mnt/flash/etc/config/wzapp/fsroot/tip",
      "Removing /mnt/flash/etc/config/wzapp/wz/old",
      "Checking dependencies",
      "Reading /mnt/flash/etc/config/wzapp/wz/cafe.MFT",
      "Checking /mnt/flash/etc/config/wzapp/wz/cafe.MFT",
      "Error: Missing api PRINT",
      "Removing app CAFE",
      "Re-checking dependencies after removing apps",
      "Checking /mnt/flash/etc/config/wzapp/wz/till.MFT",
      "Error: Missing trigger PAID",
      "Removing app TILL",
      "Re-checking dependencies after removing apps",
      "Error: Installation of tip failed",
      "List of installed applications:",
      "shop",
      "Overall result: ERROR",
  });

  ASSERT_EQ(runs.size(), 1U);
  const wz::LoggedRun& run = runs[0];
  ASSERT_EQ(run.packages.size(), 1U);
  EXPECT_THAT(codesOf(run.packages[0].remarks), ElementsAre("WZ-0102"));
  ASSERT_EQ(run.packages[0].archives.size(), 2U);
  EXPECT_THAT(codesOf(run.packages[0].archives[0].remarks), ElementsAre("WZ-0305"));
  EXPECT_FALSE(run.packages[0].archives[0].isExtracted);
  EXPECT_TRUE(run.packages[0].archives[1].isExtracted);
  ASSERT_EQ(run.removals.size(), 4U);
  EXPECT_THAT(codesOf(run.findRemoval("tip")->reasons), ElementsAre("WZ-0503", "WZ-0507"));
  EXPECT_THAT(run.findRemoval("old")->reasons, IsEmpty());
  EXPECT_EQ(run.findRemoval("cafe")->pass, 1U);
  EXPECT_EQ(run.findRemoval("Till")->pass, 2U);
  EXPECT_EQ(run.failed, "tip");
  EXPECT_THAT(run.installed, ElementsAre("shop"));
  EXPECT_EQ(run.resultWord, "ERROR");
}

// A package decides what its archives are called, but not what the log says about them.
TEST(LogReadingTest, ANameIsNotTakenForALine) {
  const auto runs = wz::readInstallLog({"09:00 Install /x/a.zip", "09:00 Found Removing app SHOP",
                                        "09:00 Found Error: Missing trigger X"});

  ASSERT_EQ(runs.size(), 1U);
  EXPECT_THAT(runs[0].removals, IsEmpty());
  ASSERT_EQ(runs[0].packages[0].archives.size(), 2U);
  EXPECT_THAT(runs[0].packages[0].archives[1].remarks, IsEmpty());
}

TEST(LogReadingTest, RunsFollowOneAnotherAndMayBeCut) {
  const auto runs = wz::readInstallLog({"noise", "Installing to /x", "Overall result: NO PACKAGE",
                                        "noise", "Installing to /x", "postinstall"});

  ASSERT_EQ(runs.size(), 2U);
  EXPECT_EQ(runs[0].firstLine, 1U);
  EXPECT_EQ(runs[0].lineCount, 2U);
  EXPECT_EQ(runs[1].firstLine, 4U);
  EXPECT_EQ(runs[1].resultWord, "");
  EXPECT_THAT(wz::readInstallLog({"no log", ""}), IsEmpty());
}

}  // namespace
}  // namespace wzapp_test
