#include "installer/application_manifest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <optional>
#include <ostream>
#include <string>

#include "support/install_result.h"
#include "tests/installer/file_calls.h"
#include "tests/installer/rules_fixture.h"

namespace wzapp {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using wzapp_test::FileCall;
using wzapp_test::FileCalls;
using wzapp_test::RulesTest;

const std::string kPath = "/mnt/flash/shop.mft";

std::string nested(int levels) {
  return std::string(static_cast<std::size_t>(levels), '[') +
         std::string(static_cast<std::size_t>(levels), ']');
}

// --- Application id ---------------------------------------------------------------------------

struct AppIdCase {
  const char* name;
  std::string content;
  std::string appId;
};

void PrintTo(const AppIdCase& row, std::ostream* out) { *out << row.name; }

class ReadManifestAppIdTest : public RulesTest, public testing::WithParamInterface<AppIdCase> {};

TEST_P(ReadManifestAppIdTest, FindsTheIdInSilence) {
  terminal.writeFile(kPath, GetParam().content);

  EXPECT_EQ(readManifestAppId(kPath), GetParam().appId);

  EXPECT_THAT(lines, IsEmpty());
  EXPECT_EQ(installResult(), kInstallOk);
}

INSTANTIATE_TEST_SUITE_P(
    JSON, ReadManifestAppIdTest,
    testing::Values(AppIdCase{"Id", R"({"application":{"id":"shop"}})", "shop"},
                    AppIdCase{"WhiteSpaceAround", "\n {\"application\":{\"id\":\"shop\"}}\n",
                              "shop"},
                    AppIdCase{"EmptyId", R"({"application":{"id":""}})", ""},
                    AppIdCase{"IdWithASlash", R"({"application":{"id":"a/b"}})", ""},
                    AppIdCase{"IdWithABackslash", R"({"application":{"id":"a\\b"}})", ""},
                    AppIdCase{"IdWithAZeroOctet", R"({"application":{"id":"a\u0000b"}})", ""},
                    AppIdCase{"DirectoryItselfAsId", R"({"application":{"id":"."}})", ""},
                    AppIdCase{"DirectoryAboveAsId", R"({"application":{"id":".."}})", ""},
                    AppIdCase{"VolumeAsId", R"({"application":{"id":"C:"}})", ""},
                    AppIdCase{"DotsInsideAnId", R"({"application":{"id":"a..b."}})", "a..b."},
                    AppIdCase{"IdIsNotTrimmed", R"({"application":{"id":" a "}})", " a "},
                    AppIdCase{"NumberAsId", R"({"application":{"id":7}})", ""},
                    AppIdCase{"NullAsId", R"({"application":{"id":null}})", ""},
                    AppIdCase{"ObjectAsId", R"({"application":{"id":{"id":"x"}}})", ""},
                    AppIdCase{"NoId", R"({"application":{"name":"shop"}})", ""},
                    AppIdCase{"NoApplication", R"({"id":"shop"})", ""},
                    AppIdCase{"ArrayAsApplication", R"({"application":["id"]})", ""},
                    AppIdCase{"TextAsApplication", R"({"application":"id"})", ""},
                    AppIdCase{"ArrayAsRoot", R"([{"application":{"id":"shop"}}])", ""},
                    AppIdCase{"TextAsRoot", R"("shop")", ""}, AppIdCase{"NumberAsRoot", "7", ""},
                    AppIdCase{"NullAsRoot", "null", ""},
                    AppIdCase{"SectionsInsideJSON", "[\n\"[install]\",\n\"appid=shop\"\n]", ""},
                    AppIdCase{"LastOfTwoCounts",
                              R"({"application":{"id":"a"},"application":{"id":"b"}})", "b"}),
    [](const testing::TestParamInfo<AppIdCase>& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    KeyValue, ReadManifestAppIdTest,
    testing::Values(
        AppIdCase{"Install", "[install]\nappid = shop\n", "shop"},
        AppIdCase{"Uninstall", "[uninstall]\nappid = shop\n", "shop"},
        AppIdCase{"InstallBeforeUninstall", "[uninstall]\nappid=b\n[install]\nappid=a\n", "a"},
        AppIdCase{"UninstallForAnEmptyOne", "[install]\nappid=\n[uninstall]\nappid=b\n", "b"},
        AppIdCase{"UninstallForOneWithASlash", "[install]\nappid=/\n[uninstall]\nappid=b\n", "b"},
        AppIdCase{"OnlyOnesThatAreNoNames", "[install]\nappid=../a\n[uninstall]\nappid=..\n", ""},
        AppIdCase{"FaultyLinesAround", "nonsense\n[install]\nmore\nappid=shop\n", "shop"},
        AppIdCase{"KeyOfAnotherCase", "[install]\nAppId=shop\n", ""},
        AppIdCase{"SectionOfAnotherCase", "[Install]\nappid=shop\n", ""},
        AppIdCase{"JSONWithRest", R"({"application":{"id":"shop"}} x)", ""},
        AppIdCase{"JSONCutShort", R"({"application":{"id":"shop"})", ""},
        AppIdCase{"Nothing", "", ""}, AppIdCase{"ZeroOctets", std::string(10, '\0'), ""},
        AppIdCase{"NestedTooDeep", nested(100000), ""}),
    [](const testing::TestParamInfo<AppIdCase>& row) { return row.param.name; });

class ManifestFileTest : public RulesTest {
 protected:
  bool check(const std::string& path) {
    appId = "before";
    return checkManifestSponsor(SponsorMode::kInstall, path, "123456", appId) ==
           SponsorVerdict::kAccepted;
  }

  std::string appId;
};

TEST_F(ManifestFileTest, IsMissing) {
  EXPECT_EQ(readManifestAppId("/mnt/flash/none.mft"), "");
  EXPECT_THAT(lines, IsEmpty());

  EXPECT_FALSE(check("/mnt/flash/none.mft"));
  EXPECT_EQ(appId, "");
  EXPECT_THAT(lines, ElementsAre("Error: Cannot read '/mnt/flash/none.mft', invalid permissions or "
                                 "invalid format\n"));
  EXPECT_EQ(installResult(), kInstallError);
}

// A directory opens like an empty file.
TEST_F(ManifestFileTest, IsADirectory) {
  terminal.makeFolder(kPath);

  EXPECT_EQ(readManifestAppId(kPath), "");
  EXPECT_FALSE(check(kPath));

  EXPECT_THAT(lines, ElementsAre("Error: app id missing in /mnt/flash/shop.mft\n"));
}

TEST_F(ManifestFileTest, IsAPipeThatNobodyWritesTo) {
  ASSERT_EQ(mkfifo(kPath.c_str(), 0600), 0);

  EXPECT_EQ(readManifestAppId(kPath), "");
  EXPECT_FALSE(check(kPath));

  EXPECT_THAT(lines, ElementsAre("Error: Cannot read '/mnt/flash/shop.mft', invalid permissions or "
                                 "invalid format\n"));
}

TEST_F(ManifestFileTest, IsADeviceThatNeverEnds) {
  EXPECT_EQ(readManifestAppId("/dev/zero"), "");
  EXPECT_FALSE(check("/dev/zero"));

  EXPECT_THAT(
      lines,
      ElementsAre("Error: Cannot read '/dev/zero', invalid permissions or invalid format\n"));
}

TEST_F(ManifestFileTest, IsTooLarge) {
  constexpr std::size_t kLimit = std::size_t{1} << 20;
  std::string content = R"({"application":{"id":"shop"},"sponsors":["123456"]})";
  content.resize(kLimit, ' ');
  terminal.writeFile(kPath, content);
  EXPECT_EQ(readManifestAppId(kPath), "shop");
  EXPECT_TRUE(check(kPath));
  terminal.writeFile(kPath, content + " ");

  EXPECT_EQ(readManifestAppId(kPath), "");
  EXPECT_FALSE(check(kPath));

  EXPECT_THAT(lines, ElementsAre("Error: Cannot read '/mnt/flash/shop.mft', invalid permissions or "
                                 "invalid format\n"));
}

TEST_F(ManifestFileTest, IsTooLargeInTheOtherForm) {
  constexpr std::size_t kLimit = std::size_t{1} << 20;
  std::string content = "[install]\nappid=shop\nsponsor=123456\n";
  content.resize(kLimit, '\n');
  terminal.writeFile(kPath, content);
  EXPECT_EQ(readManifestAppId(kPath), "shop");
  EXPECT_TRUE(check(kPath));
  terminal.writeFile(kPath, content + "\n");

  EXPECT_EQ(readManifestAppId(kPath), "");
  EXPECT_FALSE(check(kPath));

  EXPECT_THAT(lines, ElementsAre("Error: Cannot read '/mnt/flash/shop.mft', invalid permissions or "
                                 "invalid format\n"));
}

// Neither a good nor a bad manifest, whichever of the looks fails, and for whatever reason.
TEST_F(ManifestFileTest, CannotBeReadForNow) {
  terminal.writeFile(kPath, R"({"application":{"id":"shop"},"sponsors":["123456"]})");
  FileCalls calls;
  for (const char* function : {"stat", "open", "read"}) {
    for (const int error : {EMFILE, ENFILE, ENOMEM, EIO, EINTR}) {
      int left = 0;
      calls.hook = [&](const FileCall& call) {
        return call.function == function && left-- > 0 ? error : 0;
      };
      lines.clear();

      left = 2;
      EXPECT_TRUE(check(kPath)) << function << " " << error;
      left = 2;
      EXPECT_EQ(readManifestAppId(kPath), "shop") << function << " " << error;
      EXPECT_THAT(lines, IsEmpty());

      left = 3;
      EXPECT_EQ(checkManifestSponsor(SponsorMode::kInstall, kPath, "123456", appId),
                SponsorVerdict::kUnknown)
          << function << " " << error;
      EXPECT_EQ(appId, "");
      left = 3;
      EXPECT_EQ(readManifestAppId(kPath), "") << function << " " << error;
      zelipc::JSObject root;
      left = 3;
      EXPECT_EQ(readManifestJSON(root, kPath), Finding::kUnknown) << function << " " << error;
      EXPECT_THAT(lines, testing::AllOf(testing::SizeIs(3),
                                        testing::Each("Error: Cannot read '/mnt/flash/shop.mft', "
                                                      "invalid permissions or invalid format\n")));
    }
  }
}

// What lies at the path is known; whoever may not read it, though, learns no more.
TEST_F(ManifestFileTest, MayNotBeRead) {
  terminal.writeFile(kPath, R"({"application":{"id":"shop"},"sponsors":["123456"]})");
  FileCalls calls;
  calls.hook = [](const FileCall& call) { return call.function == "open" ? EACCES : 0; };

  EXPECT_EQ(checkManifestSponsor(SponsorMode::kInstall, kPath, "123456", appId),
            SponsorVerdict::kRefused);
}

TEST_F(ManifestFileTest, HasANameThatLooksLikeAFormat) {
  const std::string path = "/mnt/flash/%s%n%d\n.mft";
  terminal.writeFile(path, "{}");

  EXPECT_FALSE(check(path));

  EXPECT_THAT(lines, ElementsAre("Error: app id missing in /mnt/flash/%s%n%d\n.mft\n"));
}

TEST_F(ManifestFileTest, RefusalOutweighsAWarning) {
  setInstallResult(kInstallWarning);

  EXPECT_FALSE(check("/mnt/flash/none.mft"));

  EXPECT_EQ(installResult(), kInstallError);
}

// --- Sponsor ----------------------------------------------------------------------------------

constexpr SponsorMode kInstall = SponsorMode::kInstall;
constexpr SponsorMode kUninstall = SponsorMode::kUninstall;

constexpr const char* kNoId = "Error: app id missing in /mnt/flash/shop.mft\n";
constexpr const char* kUnreadable =
    "Error: Cannot read '/mnt/flash/shop.mft', invalid permissions or invalid format\n";

struct SponsorCase {
  const char* name;
  SponsorMode mode;
  std::string content;
  std::string sponsor;
  std::string appId;
  const char* line;  // null: accepted
};

void PrintTo(const SponsorCase& row, std::ostream* out) { *out << row.name; }

class CheckManifestSponsorTest : public RulesTest,
                                 public testing::WithParamInterface<SponsorCase> {};

TEST_P(CheckManifestSponsorTest, AcceptsOrTellsWhyNot) {
  const SponsorCase& row = GetParam();
  terminal.writeFile(kPath, row.content);
  std::string appId = "before";

  const SponsorVerdict verdict = checkManifestSponsor(row.mode, kPath, row.sponsor, appId);

  EXPECT_EQ(verdict, row.line == nullptr ? SponsorVerdict::kAccepted : SponsorVerdict::kRefused);
  EXPECT_EQ(appId, row.appId);
  if (row.line == nullptr) {
    EXPECT_THAT(lines, IsEmpty());
    EXPECT_EQ(installResult(), kInstallOk);
  } else {
    EXPECT_THAT(lines, ElementsAre(row.line));
    EXPECT_EQ(installResult(), kInstallError);
  }
}

INSTANTIATE_TEST_SUITE_P(
    JSON, CheckManifestSponsorTest,
    testing::Values(
        SponsorCase{"OnlySponsor", kInstall,
                    R"({"application":{"id":"shop"},"sponsors":["123456"]})", "123456", "shop",
                    nullptr},
        SponsorCase{"LastSponsor", kInstall,
                    R"({"application":{"id":"shop"},"sponsors":["1","2","3"]})", "3", "shop",
                    nullptr},
        SponsorCase{"OneListForBothModes", kUninstall,
                    R"({"application":{"id":"shop"},"sponsors":["1"]})", "1", "shop", nullptr},
        SponsorCase{"OtherSponsors", kInstall,
                    R"({"application":{"id":"shop"},"sponsors":["1","2"]})", "3", "shop",
                    "Error: Invalid sponsor list '1,2' for installing 'shop', expecting sponsor "
                    "'3'\n"},
        SponsorCase{"OtherSponsorsUninstalling", kUninstall,
                    R"({"application":{"id":"shop"},"sponsors":["1","2"]})", "3", "shop",
                    "Error: Invalid sponsor list '1,2' for uninstalling 'shop', expecting sponsor "
                    "'3'\n"},
        SponsorCase{"NotTrimmed", kInstall,
                    R"({"application":{"id":"shop"},"sponsors":[" A","A "]})", "A", "shop",
                    "Error: Invalid sponsor list ' A,A ' for installing 'shop', expecting sponsor "
                    "'A'\n"},
        SponsorCase{"CaseCounts", kInstall, R"({"application":{"id":"shop"},"sponsors":["a"]})",
                    "A", "shop",
                    "Error: Invalid sponsor list 'a' for installing 'shop', expecting sponsor "
                    "'A'\n"},
        SponsorCase{"NoSponsors", kInstall, R"({"application":{"id":"shop"}})", "1", "shop",
                    "Error: Invalid sponsor list '' for installing 'shop', expecting sponsor "
                    "'1'\n"},
        SponsorCase{"EmptySponsors", kInstall, R"({"application":{"id":"shop"},"sponsors":[]})", "",
                    "shop",
                    "Error: Invalid sponsor list '' for installing 'shop', expecting sponsor "
                    "''\n"},
        SponsorCase{"TextAsSponsors", kInstall, R"({"application":{"id":"shop"},"sponsors":"1"})",
                    "1", "shop",
                    "Error: Invalid sponsor list '' for installing 'shop', expecting sponsor "
                    "'1'\n"},
        SponsorCase{"ObjectAsSponsors", kInstall,
                    R"({"application":{"id":"shop"},"sponsors":{"0":"1"}})", "1", "shop",
                    "Error: Invalid sponsor list '' for installing 'shop', expecting sponsor "
                    "'1'\n"},
        SponsorCase{"ObjectAsSponsorsWithoutASponsor", kInstall,
                    R"({"application":{"id":"shop"},"sponsors":{"0":"1"}})", "", "shop",
                    "Error: Invalid sponsor list '' for installing 'shop', expecting sponsor "
                    "''\n"},
        SponsorCase{"NumberAmongSponsors", kInstall,
                    R"({"application":{"id":"shop"},"sponsors":[1,"2"]})", "1", "shop",
                    "Error: Invalid sponsor list ',2' for installing 'shop', expecting sponsor "
                    "'1'\n"},
        SponsorCase{"EmptySponsorIsLikeAnyOther", kInstall,
                    R"({"application":{"id":"shop"},"sponsors":["1",""]})", "", "shop", nullptr},
        SponsorCase{"AnotherTypeReadsAsEmpty", kInstall,
                    R"({"application":{"id":"shop"},"sponsors":[1]})", "", "shop", nullptr},
        SponsorCase{"CommaInsideASponsor", kInstall,
                    R"({"application":{"id":"shop"},"sponsors":["1,2"]})", "2", "shop",
                    "Error: Invalid sponsor list '1,2' for installing 'shop', expecting sponsor "
                    "'2'\n"},
        SponsorCase{"NoId", kInstall, R"({"application":{},"sponsors":["1"]})", "1", "", kNoId},
        SponsorCase{"EmptyId", kInstall, R"({"application":{"id":""},"sponsors":["1"]})", "1", "",
                    kNoId},
        SponsorCase{"IdThatIsNoName", kInstall,
                    R"({"application":{"id":"../shop"},"sponsors":["1"]})", "1", "", kNoId},
        SponsorCase{"ZeroOctetInTheId", kInstall,
                    R"({"application":{"id":"shop\u0000"},"sponsors":["1"]})", "1", "", kNoId},
        SponsorCase{"NumberAsId", kInstall, R"({"application":{"id":1},"sponsors":["1"]})", "1", "",
                    kNoId},
        SponsorCase{"NoApplication", kInstall, R"({"sponsors":["1"]})", "1", "", kNoId},
        SponsorCase{"TextAsApplication", kInstall, R"({"application":"x","sponsors":["1"]})", "1",
                    "", kNoId},
        SponsorCase{"ArrayAsRoot", kInstall, "[]", "1", "", kNoId},
        SponsorCase{"NumberAsRoot", kUninstall, "1", "1", "", kNoId}),
    [](const testing::TestParamInfo<SponsorCase>& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    KeyValue, CheckManifestSponsorTest,
    testing::Values(
        SponsorCase{"OnlySponsor", kInstall, "[install]\nappid=shop\nsponsor=1\n", "1", "shop",
                    nullptr},
        SponsorCase{"ItemsAreTrimmed", kInstall, "[install]\nappid = shop\nsponsor = A, B\n", "B",
                    "shop", nullptr},
        SponsorCase{"CaseCounts", kInstall, "[install]\nappid=shop\nsponsor=a\n", "A", "shop",
                    "Error: Invalid sponsor list 'a' for installing 'shop', expecting sponsor "
                    "'A'\n"},
        SponsorCase{"ListIsShownAsRead", kInstall, "[install]\nappid=shop\nsponsor= A ,  B,C \n",
                    "D", "shop",
                    "Error: Invalid sponsor list 'A ,  B,C' for installing 'shop', expecting "
                    "sponsor 'D'\n"},
        SponsorCase{"IdThatIsNoName", kInstall, "[install]\nappid=/\nsponsor=1\n", "1", "", kNoId},
        SponsorCase{"NoSponsor", kInstall, "[install]\nappid=shop\n", "1", "shop",
                    "Error: Invalid sponsor list '' for installing 'shop', expecting sponsor "
                    "'1'\n"},
        SponsorCase{"NoSponsorIsOneEmptyItem", kInstall, "[install]\nappid=shop\n", "", "shop",
                    nullptr},
        SponsorCase{"UninstallSection", kUninstall,
                    "[install]\nappid=a\nsponsor=1\n[uninstall]\nappid=b\nsponsor=2\n", "2", "b",
                    nullptr},
        SponsorCase{"UninstallRefusal", kUninstall,
                    "[install]\nappid=a\nsponsor=1\n[uninstall]\nappid=b\nsponsor=2\n", "1", "b",
                    "Error: Invalid sponsor list '2' for uninstalling 'b', expecting sponsor "
                    "'1'\n"},
        SponsorCase{"OnlyUninstallForInstall", kInstall, "[uninstall]\nappid=b\nsponsor=1\n", "1",
                    "", kNoId},
        SponsorCase{"OnlyInstallForUninstall", kUninstall, "[install]\nappid=b\nsponsor=1\n", "1",
                    "", kNoId},
        SponsorCase{"NothingAtAll", kInstall, "", "1", "", kNoId},
        SponsorCase{"FaultyLine", kInstall, "[install]\nappid=shop\nsponsor=1\nnonsense\n", "1", "",
                    kUnreadable},
        SponsorCase{"JSONWithRest", kInstall, R"({"application":{"id":"shop"},"sponsors":["1"]} x)",
                    "1", "", kUnreadable},
        SponsorCase{"JSONCutShort", kInstall, R"({"application":{"id":"shop"})", "1", "",
                    kUnreadable},
        SponsorCase{"NestedTooDeep", kInstall, nested(100000), "1", "", kNoId},
        SponsorCase{"ZeroOctets", kInstall, std::string(10, '\0'), "1", "", kUnreadable}),
    [](const testing::TestParamInfo<SponsorCase>& row) { return row.param.name; });

TEST_F(ManifestFileTest, HasAListOfSponsorsWithoutEnd) {
  std::string list;
  for (int i = 0; i < 100000; ++i) list += "\"" + std::to_string(i) + "\",";
  terminal.writeFile(kPath, R"({"application":{"id":"shop"},"sponsors":[)" + list + R"("end"]})");

  EXPECT_EQ(checkManifestSponsor(kInstall, kPath, "end", appId), SponsorVerdict::kAccepted);

  EXPECT_EQ(appId, "shop");
}

// --- Names ------------------------------------------------------------------------------------

TEST(ManifestStemTest, StandsBeforeTheSuffix) {
  EXPECT_EQ(manifestStem("SHOP.MFT"), "SHOP");
  EXPECT_EQ(manifestStem("A.MFT"), "A");
  EXPECT_EQ(manifestStem("A.MFT.MFT"), "A.MFT");
  EXPECT_EQ(manifestStem(".MFT"), std::nullopt);
  EXPECT_EQ(manifestStem("MFT"), std::nullopt);
  EXPECT_EQ(manifestStem("SHOP.mft"), std::nullopt);
  EXPECT_EQ(manifestStem("SHOP.MFT "), std::nullopt);
  EXPECT_EQ(manifestStem(""), std::nullopt);
}

}  // namespace
}  // namespace wzapp
