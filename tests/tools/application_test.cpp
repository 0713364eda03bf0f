#include "tools/wz/terminal/application.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <ostream>
#include <string>

#include "tests/builders/test_terminal.h"
#include "wzapp/wzapp.h"

namespace wz {
namespace {

namespace fs = std::filesystem;
using testing::EndsWith;
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

TEST_F(ApplicationTest, AFolderStandsInTheApplicationRootAndLeavesNothing) {
  const std::string own = folder("my shop", kManifest);
  {
    PlacedFolder placed;

    ASSERT_TRUE(placed.place(own, error_)) << error_;

    EXPECT_EQ(placed.application().id, "shop");
    EXPECT_EQ(placed.application().manifest, own + "/manifest.mft");
    EXPECT_TRUE(fs::equivalent(inRoot("shop"), own));
  }
  EXPECT_TRUE(fs::is_empty(wzapp::wzInstallAppRoot()));
  EXPECT_TRUE(fs::exists(own + "/manifest.mft"));
}

TEST_F(ApplicationTest, ALinkLeftByAKilledProgramIsReplaced) {
  const std::string own = folder("shop", kManifest);
  fs::create_directories(wzapp::wzInstallAppRoot());
  fs::create_symlink("/nowhere/any/more", inRoot("shop"));
  PlacedFolder placed;

  ASSERT_TRUE(placed.place(own, error_)) << error_;

  EXPECT_TRUE(fs::equivalent(inRoot("shop"), own));
}

TEST_F(ApplicationTest, AnInstalledApplicationIsNotReplaced) {
  const std::string own = folder("shop", kManifest);
  terminal_.writeFile(inRoot("shop/index.html"), "installed");
  {
    PlacedFolder placed;

    EXPECT_FALSE(placed.place(own, error_));

    EXPECT_EQ(error_,
              "the application shop is installed on this terminal; run it by its id, or uninstall "
              "it first");
  }
  EXPECT_EQ(terminal_.readFile(inRoot("shop/index.html")), "installed");
}

TEST_F(ApplicationTest, OneRunAtATimeHasAnId) {
  const std::string one = folder("one", kManifest), two = folder("two", kManifest);
  PlacedFolder first, second, third;
  ASSERT_TRUE(first.place(one, error_)) << error_;

  EXPECT_FALSE(second.place(two, error_));

  EXPECT_EQ(error_, "the application shop is being run from a folder already; end that one first");
  EXPECT_TRUE(fs::equivalent(inRoot("shop"), one));
}

TEST_F(ApplicationTest, AKeyValueManifestWillDo) {
  PlacedFolder placed;

  ASSERT_TRUE(placed.place(folder("shop", "[application]\nid = kiosk\n"), error_)) << error_;

  EXPECT_EQ(placed.application().id, "kiosk");
}

struct WrongManifest {
  const char* name;
  std::string text;
  const char* message;
};

void PrintTo(const WrongManifest& row, std::ostream* out) { *out << row.name; }

class WrongManifestTest : public ApplicationTest,
                          public testing::WithParamInterface<WrongManifest> {};

TEST_P(WrongManifestTest, IsExplainedAndPlacesNothing) {
  PlacedFolder placed;

  EXPECT_FALSE(placed.place(folder("shop", GetParam().text), error_));

  EXPECT_THAT(error_, HasSubstr("/desk/shop/manifest.mft"));
  EXPECT_THAT(error_, EndsWith(GetParam().message));
  EXPECT_FALSE(fs::exists(wzapp::wzInstallAppRoot()));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, WrongManifestTest,
    testing::Values(
        WrongManifest{"Neither", "{", "is no manifest, or names no application id"},
        WrongManifest{"NoId", "{}", "is no manifest, or names no application id"},
        WrongManifest{"EmptyId", R"({"application": {"id": ""}})", "names no application id"},
        WrongManifest{"Path", R"({"application": {"id": "../shop"}})",
                      "has an application id that cannot name a folder: ../shop"},
        WrongManifest{"Parent", R"({"application": {"id": ".."}})", "cannot name a folder: .."},
        WrongManifest{"Long", R"({"application": {"id": ")" + std::string(201, 'x') + R"("}})",
                      "xxx"}),
    [](const testing::TestParamInfo<WrongManifest>& row) { return row.param.name; });

TEST_F(ApplicationTest, AFolderWithoutManifestIsNamed) {
  terminal_.makeFolder("desk/empty");
  PlacedFolder placed;

  EXPECT_FALSE(placed.place(terminal_.directory() + "/desk/empty", error_));

  EXPECT_EQ(error_, "cannot read " + terminal_.directory() +
                        "/desk/empty/manifest.mft: No such file or directory");
}

}  // namespace
}  // namespace wz
