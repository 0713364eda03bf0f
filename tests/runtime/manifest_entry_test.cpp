#include "runtime/manifest_entry.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/builders/test_terminal.h"

namespace wzapp {
namespace {

constexpr char kManifest[] = "/mnt/flash/manifest";

struct Row {
  const char* name;
  std::string manifest;
  const char* entry;
  const char* appId;
  const char* version;
  const char* startFile;
};

class ManifestEntryTest : public testing::TestWithParam<Row> {
 protected:
  wzapp_test::TestTerminal terminal;
};

TEST_P(ManifestEntryTest, IsReadFromTheManifest) {
  const Row& row = GetParam();
  terminal.writeFile(kManifest, row.manifest);
  ManifestEntry entry;

  ASSERT_TRUE(readManifestEntry(kManifest, row.entry, entry));

  EXPECT_EQ(entry.appId, row.appId);
  EXPECT_EQ(entry.version, row.version);
  EXPECT_EQ(entry.startFile, row.startFile);
}

const char* const kFull = R"({
  "application": {"id": "shop", "version": "1.2"},
  "desktop": {"file": "index.html"},
  "imports_trigger": [
    {"file": "nobody.html"},
    {"id": "pay", "file": "pay.html"},
    {"id": "refund"},
    {"id": "pay", "file": "second.html"},
    {"id": "refund", "file": "late.html"},
    {"id": "desktop", "file": "never.html"}
  ]
})";

const char* const kSections =
    "; a manifest of the older form\n"
    "[application]\r\n"
    "id = shop \n"
    "version=1.2\n"
    "[desktop]\n"
    "file=index.html\n"
    "[pay]\n"
    "\tfile =\tpay.html\n";

INSTANTIATE_TEST_SUITE_P(
    Json, ManifestEntryTest,
    testing::Values(Row{"Desktop", kFull, "desktop", "shop", "1.2", "index.html"},
                    Row{"FirstTriggerWithTheId", kFull, "pay", "shop", "1.2", "pay.html"},
                    Row{"FirstTriggerDecidesEvenWithoutAFile", kFull, "refund", "shop", "1.2", ""},
                    Row{"UnknownTrigger", kFull, "cancel", "shop", "1.2", ""},
                    Row{"TriggerIdsAreComparedExactly", kFull, "Pay", "shop", "1.2", ""},
                    Row{"WhiteSpaceAround", std::string("\n ") + kFull + " \n", "desktop", "shop",
                        "1.2", "index.html"},
                    Row{"EmptyObject", "{}", "desktop", "", "", ""},
                    Row{"NoApplication", R"({"desktop":{"file":"a.html"}})", "desktop", "", "",
                        "a.html"},
                    Row{"OnlyAnId", R"({"application":{"id":"x"}})", "desktop", "x", "", ""},
                    Row{"RootIsNoObject", R"(["application"])", "desktop", "", "", ""},
                    Row{"RootIsAString", R"("desktop")", "desktop", "", "", ""},
                    Row{"OtherTypesReadAsEmpty",
                        R"({"application":{"id":1,"version":["1"]},"desktop":{"file":true}})",
                        "desktop", "", "", ""},
                    Row{"ApplicationIsNoObject", R"({"application":"shop","desktop":{"file":"a"}})",
                        "desktop", "", "", "a"},
                    Row{"DesktopIsNoObject", R"({"desktop":"index.html"})", "desktop", "", "", ""},
                    Row{"TriggersAreNoArray", R"({"imports_trigger":{"id":"pay","file":"a"}})",
                        "pay", "", "", ""},
                    Row{"TriggersOfOtherTypes",
                        R"({"imports_trigger":[null,"pay",1,["id"],{"id":"pay","file":"a"}]})",
                        "pay", "", "", "a"},
                    Row{"TriggerWithoutAnIdIsNotTheEmptyEntry",
                        R"({"imports_trigger":[{"file":"a"}]})", "", "", "", ""},
                    Row{"IdThatIsNoStringReadsAsEmpty",
                        R"({"imports_trigger":[{"id":7,"file":"a"}]})", "", "", "", "a"}),
    [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Sections, ManifestEntryTest,
    testing::Values(Row{"Desktop", kSections, "desktop", "shop", "1.2", "index.html"},
                    Row{"AnyEntryHasItsSection", kSections, "pay", "shop", "1.2", "pay.html"},
                    Row{"UnknownEntry", kSections, "refund", "shop", "1.2", ""},
                    Row{"SectionNamesAreComparedExactly", kSections, "Desktop", "shop", "1.2", ""},
                    Row{"TriggersOfJsonMeanNothing", "[imports_trigger]\nid=pay\nfile=a\n", "pay",
                        "", "", ""},
                    Row{"EmptyFile", "", "desktop", "", "", ""}),
    [](const auto& row) { return row.param.name; });

struct BadRow {
  const char* name;
  std::string manifest;
};

class UnreadableManifestTest : public testing::TestWithParam<BadRow> {
 protected:
  wzapp_test::TestTerminal terminal;
};

TEST_P(UnreadableManifestTest, IsNeitherForm) {
  terminal.writeFile(kManifest, GetParam().manifest);
  ManifestEntry entry;

  EXPECT_FALSE(readManifestEntry(kManifest, "desktop", entry));
}

INSTANTIATE_TEST_SUITE_P(
    Manifests, UnreadableManifestTest,
    testing::Values(BadRow{"Text", "hello\n"}, BadRow{"JsonWithARest", "{\"desktop\":{}} x"},
                    BadRow{"CutJson", "{\"desktop\":{\"file\":\"a\"}"},
                    BadRow{"KeyBeforeASection", "id=shop\n[desktop]\nfile=a\n"},
                    BadRow{"OneBadLine", std::string(kSections) + "what\n"},
                    BadRow{"TooLarge", "{}" + std::string((1U << 20) - 1, ' ')},
                    BadRow{"TooManyLines", std::string((1U << 20) + 1, '\n')},
                    BadRow{"IdWithASlash", R"({"application":{"id":"a/b"}})"},
                    BadRow{"IdWithABackslash", R"({"application":{"id":"a\\b"}})"},
                    BadRow{"IdWithAZeroOctet", R"({"application":{"id":"a\u0000"}})"},
                    BadRow{"DirectoryItself", R"({"application":{"id":"."}})"},
                    BadRow{"DirectoryAbove", R"({"application":{"id":".."}})"},
                    BadRow{"Volume", R"({"application":{"id":"C:"}})"},
                    BadRow{"SectionWithASlash", "[application]\nid=/\n[desktop]\nfile=a\n"}),
    [](const auto& row) { return row.param.name; });

TEST(LargestManifestTest, CanBeRead) {
  wzapp_test::TestTerminal terminal;
  ManifestEntry entry;
  terminal.writeFile(kManifest, "{}" + std::string((1U << 20) - 2, ' '));
  EXPECT_TRUE(readManifestEntry(kManifest, "desktop", entry));
  terminal.writeFile(kManifest, std::string(1U << 20, '\n'));

  EXPECT_TRUE(readManifestEntry(kManifest, "desktop", entry));
}

TEST(MissingManifestTest, CannotBeRead) {
  const wzapp_test::TestTerminal terminal;
  ManifestEntry entry;

  EXPECT_FALSE(readManifestEntry("/mnt/flash/nothing", "desktop", entry));
  EXPECT_FALSE(readManifestEntry("", "desktop", entry));
}

}  // namespace
}  // namespace wzapp
