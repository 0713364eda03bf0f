#include "workstation/browser/engine/process/profile_directory.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/builders/temporary_directory.h"

namespace workstation {
namespace {

namespace fs = std::filesystem;
using wzapp_test::TemporaryDirectory;

class ProfileDirectoryTest : public testing::Test {
 protected:
  ProfileDirectoryTest() { fs::create_directory(terminal / "run"); }

  const TemporaryDirectory terminal;
  std::string error;
};

TEST_F(ProfileDirectoryTest, LiesInTheTerminalAndGoesWithItsObject) {
  std::string path;
  {
    const auto profile = ProfileDirectory::create(terminal.path(), error);
    ASSERT_TRUE(profile) << error;
    path = profile->path();
    EXPECT_EQ(path.rfind(terminal / "run/", 0), 0U);
    EXPECT_TRUE(fs::is_directory(profile->temporary()));
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_all);
  }
  EXPECT_FALSE(fs::exists(path));
}

TEST_F(ProfileDirectoryTest, DirectoriesInUseStayWhenAnotherIsMade) {
  const auto first = ProfileDirectory::create(terminal.path(), error);
  const auto second = ProfileDirectory::create(terminal.path(), error);

  ASSERT_TRUE(first && second);
  EXPECT_NE(first->path(), second->path());
  EXPECT_TRUE(fs::exists(first->path()));
}

TEST_F(ProfileDirectoryTest, AbandonedDirectoriesGo) {
  fs::create_directories(terminal / "run/browser-1-abcdef/profile");
  terminal.write("run/browser-1-abcdef/host.lock", "");
  fs::create_directory(terminal / "run/other");

  const auto profile = ProfileDirectory::create(terminal.path(), error);

  EXPECT_FALSE(fs::exists(terminal / "run/browser-1-abcdef"));
  EXPECT_TRUE(fs::exists(terminal / "run/other"));
}

TEST_F(ProfileDirectoryTest, LinkInTheRunFoldersPlaceIsRefused) {
  const TemporaryDirectory elsewhere;
  fs::remove(terminal / "run");
  fs::create_directory_symlink(elsewhere.path(), terminal / "run");

  EXPECT_EQ(ProfileDirectory::create(terminal.path(), error), nullptr);
  EXPECT_NE(error, "");
  EXPECT_TRUE(fs::is_empty(elsewhere.path()));
}

TEST_F(ProfileDirectoryTest, MissingTerminalIsAnError) {
  EXPECT_EQ(ProfileDirectory::create("/nowhere", error), nullptr);
  EXPECT_NE(error.find("/nowhere/run"), std::string::npos);
}

TEST_F(ProfileDirectoryTest, LongPathsPutTheirSocketsElsewhere) {
  fs::create_directories(terminal / (std::string(60, 'x') + "/run"));

  const auto profile = ProfileDirectory::create(terminal / std::string(60, 'x'), error);

  ASSERT_TRUE(profile) << error;
  EXPECT_LE(profile->temporary().size(), 60U);
}

}  // namespace
}  // namespace workstation
