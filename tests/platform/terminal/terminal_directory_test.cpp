#include "workstation/terminal/terminal_directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/builders/file_content.h"
#include "tests/builders/test_terminal.h"
#include "workstation/terminal/terminal_layout.h"

namespace workstation {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using wzapp_test::contentOf;
using wzapp_test::writeFile;
namespace fs = std::filesystem;

// A folder to make terminals and other files in, gone with the object.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string path = (fs::canonical(fs::temp_directory_path()) / "wzapp-test-XXXXXX").string();
    path_ = mkdtemp(path.data());
  }
  ~TemporaryFolder() { fs::remove_all(path_); }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::string operator/(const std::string& name) const { return (path_ / name).string(); }

 private:
  fs::path path_;
};

NewTerminal newTerminal() {
  NewTerminal terminal;
  terminal.profile = wzapp_test::testProfile();
  return terminal;
}

TEST(TerminalDirectoryTest, ANewTerminalIsComplete) {
  const TemporaryFolder folder;
  const std::string directory = folder / "desk/terminal";
  std::string error;

  ASSERT_TRUE(createTerminal(directory, newTerminal(), error)) << error;

  TerminalProfile profile;
  ProfileError profileError;
  EXPECT_TRUE(loadTerminalProfile(directory, profile, profileError)) << profileError.text();
  EXPECT_EQ(profile.sponsorId, "123456");
  EXPECT_EQ(profile.rootsDirectory, directory + "/roots");
  EXPECT_TRUE(fs::is_empty(directory + "/flash"));
  EXPECT_TRUE(fs::is_empty(directory + "/roots"));
  for (const std::string& user : terminalUsers()) {
    EXPECT_TRUE(fs::is_directory(directory + "/home/" + user)) << user;
  }
  struct stat run {};
  ASSERT_EQ(stat((directory + "/run").c_str(), &run), 0);
  EXPECT_EQ(run.st_mode & 07777U, 0700U);
}

TEST(TerminalDirectoryTest, ANewTerminalCanBeEntered) {
  const TemporaryFolder folder;
  std::string error;
  ASSERT_TRUE(createTerminal(folder / "t", newTerminal(), error)) << error;

  EXPECT_TRUE(wzapp_test::runInTerminal(folder / "t", [] {
    EXPECT_TRUE(fs::is_regular_file("/home/sys1/www/terminal-software.mft"));
  }));
}

TEST(TerminalDirectoryTest, TheManifestExportsWhatTheTerminalOffers) {
  const TemporaryFolder folder;
  NewTerminal terminal = newTerminal();
  terminal.exports.triggersVersion = "3.2.1";
  terminal.exports.triggers = {"payment", "a\"b"};
  terminal.exports.interfaces = {"print"};
  std::string error;
  ASSERT_TRUE(createTerminal(folder / "t", terminal, error)) << error;

  rapidjson::Document manifest;
  manifest.Parse(contentOf(folder / "t/home/sys1/www/terminal-software.mft").c_str());

  ASSERT_TRUE(manifest.IsObject());
  EXPECT_STREQ(manifest["exports_sdk"]["triggers_version"].GetString(), "3.2.1");
  ASSERT_EQ(manifest["exports_trigger"].Size(), 2U);
  EXPECT_STREQ(manifest["exports_trigger"][0]["id"].GetString(), "payment");
  EXPECT_STREQ(manifest["exports_trigger"][1]["id"].GetString(), "a\"b");
  ASSERT_EQ(manifest["exports_api"].Size(), 1U);
  EXPECT_STREQ(manifest["exports_api"][0]["id"].GetString(), "print");
}

TEST(TerminalDirectoryTest, CertificatesAreCopiedAndNothingElse) {
  const TemporaryFolder folder;
  writeFile(folder / "roots/b.der", "B");
  writeFile(folder / "roots/A.CRT", "A");
  writeFile(folder / "roots/c.cer", "C");
  writeFile(folder / "roots/c.key", "private");
  writeFile(folder / "roots/.der", "hidden");
  NewTerminal terminal = newTerminal();
  terminal.roots = folder / "roots";
  std::string error;

  ASSERT_TRUE(createTerminal(folder / "t", terminal, error)) << error;

  EXPECT_EQ(certificateFiles(folder / "t/roots"),
            (std::vector<std::string>{folder / "t/roots/A.CRT", folder / "t/roots/b.der",
                                      folder / "t/roots/c.cer"}));
  EXPECT_FALSE(fs::exists(folder / "t/roots/c.key"));
  EXPECT_FALSE(fs::exists(folder / "t/roots/.der"));
  EXPECT_EQ(contentOf(folder / "t/roots/A.CRT"), "A");
}

TEST(TerminalDirectoryTest, CertificatesThatAreGivenBecomeFiles) {
  const TemporaryFolder folder;
  NewTerminal terminal = newTerminal();
  terminal.ownRoots = {{"a.der", std::string("A\0B", 3)}, {"b.der", "C"}};
  std::string error;

  ASSERT_TRUE(createTerminal(folder / "t", terminal, error)) << error;

  EXPECT_EQ(certificateFiles(folder / "t/roots"),
            (std::vector<std::string>{folder / "t/roots/a.der", folder / "t/roots/b.der"}));
  EXPECT_EQ(contentOf(folder / "t/roots/a.der"), std::string("A\0B", 3));
}

TEST(TerminalDirectoryTest, AFolderOfCertificatesTakesTheirPlace) {
  const TemporaryFolder folder;
  writeFile(folder / "roots/a.der", "A");
  NewTerminal terminal = newTerminal();
  terminal.roots = folder / "roots";
  terminal.ownRoots = {{"b.der", "B"}};
  std::string error;

  ASSERT_TRUE(createTerminal(folder / "t", terminal, error)) << error;

  EXPECT_EQ(certificateFiles(folder / "t/roots"),
            std::vector<std::string>{folder / "t/roots/a.der"});
}

TEST(TerminalDirectoryTest, AnEmptyFolderBecomesATerminal) {
  const TemporaryFolder folder;
  fs::create_directory(folder / "t");
  std::string error;

  EXPECT_TRUE(createTerminal(folder / "t", newTerminal(), error)) << error;
}

TEST(TerminalDirectoryTest, AFolderWithSomethingInItIsLeftAlone) {
  const TemporaryFolder folder;
  writeFile(folder / "t/letter.txt", "mine");
  std::string error;

  EXPECT_FALSE(createTerminal(folder / "t", newTerminal(), error));

  EXPECT_THAT(error, EndsWith("/t: is not empty; a terminal needs a folder of its own"));
  EXPECT_EQ(contentOf(folder / "t/letter.txt"), "mine");
}

TEST(TerminalDirectoryTest, AFileIsNoPlaceForATerminal) {
  const TemporaryFolder folder;
  writeFile(folder / "t", "mine");
  std::string error;

  EXPECT_FALSE(createTerminal(folder / "t", newTerminal(), error));

  EXPECT_THAT(error, EndsWith("/t: is no folder"));
}

struct WrongTerminal {
  const char* name;
  void (*spoil)(NewTerminal&, const TemporaryFolder&);
  const char* message;
};

class WrongTerminalTest : public testing::TestWithParam<WrongTerminal> {};

TEST_P(WrongTerminalTest, LeavesNothingBehind) {
  const TemporaryFolder folder;
  NewTerminal terminal = newTerminal();
  GetParam().spoil(terminal, folder);
  std::string error;

  EXPECT_FALSE(createTerminal(folder / "t", terminal, error));

  EXPECT_THAT(error, HasSubstr(GetParam().message));
  EXPECT_FALSE(fs::exists(folder / "t"));
}

INSTANTIATE_TEST_SUITE_P(
    Errors, WrongTerminalTest,
    testing::Values(WrongTerminal{"Width",
                                  [](NewTerminal& made, const TemporaryFolder&) {
                                    made.profile.displayWidth = 0;
                                  },
                                  "\"display.width\" must be from 1 to 16384, not 0"},
                    WrongTerminal{"Sponsor",
                                  [](NewTerminal& made, const TemporaryFolder&) {
                                    made.profile.sponsorId = "12";
                                  },
                                  "\"sponsor.id\" must be six digits"},
                    WrongTerminal{"NoRoots",
                                  [](NewTerminal& made, const TemporaryFolder& folder) {
                                    made.roots = folder / "none";
                                  },
                                  "No such file or directory"},
                    WrongTerminal{"EmptyRoots",
                                  [](NewTerminal& made, const TemporaryFolder& folder) {
                                    writeFile(folder / "roots/readme.txt", "x");
                                    made.roots = folder / "roots";
                                  },
                                  "holds no certificates"},
                    WrongTerminal{"LargeRoot",
                                  [](NewTerminal& made, const TemporaryFolder& folder) {
                                    writeFile(folder / "roots/a.der", std::string(8193, 'x'));
                                    made.roots = folder / "roots";
                                  },
                                  "1 to 8192 octets, this file 8193"}),
    [](const testing::TestParamInfo<WrongTerminal>& row) { return row.param.name; });

TEST(TerminalDirectoryTest, ATooLongPathIsRefusedAtOnce) {
  const TemporaryFolder folder;
  std::string error;

  EXPECT_FALSE(createTerminal(folder / std::string(100, 'x'), newTerminal(), error));

  EXPECT_THAT(error, HasSubstr("; its message bus allows at most 99"));
}

TEST(TerminalLockTest, OneHolderAtATime) {
  const wzapp_test::TemporaryTerminal terminal;
  TerminalLock first, second;
  std::string error;

  ASSERT_TRUE(first.acquire(terminal.directory(), error)) << error;
  EXPECT_FALSE(second.acquire(terminal.directory(), error));

  EXPECT_EQ(error, "another program is changing the terminal " + terminal.directory() +
                       "; try again when it has finished");
  first.release();
  EXPECT_TRUE(second.acquire(terminal.directory(), error)) << error;
}

TEST(TerminalLockTest, WaitingEndsWhenTheHolderLetsGo) {
  const wzapp_test::TemporaryTerminal terminal;
  TerminalLock first;
  std::string error;
  ASSERT_TRUE(first.acquire(terminal.directory(), error)) << error;
  first.release();
  TerminalLock second;

  EXPECT_TRUE(second.wait(terminal.directory(), error)) << error;
}

TEST(TerminalLockTest, AMissingFolderIsNamed) {
  TerminalLock lock;
  std::string error;

  EXPECT_FALSE(lock.acquire("/nowhere", error));

  EXPECT_EQ(error, "cannot look at /nowhere: No such file or directory");
}

}  // namespace
}  // namespace workstation
