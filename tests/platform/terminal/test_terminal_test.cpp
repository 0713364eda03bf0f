#include "tests/builders/test_terminal.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;

TEST(TestTerminalTest, EveryTestBeginsWithAnEmptyTerminal) {
  {
    TestTerminal terminal;
    terminal.writeFile("/mnt/flash/system/wz/shop.zip", "PK");
    terminal.makeFolder("/home/sys13/flash/www/wz");
    terminal.makeFolder("/mnt/flash/closed/inner");
    ASSERT_EQ(chmod("/mnt/flash/closed", 0), 0);
    terminal.writeFile("terminal.json", "broken");
  }

  const TestTerminal terminal;

  EXPECT_TRUE(fs::is_empty("/mnt/flash"));
  EXPECT_TRUE(fs::is_empty("/home/sys13"));
  EXPECT_EQ(terminal.readFile("terminal.json"), workstation::formatTerminalProfile(testProfile()));
}

TEST(TestTerminalTest, PathsAreTheTerminalsOwnOrRelativeToItsDirectory) {
  TestTerminal terminal;

  terminal.writeFile("/home/usr3/www/a.mft", "{}");

  EXPECT_EQ(terminal.readFile("home/usr3/www/a.mft"), "{}");
  EXPECT_TRUE(terminal.exists("/home/usr3/www/a.mft"));
  EXPECT_FALSE(terminal.exists("/home/usr4/www"));
}

TEST(TestTerminalTest, TheProfileCanBeChanged) {
  TestTerminal terminal;
  workstation::TerminalProfile profile = testProfile();
  profile.model = "N255k";

  terminal.setProfile(profile);

  workstation::TerminalProfile loaded;
  workstation::ProfileError error;
  ASSERT_TRUE(workstation::loadTerminalProfile(terminal.directory(), loaded, error));
  EXPECT_EQ(loaded.model, "N255k");
}

TEST(TestTerminalTest, TheRunFolderIsTheUsersAlone) {
  const TestTerminal terminal;
  struct stat status {};

  ASSERT_EQ(stat((terminal.directory() + "/run").c_str(), &status), 0);

  EXPECT_EQ(status.st_mode & 07777U, 0700U);
}

}  // namespace
}  // namespace wzapp_test
