// wz tamper: variants of a package, played on a host.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "tests/tools/key_files.h"
#include "tests/tools/program.h"
#include "tests/tools/sample_application.h"
#include "tools/wz/terminal/development_roots.h"

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;

// The variants of one package, made once for all tests.
struct MadeLab {
  TemporaryDirectory folder;
  std::string package = folder / "shop.zip", path = folder / "lab";
  ProgramResult made;

  MadeLab() {
    const SampleApplication app;
    const ProgramResult packed =
        runWz({"pack", app.path(), "-o", package, "--keys", DEVELOPMENT_KEYS});
    EXPECT_EQ(packed.code, 0) << packed.errors;
    made = runWz({"tamper", package, "-o", path, "--keys", DEVELOPMENT_KEYS});
  }
};

const MadeLab& lab() {
  static const MadeLab made;
  return made;
}

rapidjson::Document manifest() {
  rapidjson::Document document;
  document.Parse(contentOf(lab().path + "/tamper.json").c_str());
  EXPECT_TRUE(document.IsObject());
  return document;
}

ProgramResult play(const std::vector<std::string>& more, const std::string& host = INSTALL_HOST) {
  std::vector<std::string> arguments{"tamper", lab().path, "--run", host};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return runWz(arguments);
}

std::set<std::string> groupsOf(const rapidjson::Document& document) {
  std::set<std::string> groups;
  for (const auto& variant : document["variants"].GetArray()) {
    groups.insert(variant["group"].GetString());
  }
  return groups;
}

class TamperTest : public testing::Test {
 protected:
  void SetUp() override {
    if (wz::developmentRoots().empty()) GTEST_SKIP() << "built with a product's authorities";
  }
};

TEST_F(TamperTest, ASignalEndsWhatTheHostHasStartedToo) {
  const TemporaryDirectory folder;
  const std::string sleeper = folder / "sleeper";
  Program program({"tamper", lab().path, "--run", "sleep 600 & echo $! >" + sleeper + "; wait"});
  for (int i = 0; i < 600 && contentOf(sleeper).empty(); ++i) usleep(100'000);
  const pid_t process = std::stoi("0" + contentOf(sleeper));
  ASSERT_GT(process, 0) << program.errors();

  program.signal(SIGTERM);

  EXPECT_EQ(program.wait(), -SIGTERM);
  for (int i = 0; i < 100 && kill(process, 0) == 0; ++i) usleep(100'000);
  EXPECT_NE(kill(process, 0), 0);
}

TEST_F(TamperTest, SaysWhereItCannotHaveATemporaryFolder) {
  const TemporaryDirectory folder;
  const ProgramResult none =
      runWz({"tamper", lab().path, "--run", "true"}, [] { setenv("TMPDIR", "/nowhere", 1); });

  EXPECT_EQ(none.code, kEnvironment);
  EXPECT_EQ(none.errors,
            "wz: TMPDIR is to name the folder for temporary files, and there is no folder "
            "/nowhere\n");
}

TEST_F(TamperTest, MakesVariantsOfEveryGroup) {
  ASSERT_EQ(lab().made.code, 0) << lab().made.errors;
  EXPECT_EQ(lab().made.errors, "");  // nothing is left out

  const rapidjson::Document document = manifest();
  std::set<std::string> names;
  for (const auto& variant : document["variants"].GetArray()) {
    names.insert(variant["name"].GetString());
    EXPECT_TRUE(fs::is_directory(lab().path + "/" + variant["name"].GetString()));
  }
  EXPECT_GE(names.size(), 200U);
  EXPECT_EQ(names.size(), document["variants"].Size());
  EXPECT_EQ(groupsOf(document),
            (std::set<std::string>{"around", "as-it-is", "certificate", "content", "cut", "empty",
                                   "file", "flip", "form", "kind", "manifest", "missing", "rename",
                                   "replace", "resign", "signature", "swap", "twice", "unpack"}));
}

// Every message of the installer that a package can provoke is among them.
TEST_F(TamperTest, EveryMessageThatAPackageCanProvokeIsThere) {
  const rapidjson::Document document = manifest();

  for (const auto& message : document["unprovoked"].GetArray()) {
    EXPECT_NE(message["why"].GetStringLength(), 0U) << message["line"].GetString();
  }
}

TEST_F(TamperTest, TheLibrarySaysWhatItMust) {
  for (const char* const group : {"as-it-is", "swap", "kind"}) {
    const ProgramResult result = play({"--only", group});

    EXPECT_EQ(result.code, 0) << result.out << result.errors;
    EXPECT_THAT(result.out, HasSubstr("variants are as they must be\n"));
  }
}

TEST_F(TamperTest, AHostThatKeepsALineBackIsFound) {
  const ProgramResult result =
      play({"--only", "swap"}, std::string(INSTALL_HOST) + " | grep -v 'Invalid signature'");

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(result.out, AllOf(HasSubstr("-swap: the archives\n  not said: Error: Invalid "
                                          "signature\n"),
                                HasSubstr("2 of 3 variants are as they must be [WZ-0912]\n")));
}

TEST_F(TamperTest, AHostThatSaysTooMuchIsFound) {
  const ProgramResult result =
      play({"--only", "as-it-is", "--json"},
           "echo 'Error: Invalid signature'; " + std::string(INSTALL_HOST) + " | sed s/OK/ERROR/");

  EXPECT_EQ(result.code, kRejected);
  rapidjson::Document document;
  document.Parse(result.out.c_str());
  ASSERT_TRUE(document.IsObject());
  const auto& differences = document["result"]["differences"];
  ASSERT_EQ(differences.Size(), 1U);
  EXPECT_STREQ(differences[0]["unexpected"][0].GetString(), "Error: Invalid signature");
  EXPECT_STREQ(differences[0]["otherwise"].GetString(), "the overall result is ERROR, not OK");
}

TEST_F(TamperTest, AHostThatDoesNotInstallIsNamed) {
  const ProgramResult result = play({"--only", "as-it-is"}, "true");

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_THAT(result.errors, HasSubstr("true has written no \"Overall result: \""));
}

TEST_F(TamperTest, ATerminalOfAnotherSponsorIsRefused) {
  const TemporaryDirectory folder;
  ASSERT_EQ(runWz({"terminal", "create", folder / "desk", "--sponsor", "999999"}).code, 0);

  const ProgramResult result = play({"--terminal", folder / "desk", "--only", "swap"});

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_THAT(result.errors, HasSubstr("is of the sponsor 999999, which the package is not for"));
}

TEST_F(TamperTest, WhatIsNoBeginningIsRefused) {
  const TemporaryDirectory folder;
  const std::string junk = folder.write("junk.zip", "junk");

  const ProgramResult refused =
      runWz({"tamper", junk, "-o", folder / "lab", "--keys", DEVELOPMENT_KEYS});
  const ProgramResult nothing = runWz({"tamper", junk});
  const ProgramResult keyless =
      runWz({"tamper", lab().package, "-o", folder / "lab", "--keys", folder / "nowhere"});
  const ProgramResult existing =
      runWz({"tamper", lab().package, "-o", folder.path(), "--keys", DEVELOPMENT_KEYS});

  EXPECT_EQ(refused.code, kRejected);
  EXPECT_THAT(refused.errors, HasSubstr("[WZ-0911]"));
  EXPECT_FALSE(fs::exists(folder / "lab"));
  EXPECT_EQ(nothing.code, kUsage);
  EXPECT_EQ(keyless.code, kEnvironment);
  EXPECT_THAT(keyless.errors, HasSubstr("there is no folder " + (folder / "nowhere")));
  EXPECT_EQ(existing.code, kEnvironment);
}

// Without private keys there is less, and it is said what.
TEST_F(TamperTest, WithoutPrivateKeysLessIsMade) {
  const TemporaryDirectory folder;
  const std::string keys = folder / "keys";
  fs::copy(DEVELOPMENT_KEYS, keys, fs::copy_options::recursive);
  for (const auto& entry : fs::recursive_directory_iterator(keys)) {
    if (entry.path().extension() == ".key") fs::remove(entry.path());
  }

  const ProgramResult result =
      runWz({"tamper", lab().package, "-o", folder / "lab", "--keys", keys});

  EXPECT_EQ(result.code, 0);
  EXPECT_THAT(result.errors,
              AllOf(HasSubstr("left out of resign: the private keys"),
                    HasSubstr("left out of replace: no private key"),
                    HasSubstr("messages of the installer that no variant provokes")));
}

// All of them: half a minute.
TEST_F(TamperTest, DISABLED_TheLibrarySaysOfEveryVariantWhatItMust) {
  for (const std::string& group : groupsOf(manifest())) {
    const ProgramResult result = play({"--only", group});

    EXPECT_EQ(result.code, 0) << group << ": " << result.out << result.errors;
  }
}

}  // namespace
}  // namespace wzapp_test
