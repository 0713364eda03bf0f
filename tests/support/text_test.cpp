#include "support/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace wzapp {
namespace {

using testing::ElementsAre;

std::string everyOctet() {
  std::string octets;
  for (int octet = 0; octet < 256; ++octet) octets += static_cast<char>(octet);
  return octets;
}

struct TextCase {
  std::string text;
  std::string expected;
};

// --- trim -------------------------------------------------------------------------------------

class TrimTest : public testing::TestWithParam<TextCase> {};

TEST_P(TrimTest, DropsWhiteSpaceFromBothEnds) {
  EXPECT_EQ(trim(GetParam().text), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    All, TrimTest,
    testing::Values(TextCase{"", ""}, TextCase{"   ", ""}, TextCase{" ", ""},
                    TextCase{" \t\n\v\f\r", ""}, TextCase{" \t\n\v\f\rx\r\f\v\n\t ", "x"},
                    TextCase{"a b", "a b"}, TextCase{"  a \t b", "a \t b"}, TextCase{"a  ", "a"},
                    TextCase{std::string("\0 a \0", 5), std::string("\0 a \0", 5)},
                    TextCase{"\xa0 a \x85", "\xa0 a \x85"}));

TEST(IsSpaceTest, HoldsForSixOctetsOnly) {
  std::string spaces;
  for (const char octet : everyOctet()) {
    if (isSpace(octet)) spaces += octet;
  }

  EXPECT_EQ(spaces, "\t\n\v\f\r ");
}

// --- toUpper ----------------------------------------------------------------------------------

TEST(ToUpperTest, ChangesTheLettersAToZOnly) {
  const std::string octets = everyOctet();

  const std::string upper = toUpper(octets);

  ASSERT_EQ(upper.size(), octets.size());
  for (std::size_t i = 0; i < octets.size(); ++i) {
    const bool isLower = i >= 97 && i <= 122;
    EXPECT_EQ(upper[i], static_cast<char>(isLower ? i - 32 : i)) << i;
  }
}

// --- endsInAnyCase ----------------------------------------------------------------------------

TEST(EndsInAnyCaseTest, ComparesInUpperCase) {
  for (const char* const text : {"shop.zip", "SHOP.ZIP", "a.Zip", ".zip"}) {
    EXPECT_TRUE(endsInAnyCase(text, ".ZIP")) << text;
  }
  for (const char* const text : {"", "zip", "shop.zi", "shop.zip ", "shop@zip"}) {
    EXPECT_FALSE(endsInAnyCase(text, ".ZIP")) << text;
  }
  EXPECT_TRUE(endsInAnyCase("", ""));
  EXPECT_FALSE(endsInAnyCase("a.zip", ".zip"));  // the ending itself is in upper case
}

// --- splitString ------------------------------------------------------------------------------

std::vector<std::string> split(const std::string& text, char separator, bool trimPieces) {
  std::vector<std::string> pieces = {"before"};
  splitString(pieces, text, separator, trimPieces);
  return pieces;
}

TEST(SplitStringTest, TrimsThePiecesIfAskedFor) {
  EXPECT_THAT(split("a, b ,,c", ',', true), ElementsAre("a", "b", "", "c"));
  EXPECT_THAT(split(" a , ", ',', true), ElementsAre("a", ""));
}

TEST(SplitStringTest, KeepsThePiecesOtherwise) {
  EXPECT_THAT(split("a, b ,,c", ',', false), ElementsAre("a", " b ", "", "c"));
}

TEST(SplitStringTest, AlwaysGivesOnePieceMoreThanSeparators) {
  EXPECT_THAT(split("", ',', false), ElementsAre(""));
  EXPECT_THAT(split("", ',', true), ElementsAre(""));
  EXPECT_THAT(split("a", ',', false), ElementsAre("a"));
  EXPECT_THAT(split("a,", ',', false), ElementsAre("a", ""));
  EXPECT_THAT(split(",", ',', false), ElementsAre("", ""));
  EXPECT_THAT(split(",,,", ',', true), ElementsAre("", "", "", ""));
}

TEST(SplitStringTest, SplitsAtAnyOctet) {
  EXPECT_THAT(split("1.2.3", '.', true), ElementsAre("1", "2", "3"));
  EXPECT_THAT(split(std::string("a\0b", 3), '\0', false), ElementsAre("a", "b"));
  EXPECT_THAT(split(std::string("a\0,b", 4), ',', false), ElementsAre(std::string("a\0", 2), "b"));
}

TEST(SplitStringTest, MaySplitOneOfTheOldPieces) {
  std::vector<std::string> pieces = {"a,b"};

  splitString(pieces, pieces[0], ',', false);

  EXPECT_THAT(pieces, ElementsAre("a", "b"));
}

// --- htmlEscape -------------------------------------------------------------------------------

class HtmlEscapeTest : public testing::TestWithParam<TextCase> {};

TEST_P(HtmlEscapeTest, ReplacesOctets) {
  std::string text = GetParam().text;

  htmlEscape(text);

  EXPECT_EQ(text, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(All, HtmlEscapeTest,
                         testing::Values(TextCase{"", ""}, TextCase{"plain", "plain"},
                                         TextCase{"&", "&amp;"}, TextCase{"<", "&lt;"},
                                         TextCase{">", "&gt;"}, TextCase{"\"", "&quot;"},
                                         TextCase{"'", "&apos;"}, TextCase{"\n", "<br>"},
                                         TextCase{"\t", " "}, TextCase{"\r", " "},
                                         TextCase{std::string(1, '\0'), " "},
                                         TextCase{"&amp;", "&amp;amp;"},
                                         TextCase{"<a href=\"x\">", "&lt;a href=&quot;x&quot;&gt;"},
                                         TextCase{std::string("a\0b\r\nc", 6), "a b <br>c"}));

TEST(HtmlEscapeOctetsTest, KeepsEveryOtherOctet) {
  for (const char octet : everyOctet()) {
    if (std::string("&<>\"'\n\t\r\0", 9).find(octet) != std::string::npos) continue;
    std::string text(1, octet);

    htmlEscape(text);

    EXPECT_EQ(text, std::string(1, octet));
  }
}

}  // namespace
}  // namespace wzapp
