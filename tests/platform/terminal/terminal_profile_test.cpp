#include "workstation/terminal/terminal_profile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "tests/builders/test_terminal.h"

namespace workstation {
namespace {

using testing::HasSubstr;

constexpr char kComplete[] = R"({
  "serial": "10000000001",
  "model": "T30",
  "display": {"width": 480, "height": 800, "colour": true},
  "memory": 524288,
  "keys": 15,
  "touch": false, "engine": 87,
  "sponsor": {"id": "012345", "text": "Sponsor \u00e9"},
  "roots": "roots"
})";

// The complete profile with `from` replaced by `to`.
std::string changed(const std::string& from, const std::string& to) {
  std::string text = kComplete;
  const std::size_t position = text.find(from);
  EXPECT_NE(position, std::string::npos) << from;
  return text.replace(position, from.size(), to);
}

TEST(TerminalProfileTest, ACompleteProfileIsReadWhole) {
  TerminalProfile profile;
  ProfileError error;

  ASSERT_TRUE(parseTerminalProfile(kComplete, "terminal.json", profile, error)) << error.text();

  EXPECT_EQ(profile.serial, "10000000001");
  EXPECT_EQ(profile.model, "T30");
  EXPECT_EQ(profile.displayWidth, 480);
  EXPECT_EQ(profile.displayHeight, 800);
  EXPECT_TRUE(profile.displayColour);
  EXPECT_EQ(profile.memoryKB, 524288U);
  EXPECT_EQ(profile.keys, 15);
  EXPECT_FALSE(profile.touch);
  EXPECT_EQ(profile.engine, 87U);
  EXPECT_EQ(profile.sponsorId, "012345");
  EXPECT_EQ(profile.sponsorText, "Sponsor \xC3\xA9");
  EXPECT_EQ(profile.rootsDirectory, "roots");
}

TEST(TerminalProfileTest, WhatIsWrittenReadsBackEqual) {
  TerminalProfile written = wzapp_test::testProfile();
  written.serial = "A \"quoted\" one";
  written.rootsDirectory = "roots";
  written.engine = 87;
  TerminalProfile read;
  ProfileError error;

  ASSERT_TRUE(parseTerminalProfile(formatTerminalProfile(written), "t", read, error))
      << error.text();

  EXPECT_EQ(formatTerminalProfile(read), formatTerminalProfile(written));
  EXPECT_EQ(read.serial, written.serial);
}

TEST(TerminalProfileTest, RelativeRootsLieBelowTheTerminal) {
  TerminalProfile profile = wzapp_test::testProfile();
  profile.rootsDirectory = "roots";
  const wzapp_test::TemporaryTerminal terminal(profile);
  TerminalProfile loaded;
  ProfileError error;

  ASSERT_TRUE(loadTerminalProfile(terminal.directory(), loaded, error)) << error.text();

  EXPECT_EQ(loaded.rootsDirectory, terminal.directory() + "/roots");
}

TEST(TerminalProfileTest, AMissingFileIsNamed) {
  TerminalProfile profile = wzapp_test::testProfile();
  ProfileError error;

  EXPECT_FALSE(loadTerminalProfile("/nowhere", profile, error));

  EXPECT_EQ(error.text(), "/nowhere/terminal.json: cannot be read: No such file or directory");
  EXPECT_EQ(profile.model, "T30");
}

struct WrongProfile {
  const char* name;
  std::string text;
  int line, column;
  const char* message;
};

void PrintTo(const WrongProfile& row, std::ostream* out) { *out << row.name; }

class TerminalProfileErrorTest : public testing::TestWithParam<WrongProfile> {};

TEST_P(TerminalProfileErrorTest, SaysWhatIsWrongAndWhere) {
  TerminalProfile profile = wzapp_test::testProfile();
  ProfileError error;

  EXPECT_FALSE(parseTerminalProfile(GetParam().text, "T/terminal.json", profile, error));

  EXPECT_EQ(error.line, GetParam().line);
  EXPECT_EQ(error.column, GetParam().column);
  EXPECT_THAT(error.message, HasSubstr(GetParam().message));
  EXPECT_THAT(error.text(), testing::StartsWith("T/terminal.json:"));
  EXPECT_EQ(profile.serial, "10000000001");
  EXPECT_EQ(profile.sponsorText, "Test sponsor");
}

INSTANTIATE_TEST_SUITE_P(
    Errors, TerminalProfileErrorTest,
    testing::Values(
        WrongProfile{"Empty", "", 1, 1, "not JSON: The document is empty."},
        WrongProfile{"Cut", "{\n \"model\": \"T30\"", 2, 16, "not JSON: "},
        WrongProfile{"Trailing", changed("\n}", "\n} x"), 10, 3, "not JSON: "},
        WrongProfile{"NotUtf8", changed("T30", "\xFF"), 3, 13, "not JSON: "},
        WrongProfile{"Array", "[1]", 1, 1, "a profile must be an object, not an array"},
        WrongProfile{"Text", " \"x\"", 1, 2, "a profile must be an object, not a text"},
        WrongProfile{"Number", "7", 1, 1, "a profile must be an object, not a number"},
        WrongProfile{"ModelNumber", changed("\"T30\"", "30"), 3, 12,
                     "\"model\" must be a text, not a number"},
        WrongProfile{"ModelNull", changed("\"T30\"", "null"), 3, 12,
                     "\"model\" must be a text, not null"},
        WrongProfile{"ModelArray", changed("\"T30\"", "[\"T30\"]"), 3, 12,
                     "\"model\" must be a text, not an array"},
        WrongProfile{"ModelObject", changed("\"T30\"", "{}"), 3, 12,
                     "\"model\" must be a text, not an object"},
        WrongProfile{"ModelLong", changed("T30", "1234567890123"), 3, 12,
                     "\"model\" must be 0 to 12 printable ASCII characters"},
        WrongProfile{"ModelControl", changed("T30", "T\\u0000"), 3, 12, "printable ASCII"},
        WrongProfile{"SerialLong", changed("10000000001", "12345678901234567"), 2, 13,
                     "\"serial\" must be 0 to 16"},
        WrongProfile{"DisplayText",
                     changed("{\"width\": 480, \"height\": 800, \"colour\": true}", "\"480x800\""),
                     4, 14, "\"display\" must be an object, not a text"},
        WrongProfile{"WidthText", changed("480", "\"480\""), 4, 24,
                     "\"display.width\" must be a whole number, not a text"},
        WrongProfile{"WidthZero", changed("480", "0"), 4, 24,
                     "\"display.width\" must be from 1 to 16384, not 0"},
        WrongProfile{"WidthLarge", changed("480", "16385"), 4, 24, "not 16385"},
        WrongProfile{"WidthFraction", changed("480", "480.5"), 4, 24,
                     "must be a whole number, not a number with a fraction"},
        WrongProfile{"HeightNegative", changed("800", "-1"), 4, 39, "not -1"},
        WrongProfile{"ColourNumber", changed("true", "1"), 4, 54,
                     "\"display.colour\" must be true or false, not a number"},
        WrongProfile{"MemoryLarge", changed("524288", "4194304"), 5, 13,
                     "\"memory\" must be from 0 to 4194303 (units of 1024 octets), not 4194304"},
        WrongProfile{"MemoryHuge", changed("524288", "18446744073709551615"), 5, 13,
                     "not 18446744073709551615"},
        WrongProfile{"KeysLarge", changed("15", "256"), 6, 11, "from 0 to 255, not 256"},
        WrongProfile{"TouchText", changed("false", "\"no\""), 7, 12,
                     "\"touch\" must be true or false, not a text"},
        WrongProfile{"EngineZero", changed("87", "0"), 7, 29, "from 1 to 9999, not 0"},
        WrongProfile{"SponsorShort", changed("012345", "12345"), 8, 21,
                     "\"sponsor.id\" must be six digits, not all of them 0"},
        WrongProfile{"SponsorLetters", changed("012345", "12345A"), 8, 21, "six digits"},
        WrongProfile{"SponsorZero", changed("012345", "000000"), 8, 21, "not all of them 0"},
        WrongProfile{"SponsorTextEmpty", changed("Sponsor \\u00e9", ""), 8, 39,
                     "\"sponsor.text\" must be 1 to 127 octets"},
        WrongProfile{"SponsorTextLong", changed("Sponsor \\u00e9", std::string(128, 'x')), 8, 39,
                     "\"sponsor.text\" must be 1 to 127 octets"},
        WrongProfile{"SponsorTextMissing", changed(", \"text\": \"Sponsor \\u00e9\"", ""), 8, 29,
                     "\"sponsor.text\" is missing"},
        WrongProfile{"RootsEmpty", changed("\"roots\"\n", "\"\"\n"), 9, 12,
                     "\"roots\" must be the path of a folder"},
        WrongProfile{"Unknown", changed("\"keys\"", "\"buttons\""), 6, 3,
                     "unknown key \"buttons\"; known here are \"serial\", \"model\", \"display\","},
        WrongProfile{"UnknownInside", changed("\"width\"", "\"depth\""), 4, 15,
                     "unknown key \"depth\"; known here are \"width\", \"height\", \"colour\""},
        WrongProfile{"UnknownDotted", changed("\"keys\"", "\"display.width\""), 6, 3,
                     "unknown key \"display.width\""},
        WrongProfile{"UnknownControl", changed("\"keys\"", "\"\\u001b[31m\""), 6, 3,
                     "unknown key \"?[31m\""},
        WrongProfile{"Twice", changed("\"keys\": 15", "\"model\": \"T7\""), 6, 3,
                     "\"model\" stands here a second time"},
        WrongProfile{"Missing", changed("  \"keys\": 15,\n", ""), 9, 1, "\"keys\" is missing"},
        WrongProfile{"MissingInside", changed("\"height\": 800, ", ""), 4, 43,
                     "\"display.height\" is missing"}),
    [](const testing::TestParamInfo<WrongProfile>& row) { return row.param.name; });

TEST(TerminalProfileTest, TheLargestValuesAreAccepted) {
  TerminalProfile widest = wzapp_test::testProfile();
  widest.serial = std::string(16, '9');
  widest.model = std::string(12, 'M');
  widest.displayWidth = widest.displayHeight = 16384;
  widest.memoryKB = 4194303;
  widest.keys = 255;
  widest.sponsorText = std::string(127, 's');
  TerminalProfile profile;
  ProfileError error;

  EXPECT_TRUE(parseTerminalProfile(formatTerminalProfile(widest), "t", profile, error))
      << error.text();

  EXPECT_EQ(profile.sponsorText.size(), 127U);
}

TEST(TerminalProfileTest, AFileOfMoreThan64KiBIsRefused) {
  const std::string padding(std::size_t{64} * 1024, ' ');
  TerminalProfile profile;
  ProfileError error;

  EXPECT_FALSE(parseTerminalProfile(kComplete + padding, "t", profile, error));

  EXPECT_EQ(error.text(), "t: larger than a profile can be (65536 octets)");
}

}  // namespace
}  // namespace workstation
