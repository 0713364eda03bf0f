#include "packaging/application_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/tools/sample_application.h"

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;
using packaging::ApplicationFolder;
using packaging::Findings;
using packaging::readApplicationFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::vector<std::string> namesOf(const ApplicationFolder& folder) {
  std::vector<std::string> names;
  for (const packaging::FolderFile& file : folder.files) names.push_back(file.name);
  return names;
}

std::vector<std::string> textsOf(const std::vector<packaging::Finding>& findings) {
  std::vector<std::string> texts;
  for (const packaging::Finding& finding : findings) texts.push_back(finding.text);
  return texts;
}

class ApplicationFolderTest : public testing::Test {
 protected:
  ApplicationFolder read() { return readApplicationFolder(app_.path(), findings_); }

  SampleApplication app_;
  Findings findings_;
};

TEST_F(ApplicationFolderTest, TellsWhatGoesWhere) {
  app_.write("confOwner.json", "{}");
  app_.write("confApp.json", "{}");
  app_.write(".wz/wz.d.ts", "");
  fs::create_directory(app_ / "empty");

  const ApplicationFolder folder = read();

  EXPECT_THAT(textsOf(findings_.errors), IsEmpty());
  EXPECT_THAT(textsOf(findings_.warnings), IsEmpty());
  EXPECT_EQ(folder.id, "shop");
  EXPECT_EQ(folder.version, "1.2");
  EXPECT_THAT(folder.sponsors, ElementsAre("123456"));
  EXPECT_EQ(folder.manifest.path, app_ / "manifest.mft");
  EXPECT_EQ(folder.ownerConfiguration, app_ / "confOwner.json");
  EXPECT_THAT(namesOf(folder), ElementsAre("confApp.json", "img/logo.svg", "index.html"));
  EXPECT_THAT(folder.leftOut, ElementsAre(".wz"));
}

TEST_F(ApplicationFolderTest, AManifestOfSectionsIsTakenWithAWarning) {
  app_.write("manifest.mft",
             "[application]\nid = shop\nversion = 3\n[install]\nappid = shop\nsponsor = 123456, "
             "654321\n[desktop]\nfile = index.html\n");

  const ApplicationFolder folder = read();

  EXPECT_THAT(textsOf(findings_.errors), IsEmpty());
  EXPECT_THAT(textsOf(findings_.warnings), ElementsAre(HasSubstr("manifest.mft is not JSON")));
  EXPECT_EQ(folder.id, "shop");
  EXPECT_EQ(folder.version, "3");
  EXPECT_THAT(folder.sponsors, ElementsAre("123456", "654321"));
}

TEST_F(ApplicationFolderTest, APageThatIsMissingIsOnlyWarnedOf) {
  app_.write("manifest.mft", R"({"application": {"id": "shop"}, "desktop": {"file": "a.html?x"},
    "imports_trigger": [{"id": "T", "file": "index.html#top"}, {"id": "U", "file": "b.html"}]})");

  read();

  EXPECT_THAT(textsOf(findings_.errors), IsEmpty());
  EXPECT_THAT(textsOf(findings_.warnings),
              ElementsAre(HasSubstr("names the page a.html?x, which is not there"),
                          HasSubstr("names the page b.html, which is not there")));
}

TEST_F(ApplicationFolderTest, AnApplicationThatCouldNotBeStartedIsWarnedOf) {
  app_.write("manifest.mft",
             R"({"application": {"id": "shop"}, "imports_trigger": [{"id": "T"}]})");

  read();

  EXPECT_THAT(textsOf(findings_.errors), IsEmpty());
  EXPECT_THAT(textsOf(findings_.warnings), ElementsAre(HasSubstr("manifest.mft names no page")));
}

TEST_F(ApplicationFolderTest, AFolderThatIsNotThereIsNamed) {
  (void)readApplicationFolder(app_ / "nowhere", findings_);

  EXPECT_THAT(textsOf(findings_.errors),
              ElementsAre((app_ / "nowhere") + " is no folder; name the folder of an application"));
}

TEST_F(ApplicationFolderTest, WhatIsNoFileIsRefused) {
  fs::create_symlink("index.html", app_ / "link.html");
  ASSERT_EQ(mkfifo((app_ / "pipe").c_str(), 0600), 0);

  read();

  EXPECT_THAT(textsOf(findings_.errors),
              testing::UnorderedElementsAre(HasSubstr("link.html is a symbolic link"),
                                            HasSubstr("pipe is neither a file nor a folder")));
}

TEST_F(ApplicationFolderTest, ABackslashInANameIsRefused) {
  app_.write("a\\b", "");

  read();

  EXPECT_THAT(textsOf(findings_.errors), ElementsAre(HasSubstr("has a \\ in its name")));
}

TEST_F(ApplicationFolderTest, NamesOf255OctetsPassAnd256DoNot) {
  const std::string prefix = std::string(100, 'd') + "/";  // behind "shop/"
  app_.write(prefix + std::string(255 - 5 - prefix.size(), 'x'), "");
  app_.write(prefix + std::string(256 - 5 - prefix.size(), 'y'), "");

  read();

  EXPECT_THAT(textsOf(findings_.errors), ElementsAre(HasSubstr("y has a name of 256 octets")));
}

TEST_F(ApplicationFolderTest, AnotherApplicationsManifestIsRefused) {
  app_.write("data/copy.Mft", kShopManifest);
  app_.write("data/other.Mft", R"({"application": {"id": "other"}})");

  read();

  EXPECT_THAT(textsOf(findings_.errors),
              ElementsAre(HasSubstr("data/other.Mft would be taken for")));
}

// ---- Manifests ---------------------------------------------------------------------------------

struct BadManifest {
  const char* name;
  std::string text;
  const char* error;
};

class BadManifestTest : public testing::TestWithParam<BadManifest> {};

TEST_P(BadManifestTest, IsRefusedWithTheReason) {
  const SampleApplication app;
  app.write("manifest.mft", GetParam().text);
  Findings findings;

  (void)readApplicationFolder(app.path(), findings);

  EXPECT_THAT(textsOf(findings.errors), ElementsAre(HasSubstr(GetParam().error)));
}

INSTANTIATE_TEST_SUITE_P(
    Manifests, BadManifestTest,
    testing::Values(
        BadManifest{"Cut", "{\n  \"application\": {\n", "(line 3, column 1)"},
        BadManifest{
            "TrailingComma", "{\"application\": {\"id\": \"a\"},}",
            "manifest.mft is no JSON: Missing a name for object member. (line 1, column 29)"},
        BadManifest{"NoForm", "shop\n", "neither JSON nor sections of keys and values (line 1)"},
        BadManifest{"NoId", "{\"application\": {}}", "the application id is missing"},
        BadManifest{"IdOfAnotherType", "{\"application\": {\"id\": 7}}",
                    "the application id is missing"},
        BadManifest{"Slash", R"({"application": {"id": "a/b"}})",
                    "cannot stand in a folder's name"},
        BadManifest{"LineFeed", R"({"application": {"id": "a\nb"}})",
                    "cannot stand in a folder's name"},
        BadManifest{"Parent", R"({"application": {"id": ".."}})", "names no folder"},
        BadManifest{"Volume", R"({"application": {"id": "C:"}})", "would be taken for a volume"},
        BadManifest{"ZeroOctet", R"({"application": {"id": "a\u0000"}})",
                    "cannot stand in a folder's name"},
        BadManifest{"SectionsWithASlash", "[application]\nid = a\n[install]\nappid = a/b\n",
                    "cannot stand in a folder's name"},
        BadManifest{"SectionsForRemovingWithAVolume", "[uninstall]\nappid = a:\n",
                    "would be taken for a volume"},
        BadManifest{"TooLarge",
                    R"({"application": {"id": "shop"}})" + std::string(std::size_t{1} << 20, ' '),
                    "has more than 1 MiB"},
        BadManifest{"Manifest", R"({"application": {"id": "shop.mFt"}})", "ends in .mft"},
        BadManifest{"LongId", "{\"application\": {\"id\": \"" + std::string(239, 'i') + "\"}}",
                    "has 239 octets; a package has room for 238"},
        BadManifest{"TwoIds", "[application]\nid = a\n[install]\nappid = b\n",
                    "would be installed as b and run as a"},
        BadManifest{"Missing", "", "the application id is missing"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(ApplicationIdTest, TheLongestHasRoomInEveryPackage) {
  const std::string longest(238, 'i');

  EXPECT_EQ(packaging::whyNoApplicationId(longest), "");
  EXPECT_EQ((longest + "/appuninstall.mft").size() + 1, packaging::kEntryNameLimit);
}

TEST(SponsorTest, SixDigitsAreOne) {
  EXPECT_EQ(packaging::whyNoSponsor("123456"), "");
  EXPECT_EQ(packaging::whyNoSponsor("12345"), "is not six digits");
  EXPECT_EQ(packaging::whyNoSponsor("1234567"), "is not six digits");
  EXPECT_EQ(packaging::whyNoSponsor("12345a"), "is not six digits");
  EXPECT_EQ(packaging::whyNoSponsor("000000"), "is that of no terminal");
}

}  // namespace
}  // namespace wzapp_test
