#include "tools/wz/terminal/application.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <ostream>
#include <string>

#include "tests/builders/child_process.h"
#include "tests/builders/test_terminal.h"
#include "wzapp/wzapp.h"

namespace wz {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using wzapp_test::TestTerminal;

constexpr char kManifest[] = R"({"application": {"id": "shop", "version": "1.0"}})";

class ApplicationTest : public testing::Test {
 protected:
  ApplicationTest() { terminal_.makeFolder("/mnt/flash/etc/config/wzapp"); }

  // A folder of the user's own with that manifest; its absolute path.
  std::string folder(const std::string& name, const std::string& manifest) {
    terminal_.writeFile("desk/" + name + "/manifest.mft", manifest);
    return terminal_.directory() + "/desk/" + name;
  }

  static std::string inRoot(const std::string& name) {
    return std::string(wzapp::wzInstallAppRoot()) + "/" + name;
  }

  TestTerminal terminal_;
  std::string error_;
};

TEST_F(ApplicationTest, AnInstalledApplicationIsFoundByTheIdInItsManifest) {
  terminal_.writeFile(inRoot("A.MFT"), R"({"application": {"id": "first"}})");
  terminal_.writeFile(inRoot("b.mft"), "[application]\nid = second\n");
  terminal_.writeFile(inRoot("third"), R"({"application": {"id": "third"}})");
  Application application;

  ASSERT_TRUE(findInstalled("first", application));
  EXPECT_EQ(application.manifest, inRoot("A.MFT"));
  ASSERT_TRUE(findInstalled("second", application));
  EXPECT_EQ(application.id, "second");
  EXPECT_EQ(application.manifest, inRoot("b.mft"));
  EXPECT_FALSE(findInstalled("third", application));
  EXPECT_FALSE(findInstalled("A", application));
}

TEST_F(ApplicationTest, WithoutAnApplicationRootNothingIsInstalled) {
  Application application;

  EXPECT_FALSE(findInstalled("shop", application));
}

// Each in a process of its own: what stands in stays for as long as the process does.
class StandInTest : public ApplicationTest {
 protected:
  template <class Body>
  void inChild(const Body& body) {
    terminal_.makeFolder("/mnt/flash/etc/config/wzapp/wz");
    ASSERT_TRUE(wzapp_test::runInChild(body));
  }

  static std::string errorsOf(StandIn& standIn, const std::string& folder) {
    packaging::Findings findings;
    if (standIn.place(folder, findings)) return {};
    EXPECT_EQ(findings.errors.size(), 1U);
    return findings.errors.empty() ? "" : findings.errors.front().text;
  }
};

TEST_F(StandInTest, AFolderStandsInTheApplicationRootAndLeavesNothing) {
  const std::string own = folder("my shop", kManifest);

  inChild([&] {
    StandIn standIn;

    ASSERT_EQ(errorsOf(standIn, own), "");

    EXPECT_EQ(standIn.application().id, "shop");
    EXPECT_EQ(standIn.application().manifest, own + "/manifest.mft");
    EXPECT_TRUE(fs::equivalent(inRoot("shop"), own));
    EXPECT_TRUE(fs::equivalent(inRoot("shop.MFT"), own + "/manifest.mft"));
    Application application;
    EXPECT_TRUE(findInstalled("shop", application));
  });

  EXPECT_TRUE(fs::is_empty(wzapp::wzInstallAppRoot()));
  EXPECT_TRUE(fs::exists(own + "/manifest.mft"));
}

TEST_F(StandInTest, AnInstalledApplicationIsCoveredAndItsNeighboursAreNot) {
  const std::string own = folder("shop", kManifest);
  terminal_.writeFile(own + "/index.html", "own");
  terminal_.writeFile(inRoot("shop/index.html"), "installed");
  terminal_.writeFile(inRoot("shop.MFT"), R"({"application": {"id": "shop", "version": "0.9"}})");
  terminal_.writeFile(inRoot("till/index.html"), "till");

  inChild([&] {
    StandIn standIn;

    ASSERT_EQ(errorsOf(standIn, own), "");

    EXPECT_EQ(terminal_.readFile(inRoot("shop/index.html")), "own");
    EXPECT_EQ(terminal_.readFile(inRoot("shop.MFT")), kManifest);
    EXPECT_EQ(terminal_.readFile(inRoot("till/index.html")), "till");
  });

  EXPECT_EQ(terminal_.readFile(inRoot("shop/index.html")), "installed");
}

// Others see what is installed, change it, and do not meet what stands in.
TEST_F(StandInTest, WhatOthersDoMeanwhileDoesNotTouchIt) {
  const std::string own = folder("shop", kManifest);
  terminal_.writeFile(own + "/index.html", "own");
  terminal_.writeFile(inRoot("shop/index.html"), "installed");
  int ready[2], go[2];
  ASSERT_EQ(pipe(ready) + pipe(go), 0);
  const pid_t runner = wzapp_test::forkSingleThread();
  if (runner == 0) {
    StandIn standIn;
    const bool isPlaced = errorsOf(standIn, own).empty();
    char sign = isPlaced ? '1' : '0';
    (void)!write(ready[1], &sign, 1);
    (void)!read(go[0], &sign, 1);
    _exit(terminal_.readFile(inRoot("shop/index.html")) == "own" ? 0 : 1);
  }
  char sign = 0;
  ASSERT_EQ(read(ready[0], &sign, 1), 1);
  ASSERT_EQ(sign, '1');

  ASSERT_EQ(runningFolders().size(), 1U);
  EXPECT_EQ(runningFolders()[0].id, "shop");
  EXPECT_EQ(runningFolders()[0].folder, own);
  EXPECT_EQ(terminal_.readFile(inRoot("shop/index.html")), "installed");
  fs::remove_all(inRoot("shop"));
  EXPECT_EQ(write(go[1], &sign, 1), 1);

  int status = -1;
  waitpid(runner, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(runningFolders().empty());
  EXPECT_TRUE(fs::is_empty(wzapp::wzInstallAppRoot()));
  for (const int end : {ready[0], ready[1], go[0], go[1]}) close(end);
}

TEST_F(StandInTest, OneRunAtATimeHasAnId) {
  const std::string one = folder("one", kManifest), two = folder("two", kManifest);

  inChild([&] {
    StandIn first, second;
    ASSERT_EQ(errorsOf(first, one), "");

    EXPECT_EQ(errorsOf(second, two),
              "the application shop is being run from a folder already; end that one first");

    EXPECT_TRUE(fs::equivalent(inRoot("shop"), one));
  });
}

TEST_F(StandInTest, AKeyValueManifestWillDo) {
  const std::string own = folder("shop", "[application]\nid = kiosk\n");

  inChild([&] {
    StandIn standIn;

    ASSERT_EQ(errorsOf(standIn, own), "");

    EXPECT_EQ(standIn.application().id, "kiosk");
  });
}

struct WrongManifest {
  const char* name;
  std::string text;
  const char* message;
};

void PrintTo(const WrongManifest& row, std::ostream* out) { *out << row.name; }

class WrongManifestTest : public StandInTest, public testing::WithParamInterface<WrongManifest> {};

// In the words of wz pack.
TEST_P(WrongManifestTest, IsExplainedAndPlacesNothing) {
  StandIn standIn;

  const std::string error = errorsOf(standIn, folder("shop", GetParam().text));

  EXPECT_THAT(error, HasSubstr("/desk/shop/manifest.mft"));
  EXPECT_THAT(error, HasSubstr(GetParam().message));
  EXPECT_FALSE(fs::exists(wzapp::wzInstallAppRoot()));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, WrongManifestTest,
    testing::Values(
        WrongManifest{"Neither", "{\n  \"a\" 1}",
                      "is no JSON: Missing a colon after a name of object member. (line 2, column "
                      "7)"},
        WrongManifest{"KeyValue", "[application\n", "(line 1)"},
        WrongManifest{"NoId", "{}", ": the application id is missing; write"},
        WrongManifest{"EmptyId", R"({"application": {"id": ""}})", "the application id is missing"},
        WrongManifest{"Path", R"({"application": {"id": "../shop"}})",
                      "cannot stand in a folder's name"},
        WrongManifest{"Parent", R"({"application": {"id": ".."}})",
                      "the application id names no folder"},
        WrongManifest{"Long", R"({"application": {"id": ")" + std::string(239, 'x') + R"("}})",
                      "the application id has 239 octets"}),
    [](const testing::TestParamInfo<WrongManifest>& row) { return row.param.name; });

TEST_F(StandInTest, AFolderWithoutManifestIsNamed) {
  terminal_.makeFolder("desk/empty");
  StandIn standIn;

  EXPECT_THAT(errorsOf(standIn, terminal_.directory() + "/desk/empty"),
              HasSubstr("/desk/empty/manifest.mft is not there"));
}

}  // namespace
}  // namespace wz
