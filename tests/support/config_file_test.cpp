#include "support/config_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>

#include "tests/builders/temporary_directory.h"

namespace wzapp {
namespace {

using testing::IsEmpty;
using wzapp_test::TemporaryDirectory;

using Sections = std::map<std::string, std::string>;

ConfigFile load(const std::string& text) {
  const TemporaryDirectory directory;
  return ConfigFile(directory.write("config", text));
}

struct LoadCase {
  const char* name;
  std::string text;
  std::int32_t errorLine;
  Sections sections;
};

void PrintTo(const LoadCase& row, std::ostream* out) { *out << row.name; }

class ConfigFileLoadTest : public testing::TestWithParam<LoadCase> {};

TEST_P(ConfigFileLoadTest, SortsLinesIntoSections) {
  const ConfigFile file = load(GetParam().text);

  EXPECT_EQ(file.errorLine(), GetParam().errorLine);
  EXPECT_EQ(file.sections(), GetParam().sections);
}

INSTANTIATE_TEST_SUITE_P(
    Valid, ConfigFileLoadTest,
    testing::Values(
        LoadCase{"EmptyFile", "", 0, {}}, LoadCase{"BlankLines", "\n\n  \n\t\n", 0, {}},
        LoadCase{"OneSection", "[a]\nk=v\n", 0, {{"a", "k=v\n"}}},
        LoadCase{"NoLineFeedAtTheEnd", "[a]\nk=v", 0, {{"a", "k=v\n"}}},
        LoadCase{"LeadingSpaces", "  [a]\n   k = v  \n", 0, {{"a", "k = v  \n"}}},
        LoadCase{"Tabs", "\t[a]\n\tk\t=\tv\t\n", 0, {{"a", "k = v \n"}}},
        LoadCase{"TabInASectionName", "[a\tb]\n", 0, {{"a b", ""}}},
        LoadCase{"CarriageReturns", "[a]\r\nk=v\r\n\r\n", 0, {{"a", "k=v\n"}}},
        LoadCase{"CarriageReturnsInsideALine", "[\ra]\nk\r=\rv\n", 0, {{"a", "k=v\n"}}},
        LoadCase{"CarriageReturnsOnly", "\r\r", 0, {}},
        LoadCase{"Comments", "; x\n[a]\n  ;k=v\n;[b]\n", 0, {{"a", ""}}},
        LoadCase{"CommentAtTheEnd", "[a]\n; x", 0, {{"a", ""}}},
        LoadCase{"TextBehindAHeader", "[main] trailing\nk=v\n", 0, {{"main", "k=v\n"}}},
        LoadCase{"HeaderEndsAtTheFirstBracket", "[a]b]\n", 0, {{"a", ""}}},
        LoadCase{"NameIsNotTrimmed", "[ a ]\nk=v\n", 0, {{" a ", "k=v\n"}}},
        LoadCase{"EmptyName", "[]\n", 0, {{"", ""}}},
        LoadCase{"SectionContinues",
                 "[a]\n1=1\n[b]\n2=2\n[a]\n3=3\n",
                 0,
                 {{"a", "1=1\n3=3\n"}, {"b", "2=2\n"}}},
        LoadCase{"NamesDifferByCase", "[a]\n1=1\n[A]\n2=2\n", 0, {{"A", "2=2\n"}, {"a", "1=1\n"}}},
        LoadCase{"EqualsSignsOnly", "[a]\n=\n==\n", 0, {{"a", "=\n==\n"}}},
        LoadCase{"OpenBracketWithAKey", "[a]\n[k=v\n", 0, {{"a", "[k=v\n"}}},
        LoadCase{"BracketsInAValue", "[a]\nk=[v]\n", 0, {{"a", "k=[v]\n"}}},
        LoadCase{"CommentSignInAValue", "[a]\nk=v;w\n", 0, {{"a", "k=v;w\n"}}},
        LoadCase{"HashIsNoComment", "[a]\n#k=v\n", 0, {{"a", "#k=v\n"}}},
        LoadCase{"OctetsAboveAscii", "[\xc3\xa4]\n\xff=\xfe\n", 0, {{"\xc3\xa4", "\xff=\xfe\n"}}},
        LoadCase{"ZeroOctets",
                 std::string("[a\0]\nk\0=\0v\n", 11),
                 0,
                 {{std::string("a\0", 2), std::string("k\0=\0v\n", 6)}}},
        LoadCase{"OtherWhiteSpaceStays", "[a]\n\vk=v\f\n", 0, {{"a", "\vk=v\f\n"}}}));

INSTANTIATE_TEST_SUITE_P(
    Faulty, ConfigFileLoadTest,
    testing::Values(
        LoadCase{"KeyBeforeAnyHeader", "key=value\n[a]\nk=v\n", 1, {{"a", "k=v\n"}}},
        LoadCase{"BlankLinesCount", "\n\n; x\nkey=value\n", 4, {}},
        LoadCase{"FirstFaultCounts", "[a]\nx\ny\nk=v\nz\n", 2, {{"a", "k=v\n"}}},
        LoadCase{"NoEqualsSign", "[a]\nk\n", 2, {{"a", ""}}},
        LoadCase{"LastLineWithoutLineFeed", "[a]\nk", 2, {{"a", ""}}},
        LoadCase{"OpenBracket", "[a\nk=v\n", 1, {}},
        LoadCase{"OpenBracketInASection", "[a]\n[b\nk=v\n", 2, {{"a", "k=v\n"}}},
        LoadCase{"KeyUnderAnEmptyName", "[]\nk=v\n[a]\nk=v\n", 2, {{"", ""}, {"a", "k=v\n"}}},
        LoadCase{"KeyUnderAnEmptyNameLater", "[a]\nk=v\n[]\nk=v\n", 4, {{"", ""}, {"a", "k=v\n"}}},
        LoadCase{"OtherWhiteSpaceAlone", "[a]\n\v\n", 2, {{"a", ""}}}));

TEST(ConfigFileTest, KnowsItsFile) {
  const TemporaryDirectory directory;
  const std::string path = directory.write("config", "");

  EXPECT_EQ(ConfigFile(path).fileName(), path);
}

TEST(ConfigFileTest, CannotReadAMissingFile) {
  const TemporaryDirectory directory;

  const ConfigFile file(directory / "missing");

  EXPECT_EQ(file.errorLine(), -1);
  EXPECT_EQ(file.fileName(), directory / "missing");
  EXPECT_THAT(file.sections(), IsEmpty());
  EXPECT_EQ(file.getValue("a", "k", "default"), "default");
}

TEST(ConfigFileTest, LoadsNothingWithTheSkipFlag) {
  const TemporaryDirectory directory;
  const std::string path = directory.write("config", "[a]\nk=v\nfaulty\n");

  const ConfigFile file(path, 1);
  const ConfigFile missing(directory / "missing", 1);

  EXPECT_EQ(file.errorLine(), 0);
  EXPECT_EQ(file.fileName(), path);
  EXPECT_THAT(file.sections(), IsEmpty());
  EXPECT_EQ(missing.errorLine(), 0);
}

TEST(ConfigFileTest, OnlyASkipFlagOf1Skips) {
  const TemporaryDirectory directory;
  const std::string path = directory.write("config", "[a]\nk=v\n");

  for (const int skip : {0, 2, -1}) {
    EXPECT_EQ(ConfigFile(path, skip).getValue("a", "k", ""), "v") << skip;
  }
}

struct SizeCase {
  std::size_t size;
  std::int32_t errorLine;
};

class ConfigFileSizeTest : public testing::TestWithParam<SizeCase> {};

TEST_P(ConfigFileSizeTest, IsBounded) {
  const TemporaryDirectory directory;
  const std::string path = directory.write("config", "[a]\nk=v\n;");
  std::filesystem::resize_file(path, GetParam().size);

  const ConfigFile file(path);

  EXPECT_EQ(file.errorLine(), GetParam().errorLine);
  EXPECT_EQ(file.getValue("a", "k", "default"), GetParam().errorLine == 0 ? "v" : "default");
}

INSTANTIATE_TEST_SUITE_P(All, ConfigFileSizeTest,
                         testing::Values(SizeCase{4096, 0}, SizeCase{16777216, 0},
                                         SizeCase{16777217, -1}));

// --- getValue ---------------------------------------------------------------------------------

struct ValueCase {
  const char* section;
  const char* key;
  const char* value;
  const char* rawValue;
};

class ConfigFileValueTest : public testing::TestWithParam<ValueCase> {};

TEST_P(ConfigFileValueTest, IsFoundByItsKey) {
  const ConfigFile file = load(
      "[main]\n"
      "plain=value\n"
      "  spaced \t=  a value \v \n"
      "twice=first\n"
      "twice=second\n"
      "empty=\n"
      "blank=   \n"
      "equation = a = b=c\n"
      "two words = yes\n"
      "=nameless\n"
      "\v\f fed = yes\n"
      "[other]\n"
      "plain=another\n");
  const ValueCase& row = GetParam();

  EXPECT_EQ(file.errorLine(), 0);
  EXPECT_EQ(file.getValue(row.section, row.key, "default"), row.value);
  EXPECT_EQ(file.getValue(row.section, row.key, "default", true), row.rawValue);
}

INSTANTIATE_TEST_SUITE_P(All, ConfigFileValueTest,
                         testing::Values(ValueCase{"main", "plain", "value", "value"},
                                         ValueCase{"other", "plain", "another", "another"},
                                         ValueCase{"main", "spaced", "a value", "  a value \v "},
                                         ValueCase{"main", "twice", "first", "first"},
                                         ValueCase{"main", "empty", "", ""},
                                         ValueCase{"main", "blank", "", "   "},
                                         ValueCase{"main", "equation", "a = b=c", " a = b=c"},
                                         ValueCase{"main", "two words", "yes", " yes"},
                                         ValueCase{"main", "", "nameless", "nameless"},
                                         ValueCase{"main", "fed", "yes", " yes"},
                                         ValueCase{"main", "missing", "default", "default"},
                                         ValueCase{"main", "Plain", "default", "default"},
                                         ValueCase{"main", "plai", "default", "default"},
                                         ValueCase{"main", " plain", "default", "default"},
                                         ValueCase{"Main", "plain", "default", "default"},
                                         ValueCase{"missing", "plain", "default", "default"},
                                         ValueCase{"", "plain", "default", "default"}));

TEST(ConfigFileTest, FindsValuesInEveryPartOfASection) {
  const ConfigFile file = load("[a]\n1=x\n[b]\n1=y\n[a]\n1=late\n2=z\n");

  EXPECT_EQ(file.getValue("a", "1", ""), "x");
  EXPECT_EQ(file.getValue("a", "2", ""), "z");
}

}  // namespace
}  // namespace wzapp
