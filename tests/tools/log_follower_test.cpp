#include "tools/wz/reports/log_follower.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

}  // namespace
}  // namespace wzapp_test
