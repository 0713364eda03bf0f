#include "installer/dependency_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "support/install_result.h"
#include "tests/builders/child_process.h"
#include "tests/installer/file_calls.h"
#include "tests/installer/rules_fixture.h"

namespace wzapp {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::IsEmpty;
using namespace wzapp_test;

const std::string kExporter = "/home/sys1/www/terminal.mft";

class DependencyCheckTest : public RulesTest {
 protected:
  void check() { EXPECT_TRUE(checkDependencies(removed)); }

  // What is reported of the application "shop", and of nothing else, in the first pass and behind
  // it.
  Lines linesAboutShop(const std::string& manifest) {
    install("shop", manifest);
    check();
    const std::string path = kApps + "/shop.mft";
    EXPECT_EQ(lines[0], "Checking dependencies\n");
    const auto checking = std::find(lines.begin(), lines.end(), "Checking " + path + "\n");
    EXPECT_NE(checking, lines.end());
    return checking == lines.end() ? Lines() : Lines(checking + 1, lines.end());
  }

  FileCalls calls;
  AppIds removed;
};

Lines failureOfShop(const Lines& errors) {
  Lines expected = errors;
  expected.emplace_back("Removing app SHOP\n");
  expected.emplace_back("Re-checking dependencies after removing apps\n");
  expected.push_back("Removing " + kData + "/shop\n");
  return expected;
}

// --- Reading ----------------------------------------------------------------------------------

TEST_F(DependencyCheckTest, SaysOneLineOfAnEmptyTerminal) {
  check();

  EXPECT_THAT(lines, ElementsAre("Checking dependencies\n"));
  EXPECT_EQ(installResult(), kInstallOk);
  EXPECT_THAT(removed, IsEmpty());
}

TEST_F(DependencyCheckTest, ReadsThirtyThreeDirectoriesInOrder) {
  Lines expected = {"Checking dependencies\n"};
  for (const char* kind : {"usr", "sys"}) {
    for (int number = 16; number >= 1; --number) {
      terminal.writeFile("/home/" + std::string(kind) + std::to_string(number) + "/www/x.mft",
                         "{}");
    }
    for (int number = 1; number <= 16; ++number) {
      expected.push_back("Reading /home/" + std::string(kind) + std::to_string(number) +
                         "/www/x.mft\n");
    }
  }
  terminal.writeFile(kApps + "/x.mft", "{}");
  expected.push_back("Reading " + kApps + "/x.mft\n");
  expected.push_back("Checking " + kApps + "/x.mft\n");

  check();

  EXPECT_EQ(lines, expected);
}

TEST_F(DependencyCheckTest, ReadsWithoutAnApplicationRoot) {
  terminal.writeFile(kExporter, "{}");

  check();

  EXPECT_THAT(lines, ElementsAre("Checking dependencies\n", "Reading " + kExporter + "\n"));
}

TEST_F(DependencyCheckTest, ReadsManifestsOfAnyCaseOnly) {
  const std::string folder = "/home/usr1/www/";
  for (const char* name : {".mft", "mft", "a.mf", "a.mftx", "amft"}) {
    terminal.writeFile(folder + name, "{}");
    terminal.writeFile(kApps + "/" + name, "{}");
  }
  terminal.writeFile(folder + "A.mFt", "{}");
  terminal.writeFile(kApps + "/a.MFT", "{}");

  check();

  EXPECT_THAT(lines,
              ElementsAre("Checking dependencies\n", "Reading " + folder + "A.mFt\n",
                          "Reading " + kApps + "/a.MFT\n", "Checking " + kApps + "/a.MFT\n"));
  EXPECT_TRUE(terminal.exists(kApps + "/.mft"));
}

struct UnreadCase {
  const char* name;
  std::string content;
};

void PrintTo(const UnreadCase& row, std::ostream* out) { *out << row.name; }

class UnreadManifestTest : public DependencyCheckTest,
                           public testing::WithParamInterface<UnreadCase> {};

TEST_P(UnreadManifestTest, IsSkippedWithALine) {
  terminal.writeFile(kExporter, GetParam().content);
  terminal.writeFile(kApps + "/shop.mft", GetParam().content);

  check();

  EXPECT_THAT(lines,
              ElementsAre("Checking dependencies\n", kExporter + " not in JSON format, skipping.\n",
                          kApps + "/shop.mft not in JSON format, skipping.\n"));
  EXPECT_TRUE(terminal.exists(kApps + "/shop.mft"));
  EXPECT_EQ(installResult(), kInstallOk);
}

INSTANTIATE_TEST_SUITE_P(
    All, UnreadManifestTest,
    testing::Values(UnreadCase{"Empty", ""}, UnreadCase{"KeyValue", "[install]\nappid=shop\n"},
                    UnreadCase{"CutShort", R"({"imports_trigger":[)"},
                    UnreadCase{"Rest", R"({} {})"}, UnreadCase{"ZeroOctet", std::string("{}\0", 3)},
                    UnreadCase{"NestedTooDeep", std::string(100000, '[')},
                    UnreadCase{"TooLarge", "{}" + std::string(std::size_t{16} << 20, ' ')}),
    [](const testing::TestParamInfo<UnreadCase>& row) { return row.param.name; });

TEST_F(DependencyCheckTest, SkipsWhatIsNoFile) {
  terminal.makeFolder("/home/usr1/www/folder.mft");
  terminal.makeFolder("/home/usr2/www");
  ASSERT_EQ(mkfifo("/home/usr2/www/pipe.mft", 0600), 0);
  terminal.makeFolder("/home/usr3/www");
  ASSERT_EQ(symlink("nowhere", "/home/usr3/www/link.mft"), 0);
  terminal.makeFolder("/home/usr4/www");
  ASSERT_EQ(symlink("/dev/zero", "/home/usr4/www/zero.mft"), 0);

  check();

  EXPECT_THAT(lines, ElementsAre("Checking dependencies\n",
                                 "/home/usr1/www/folder.mft not in JSON format, skipping.\n",
                                 "/home/usr2/www/pipe.mft not in JSON format, skipping.\n",
                                 "/home/usr3/www/link.mft not in JSON format, skipping.\n",
                                 "/home/usr4/www/zero.mft not in JSON format, skipping.\n"));
}

TEST_F(DependencyCheckTest, ShowsNamesAsTheyAre) {
  terminal.writeFile("/home/usr1/www/%s%n\n.mft", "{}");

  check();

  EXPECT_THAT(lines, ElementsAre("Checking dependencies\n", "Reading /home/usr1/www/%s%n\n.mft\n"));
}

// --- One application --------------------------------------------------------------------------

// The terminal exports triggers 1.2, the triggers "pay" and "print" and the interface "bank".
constexpr const char* kExports = R"({
  "exports_sdk": {"triggers_version": "1.2"},
  "exports_trigger": [{"id": "pay"}, {"id": "print", "optional": true}],
  "exports_api": [{"id": "bank"}]
})";

struct ImportCase {
  const char* name;
  std::string manifest;
  Lines errors;  // none: the application stays
};

void PrintTo(const ImportCase& row, std::ostream* out) { *out << row.name; }

class ImportTest : public DependencyCheckTest, public testing::WithParamInterface<ImportCase> {};

TEST_P(ImportTest, DecidesWhetherTheApplicationStays) {
  terminal.writeFile(kExporter, kExports);

  const Lines found = linesAboutShop(GetParam().manifest);

  const bool stays = GetParam().errors.empty();
  EXPECT_EQ(found, stays ? Lines() : failureOfShop(GetParam().errors));
  for (const std::string& path : {kApps + "/shop", kApps + "/shop.mft", kData + "/shop/data",
                                  kManifests + "/shop/mpmanifest.mft"}) {
    EXPECT_EQ(terminal.exists(path), stays) << path;
  }
  EXPECT_EQ(installResult(), kInstallOk);
  EXPECT_THAT(removed, IsEmpty());
}

ImportCase sdk(const char* name, const std::string& bounds, const Lines& errors) {
  return {name, R"({"imports_sdk":)" + bounds + "}", errors};
}

INSTANTIATE_TEST_SUITE_P(
    Versions, ImportTest,
    testing::Values(sdk("NoBounds", "{}", {}),
                    sdk("TriggersAtTheMinimum", R"({"triggers_min_version":"1.2"})", {}),
                    sdk("TriggersBelow", R"({"triggers_min_version":"1.3"})",
                        {"Error: trigger version 1.2 less than 1.3\n"}),
                    sdk("TriggersShorterThanTheMinimum", R"({"triggers_min_version":"1.2.0"})",
                        {"Error: trigger version 1.2 less than 1.2.0\n"}),
                    sdk("TriggersAtTheMaximum", R"({"triggers_max_version":"1.2"})", {}),
                    sdk("TriggersShorterThanTheMaximum", R"({"triggers_max_version":"1.2.0"})", {}),
                    sdk("TriggersAbove", R"({"triggers_max_version":"1.1.9"})",
                        {"Error: trigger version 1.2 higher than 1.1.9\n"}),
                    sdk("RuntimeAtBoth",
                        R"({"wzruntime_min_version":"2.46.6","wzruntime_max_version":"2.46.6"})",
                        {}),
                    sdk("RuntimeBelow", R"({"wzruntime_min_version":"2.46.7"})",
                        {"Error: WZ runtime version 2.46.6 less than 2.46.7\n"}),
                    sdk("RuntimeAbove", R"({"wzruntime_max_version":"2.46"})",
                        {"Error: WZ runtime version 2.46.6 higher than 2.46\n"}),
                    sdk("BoundIsShownAsWritten", R"({"triggers_min_version":" 9 . x "})",
                        {"Error: trigger version 1.2 less than  9 . x \n"}),
                    sdk("EveryBoundAtOnce",
                        R"({"wzruntime_max_version":"1","wzruntime_min_version":"3",
                "triggers_max_version":"1","triggers_min_version":"2"})",
                        {"Error: trigger version 1.2 less than 2\n",
                         "Error: trigger version 1.2 higher than 1\n",
                         "Error: WZ runtime version 2.46.6 less than 3\n",
                         "Error: WZ runtime version 2.46.6 higher than 1\n"}),
                    sdk("NumberAsMinimum", R"({"triggers_min_version":9})", {}),
                    sdk("NumberAsMaximum", R"({"triggers_max_version":9})",
                        {"Error: trigger version 1.2 higher than \n"}),
                    sdk("NullAsMaximum", R"({"wzruntime_max_version":null})",
                        {"Error: WZ runtime version 2.46.6 higher than \n"}),
                    sdk("ArrayAsBounds", R"([{"triggers_min_version":"9"}])", {}),
                    sdk("TextAsBounds", R"("triggers_min_version")", {}),
                    sdk("NullAsBounds", "null", {})),
    [](const testing::TestParamInfo<ImportCase>& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Features, ImportTest,
    testing::Values(
        ImportCase{"Nothing", "{}", {}}, ImportCase{"NullAsRoot", "null", {}},
        ImportCase{"ArrayAsRoot", R"([{"imports_trigger":[{"id":"x"}]}])", {}},
        ImportCase{"TextAsRoot", R"("imports_trigger")", {}}, ImportCase{"NumberAsRoot", "1", {}},
        ImportCase{"Trigger", R"({"imports_trigger":[{"id":"print"},{"id":"pay"}]})", {}},
        ImportCase{"MissingTriggers",
                   R"({"imports_trigger":[{"id":"b"},{"id":"pay"},{"id":"a"},{"id":"b"}]})",
                   {"Error: Missing trigger b\n", "Error: Missing trigger a\n",
                    "Error: Missing trigger b\n"}},
        ImportCase{"OptionalTrigger", R"({"imports_trigger":[{"id":"x","optional":true}]})", {}},
        ImportCase{"NotOptionalTrigger",
                   R"({"imports_trigger":[{"id":"x","optional":false}]})",
                   {"Error: Missing trigger x\n"}},
        ImportCase{"NumberAsOptional",
                   R"({"imports_trigger":[{"id":"x","optional":1}]})",
                   {"Error: Missing trigger x\n"}},
        ImportCase{"TextAsOptional",
                   R"({"imports_trigger":[{"id":"x","optional":"true"}]})",
                   {"Error: Missing trigger x\n"}},
        ImportCase{"CaseCounts",
                   R"({"imports_trigger":[{"id":"PAY"}]})",
                   {"Error: Missing trigger PAY\n"}},
        ImportCase{
            "TriggerIsNoApi", R"({"imports_api":[{"id":"pay"}]})", {"Error: Missing api pay\n"}},
        ImportCase{"ApiIsNoTrigger",
                   R"({"imports_trigger":[{"id":"bank"}]})",
                   {"Error: Missing trigger bank\n"}},
        ImportCase{"Api", R"({"imports_api":[{"id":"bank"}]})", {}},
        ImportCase{"OptionalApi", R"({"imports_api":[{"id":"x","optional":true}]})", {}},
        ImportCase{"MissingApi", R"({"imports_api":[{"id":"x"}]})", {"Error: Missing api x\n"}},
        ImportCase{
            "TriggersBeforeApis",
            R"({"imports_api":[{"id":"x"}],"imports_trigger":[{"id":"y"}],
                       "imports_sdk":{"wzruntime_min_version":"3"},
                       "imports_hardware":{"platforms":[]}})",
            {"Error: WZ runtime version 2.46.6 less than 3\n", "Error: Missing trigger y\n",
             "Error: Missing api x\n", "Error: Platform 480x800C0T or model T30 not supported\n"}},
        ImportCase{"OwnExport",
                   R"({"exports_trigger":[{"id":"own"}],"imports_trigger":[{"id":"own"}]})",
                   {}},
        ImportCase{
            "NumberAsId", R"({"imports_trigger":[{"id":7}]})", {"Error: Missing trigger \n"}},
        ImportCase{"NoId", R"({"imports_trigger":[{}]})", {"Error: Missing trigger \n"}},
        ImportCase{"TextAsElement", R"({"imports_api":["bank"]})", {"Error: Missing api \n"}},
        ImportCase{"NullAsElement", R"({"imports_api":[null]})", {"Error: Missing api \n"}},
        ImportCase{"ObjectAsList", R"({"imports_trigger":{"id":"x"}})", {}},
        ImportCase{"TextAsList", R"({"imports_trigger":"x"})", {}},
        ImportCase{"NumberAsList", R"({"imports_trigger":1})", {}},
        ImportCase{"BooleanAsList", R"({"imports_api":true})", {}},
        ImportCase{"ZeroOctetInsideAnId",
                   R"({"imports_trigger":[{"id":"pay\u0000x"}]})",
                   {"Error: Missing trigger pay\n"}},
        ImportCase{"FormatAsId",
                   R"({"imports_trigger":[{"id":"%s%n"}]})",
                   {"Error: Missing trigger %s%n\n"}}),
    [](const testing::TestParamInfo<ImportCase>& row) { return row.param.name; });

ImportCase hardware(const char* name, const std::string& value, bool isSupported) {
  return {name, R"({"imports_hardware":)" + value + "}",
          isSupported ? Lines() : Lines{"Error: Platform 480x800C0T or model T30 not supported\n"}};
}

INSTANTIATE_TEST_SUITE_P(
    Platforms, ImportTest,
    testing::Values(hardware("NoPlatforms", "{}", true),
                    hardware("Descriptor", R"({"platforms":["x","480x800C0T"]})", true),
                    hardware("Model", R"({"platforms":["T30","x"]})", true),
                    hardware("Others", R"({"platforms":["t30","480x800C0N","T3",""]})", false),
                    hardware("EmptyList", R"({"platforms":[]})", false),
                    hardware("TextAsList", R"({"platforms":"T30"})", false),
                    hardware("NullAsList", R"({"platforms":null})", false),
                    hardware("NumberInTheList", R"({"platforms":[30,"T30"]})", true),
                    hardware("TextAsHardware", R"("platforms")", true),
                    hardware("ArrayAsHardware", R"(["platforms"])", true)),
    [](const testing::TestParamInfo<ImportCase>& row) { return row.param.name; });

// --- What is exported -------------------------------------------------------------------------

TEST_F(DependencyCheckTest, TakesTheTriggerVersionReadLast) {
  terminal.writeFile("/home/usr9/www/a.mft", R"({"exports_sdk":{"triggers_version":"9"}})");
  terminal.writeFile("/home/sys9/www/b.mft", R"({"exports_sdk":{"triggers_version":"4"}})");
  terminal.writeFile("/home/sys9/www/c.txt", R"({"exports_sdk":{"triggers_version":"8"}})");
  terminal.writeFile("/home/sys10/www/d.mft", R"({"exports_sdk":{}})");

  EXPECT_EQ(linesAboutShop(R"({"imports_sdk":{"triggers_min_version":"5"}})"),
            failureOfShop({"Error: trigger version 4 less than 5\n"}));
}

TEST_F(DependencyCheckTest, TakesATriggerVersionOfAnotherTypeForEmpty) {
  terminal.writeFile("/home/usr9/www/a.mft", R"({"exports_sdk":{"triggers_version":"9"}})");
  terminal.writeFile("/home/sys9/www/b.mft", R"({"exports_sdk":{"triggers_version":4}})");

  EXPECT_EQ(linesAboutShop(R"({"imports_sdk":{"triggers_min_version":"1"}})"),
            failureOfShop({"Error: trigger version  less than 1\n"}));
}

// Without any export the version is the empty one, which is 0.
TEST_F(DependencyCheckTest, KnowsNoTriggerVersionAtFirst) {
  EXPECT_EQ(
      linesAboutShop(R"({"imports_sdk":{"triggers_min_version":"0","triggers_max_version":"0"}})"),
      Lines());
}

TEST_F(DependencyCheckTest, TakesAnExportOfAnotherTypeForTheEmptyId) {
  terminal.writeFile(kExporter, R"({"exports_trigger":[{"id":5},"x"],"exports_api":{"id":"a"}})");

  EXPECT_EQ(linesAboutShop(R"({"imports_trigger":[{"id":""}],"imports_api":[{"id":""}]})"),
            failureOfShop({"Error: Missing api \n"}));
}

TEST_F(DependencyCheckTest, LetsApplicationsExportToEachOther) {
  install("shop", R"({"imports_api":[{"id":"points"}],"exports_trigger":[{"id":"sold"}]})");
  install("loyalty", R"({"imports_trigger":[{"id":"sold"}],"exports_api":[{"id":"points"}]})");
  const auto before = tree();

  check();

  EXPECT_EQ(tree(), before);
  EXPECT_EQ(lines.size(), 5U);
}

// --- Passes -----------------------------------------------------------------------------------

constexpr const char* kNeedsMore = R"({"application":{"id":"Shop"},"imports_api":[{"id":"more"}]})";

// The exports of shopx.mft end with SHOP, one character more than its suffix.
TEST_F(DependencyCheckTest, ChecksAgainWithoutTheExportsOfWhatFailed) {
  install("shop", kNeedsMore);
  terminal.writeFile(kApps + "/shopx.mft", R"({"exports_trigger":[{"id":"sold"}]})");
  install("loyalty", R"({"application":{"id":"loyalty"},"imports_trigger":[{"id":"sold"}]})");
  Lines expected = {"Checking dependencies\n"};
  for (const std::string& name : listed(kApps)) {
    if (name.ends_with(".mft")) expected.push_back("Reading " + kApps + "/" + name + "\n");
  }
  const auto checkPass = [&expected](const Lines& passed, const std::string& failed,
                                     const Lines& after) {
    for (const std::string& name : listed(kApps)) {
      if (std::find(passed.begin(), passed.end(), name) == passed.end()) continue;
      expected.push_back("Checking " + kApps + "/" + name + "\n");
      if (name == failed) expected.insert(expected.end(), after.begin(), after.end());
    }
  };
  checkPass({"shop.mft", "shopx.mft", "loyalty.mft"}, "shop.mft",
            {"Error: Missing api more\n", "Removing app SHOP\n"});
  expected.emplace_back("Re-checking dependencies after removing apps\n");
  checkPass({"shopx.mft", "loyalty.mft"}, "loyalty.mft",
            {"Error: Missing trigger sold\n", "Removing app LOYALTY\n"});
  expected.emplace_back("Re-checking dependencies after removing apps\n");
  checkPass({"shopx.mft"}, "", {});
  for (const std::string& name : listed(kApps)) {
    if (name == "shop" || name == "loyalty")
      expected.push_back("Removing " + kData + "/" + name + "\n");
  }

  check();

  EXPECT_EQ(lines, expected);
  EXPECT_THAT(removed, ElementsAre("Shop", "loyalty"));
  EXPECT_THAT(tree(), ElementsAre("fsroot/", "mp/", "wz/", "wz/shopx.mft"));
}

TEST_F(DependencyCheckTest, GoesOnCountingTheExportsOfWhatFailedItself) {
  install("shop", R"({"imports_api":[{"id":"more"}],"exports_trigger":[{"id":"sold"}]})");
  install("loyalty", R"({"imports_trigger":[{"id":"sold"}]})");

  check();

  EXPECT_FALSE(terminal.exists(kApps + "/shop"));
  EXPECT_TRUE(terminal.exists(kApps + "/loyalty"));
}

// The name alone decides, wherever the manifest lies and whatever its last character is.
TEST_F(DependencyCheckTest, ForgetsExportsOfOtherSoftwareByNameToo) {
  install("shop", kNeedsMore);
  install("loyalty", R"({"imports_trigger":[{"id":"sold"}]})");
  terminal.writeFile("/home/usr1/www/Shop1.mft", R"({"exports_trigger":[{"id":"sold"}]})");

  check();

  EXPECT_THAT(treeOf(kApps), IsEmpty());
  EXPECT_TRUE(terminal.exists("/home/usr1/www/Shop1.mft"));
}

TEST_F(DependencyCheckTest, FallsBackToTheTriggerVersionThatIsLeft) {
  terminal.writeFile(kExporter, R"({"exports_sdk":{"triggers_version":"1"}})");
  install("shop", kNeedsMore);
  terminal.writeFile(kApps + "/shopx.mft", R"({"exports_sdk":{"triggers_version":"2"}})");
  install("loyalty", R"({"imports_sdk":{"triggers_min_version":"2"}})");

  check();

  EXPECT_THAT(lines, testing::Contains("Error: trigger version 1 less than 2\n"));
  EXPECT_THAT(treeOf(kApps), ElementsAre("shopx.mft"));
}

TEST_F(DependencyCheckTest, SkipsASecondManifestOfAnApplicationThatFailed) {
  install("shop", kNeedsMore);
  terminal.writeFile(kApps + "/SHOP.MFT", kNeedsMore);
  const std::string first = listed(kApps)[0] == "shop" ? listed(kApps)[1] : listed(kApps)[0];

  check();

  EXPECT_EQ(lines[3], "Checking " + kApps + "/" + first + "\n");
  EXPECT_EQ(lines[4], "Error: Missing api more\n");
  EXPECT_EQ(lines[5], "Removing app SHOP\n");
  EXPECT_EQ(lines[6], "Re-checking dependencies after removing apps\n");
  EXPECT_EQ(lines.size(), 8U);
  EXPECT_THAT(treeOf(kApps), IsEmpty());
}

TEST_F(DependencyCheckTest, SaysOfOtherFormsOnlyOnce) {
  install("shop", kNeedsMore);
  terminal.writeFile(kExporter, "nonsense");

  check();

  EXPECT_EQ(std::count(lines.begin(), lines.end(), kExporter + " not in JSON format, skipping.\n"),
            1);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "Reading " + kApps + "/shop.mft\n"), 1);
}

// shopN fails in pass N: it needs what shopN' exports, whose name ends with that of shopN-1.
std::string linkName(int number) {
  std::string digits = std::to_string(number);
  digits.insert(0, 3 - digits.size(), '0');
  return "app" + digits;
}

TEST_F(DependencyCheckTest, ReadsEachManifestOnceHoweverManyPassesThereAre) {
  constexpr int kPasses = 100;
  for (int i = 0; i < kPasses; ++i) {
    const std::string id = "feature" + std::to_string(i);
    const std::string next = "feature" + std::to_string(i + 1);
    terminal.writeFile(kApps + "/" + linkName(i) + ".mft",
                       R"({"imports_trigger":[{"id":")" + id + R"("}]})");
    terminal.writeFile(kApps + "/" + linkName(i) + "x.mft",
                       R"({"exports_trigger":[{"id":")" + next + R"("}]})");
  }
  std::map<std::string, int> reads;
  int listings = 0;
  calls.hook = [&](const FileCall& call) {
    if (call.function == "open" && call.name.ends_with(".mft")) ++reads[call.name];
    if (call.function == "opendir") ++listings;
    return 0;
  };

  check();

  EXPECT_EQ(
      std::count(lines.begin(), lines.end(), "Re-checking dependencies after removing apps\n"),
      kPasses);
  EXPECT_EQ(reads.size(), std::size_t{2 * kPasses});
  for (const auto& [path, count] : reads) EXPECT_EQ(count, 1) << path;
  EXPECT_LE(listings, 35);
}

// --- What is removed --------------------------------------------------------------------------

TEST_F(DependencyCheckTest, AddsTheIdThatTheManifestHas) {
  removed = {"before"};
  terminal.writeFile(kApps + "/a.mft", R"({"application":{"id":"A"},"imports_api":[{}]})");
  terminal.writeFile(kApps + "/b.mft", R"({"application":{},"imports_api":[{}]})");
  terminal.writeFile(kApps + "/c.mft", R"({"application":"c","imports_api":[{}]})");
  terminal.writeFile(kApps + "/d.mft", R"({"imports_api":[{}]})");

  check();

  EXPECT_THAT(removed, ElementsAre("A", "before"));
  EXPECT_THAT(treeOf(kApps), IsEmpty());
}

TEST_F(DependencyCheckTest, AddsNoIdThatIsNoName) {
  terminal.writeFile(kApps + "/a.mft", R"({"application":{"id":"../a"},"imports_api":[{}]})");
  terminal.writeFile(kApps + "/b.mft", R"({"application":{"id":".."},"imports_api":[{}]})");

  check();

  EXPECT_THAT(removed, IsEmpty());
  EXPECT_THAT(treeOf(kApps), IsEmpty());
}

TEST_F(DependencyCheckTest, AddsTheEmptyIdForOneOfAnotherType) {
  terminal.writeFile(kApps + "/a.mft", R"({"application":{"id":5},"imports_api":[{}]})");

  check();

  EXPECT_THAT(removed, ElementsAre(""));
}

TEST_F(DependencyCheckTest, RemovesInAnyCaseAndNothingElse) {
  terminal.writeFile(kApps + "/SHOP.mft", kNeedsMore);
  terminal.writeFile(kApps + "/Shop/page", "");
  terminal.writeFile(kApps + "/shop2/page", "");
  terminal.writeFile(kApps + "/sho/page", "");
  terminal.writeFile(kData + "/Shop/data", "");
  terminal.writeFile(kData + "/SHOP/data", "stays");
  writeMarketplaceManifest("sHOP", manifestFor("shop"));
  writeMarketplaceManifest("shop2", manifestFor("shop2"));

  check();

  EXPECT_THAT(tree(), ElementsAre("fsroot/", "fsroot/SHOP/", "fsroot/SHOP/data", "mp/", "mp/shop2/",
                                  "mp/shop2/mpmanifest.mft", "wz/", "wz/sho/", "wz/sho/page",
                                  "wz/shop2/", "wz/shop2/page"));
  EXPECT_EQ(lines.back(), "Removing " + kData + "/Shop\n");
}

// shop.mft.mft belongs to an application named shop.mft.
TEST_F(DependencyCheckTest, TakesAManifestForAnApplicationWhereItsNameHasFailed) {
  terminal.writeFile(kApps + "/shop.mft.mft", kNeedsMore);
  terminal.writeFile(kApps + "/shop.mft", "{}");

  check();

  EXPECT_THAT(treeOf(kApps), IsEmpty());
  EXPECT_EQ(lines.back(), "Removing " + kData + "/shop.mft\n");
}

TEST_F(DependencyCheckTest, LeavesTheManifestRootAloneWhenNothingFails) {
  install("shop", "{}");
  terminal.makeFolder(kManifests + "/other");
  const auto before = tree();

  check();

  EXPECT_EQ(tree(), before);
}

TEST_F(DependencyCheckTest, ReportsFaultsAtTheirTurn) {
  install("shop", kNeedsMore);
  calls.hook = [](const FileCall& call) {
    return call.function == "unlinkat" && call.name != "shop" ? EPERM : 0;
  };
  Lines expected;
  for (const std::string& name : listed(kApps)) {
    if (name == "shop.mft") {
      expected.push_back(notRemoved(kApps + "/shop.mft", EPERM));
      continue;
    }
    expected.push_back(notRemoved(kApps + "/shop/index.html", EPERM));
    expected.push_back(notRemoved(kApps + "/shop", ENOTEMPTY));
    expected.push_back("Removing " + kData + "/shop\n");
    expected.push_back(notRemoved(kData + "/shop/data", EPERM));
  }
  expected.push_back(notRemoved(kManifests + "/shop/mpmanifest.mft", EPERM));
  expected.push_back(notRemoved(kManifests + "/shop", ENOTEMPTY));

  check();

  const auto found =
      std::find(lines.begin(), lines.end(), "Re-checking dependencies after removing apps\n");
  ASSERT_NE(found, lines.end());
  EXPECT_EQ(Lines(found + 1, lines.end()), expected);
  EXPECT_EQ(installResult(), kInstallWarning);
}

TEST_F(DependencyCheckTest, ReportsAnEmptyDirectoryThatCannotBeListed) {
  install("shop", kNeedsMore);
  for (const std::string& root : {kApps, kData, kManifests}) {
    terminal.makeFolder(root + "/shop/locked");
  }
  calls.hook = [](const FileCall& call) {
    return call.function == "openat" && call.name == "locked" ? EACCES : 0;
  };

  check();

  for (const std::string& root : {kApps, kData, kManifests}) {
    EXPECT_THAT(lines, testing::Contains("Warning: Failed to read directory '" + root +
                                         "/shop/locked'.\n"));
  }
  EXPECT_EQ(installResult(), kInstallWarning);
  EXPECT_THAT(tree(), ElementsAre("fsroot/", "mp/", "wz/"));
}

TEST_F(DependencyCheckTest, EndsWithAnApplicationRootThatCannotBeListed) {
  install("shop", kNeedsMore);
  calls.hook = [](const FileCall& call) {
    return call.function == "opendir" && call.name == kApps ? EACCES : 0;
  };

  check();

  EXPECT_THAT(lines, ElementsAre("Checking dependencies\n"));
  EXPECT_TRUE(terminal.exists(kApps + "/shop"));
}

TEST_F(DependencyCheckTest, SkipsAManifestThatCannotBeOpened) {
  install("shop", kNeedsMore);
  calls.hook = [](const FileCall& call) { return call.function == "open" ? EACCES : 0; };

  check();

  EXPECT_THAT(lines, ElementsAre("Checking dependencies\n",
                                 kApps + "/shop.mft not in JSON format, skipping.\n"));
}

// A run that is cut short at any removal is finished by the next one.
TEST_F(DependencyCheckTest, LeavesTheManifestThatFailsForLast) {
  constexpr int kCut = 99;
  int nth = 1;
  for (;; ++nth) {
    fs::remove_all(kConfig);
    install("shop", kNeedsMore);
    const auto result = tryInChild([&] {
      int count = 0;
      calls.hook = [&](const FileCall& call) {
        if (call.function == "unlinkat" && ++count == nth) _exit(kCut);
        return 0;
      };
      check();
    });
    ASSERT_EQ(result.failures, "");
    if (!WIFEXITED(result.status) || WEXITSTATUS(result.status) != kCut) break;
    removed.clear();

    check();

    ASSERT_THAT(tree(), ElementsAre("fsroot/", "mp/", "wz/")) << nth;
    ASSERT_THAT(removed, ElementsAre("Shop")) << nth;
  }
  EXPECT_GT(nth, 6);
}

}  // namespace
}  // namespace wzapp
