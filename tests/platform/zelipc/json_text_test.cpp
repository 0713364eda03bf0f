// What the JSON library leaves open.

#include "workstation/zelipc/json_text.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using workstation::holdsSurrogate;
using workstation::isPlain;
using workstation::repairUtf8;
using workstation::tameCopy;
using workstation::wellFormedLength;

// An independent reading of RFC 3629: decode, then look at the value and its shortest length.
bool isCharacter(const std::string& octets) {
  const auto octet = [&](std::size_t i) { return static_cast<unsigned char>(octets[i]); };
  static constexpr unsigned kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  std::size_t length = 1;
  unsigned value = octet(0);
  if ((octet(0) & 0xE0) == 0xC0) length = 2, value = octet(0) & 0x1FU;
  if ((octet(0) & 0xF0) == 0xE0) length = 3, value = octet(0) & 0x0FU;
  if ((octet(0) & 0xF8) == 0xF0) length = 4, value = octet(0) & 0x07U;
  if (octets.size() != length || (length == 1 && octet(0) >= 0x80)) return false;
  for (std::size_t i = 1; i < length; ++i) {
    if ((octet(i) & 0xC0) != 0x80) return false;
    value = value << 6 | (octet(i) & 0x3FU);
  }
  return value >= kSmallest[length] && value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
}

TEST(JsonTextTest, WellFormedIsWhatDecodesToACharacter) {
  for (int first = 0; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      std::string octets{static_cast<char>(first), static_cast<char>(second)};
      if (first >= 0xE0) octets += '\xBF';
      if (first >= 0xF0) octets += '\x80';
      if (first < 0xC0) octets.pop_back();

      ASSERT_EQ(wellFormedLength(octets) == octets.size(), isCharacter(octets))
          << first << ' ' << second;
    }
  }
}

TEST(JsonTextTest, PlainIsWhatNeedsNoEscape) {
  for (std::size_t length = 1; length <= 17; ++length) {
    for (std::size_t place = 0; place < length; ++place) {
      for (int octet = 0; octet < 256; ++octet) {
        std::string text(length, 'a');
        text[place] = static_cast<char>(octet);
        const bool plain = octet >= 0x20 && octet < 0x80 && octet != '"' && octet != '\\';

        ASSERT_EQ(isPlain(text), plain) << length << ' ' << place << ' ' << octet;
      }
    }
  }
  EXPECT_TRUE(isPlain(""));
}

TEST(JsonTextTest, WellFormedLengthEndsBeforeTheFirstBadSequence) {
  EXPECT_EQ(wellFormedLength(""), 0U);
  EXPECT_EQ(wellFormedLength("plain ascii, long enough"), 24U);
  EXPECT_EQ(wellFormedLength("\xC3\xA9\xE2\x82"), 2U);
  EXPECT_EQ(wellFormedLength("0123456\xFF"), 7U);
}

TEST(JsonTextTest, RepairedTextIsWellFormedWhateverItWas) {
  for (int first = 0; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      const std::string octets{'a', static_cast<char>(first), static_cast<char>(second), 'z'};

      const std::string repaired = repairUtf8(octets);

      ASSERT_EQ(wellFormedLength(repaired), repaired.size());
      ASSERT_EQ(repaired.front(), 'a');
      ASSERT_EQ(repaired.back(), 'z');
    }
  }
}

TEST(JsonTextTest, SurrogatesAreFoundAmongCharactersLikeThem) {
  EXPECT_FALSE(holdsSurrogate("\xED\x9F\xBF"));  // U+D7FF
  EXPECT_TRUE(holdsSurrogate("\xED\x9F\xBF\xED\xA0\x80"));
  EXPECT_FALSE(holdsSurrogate("\xEE\x80\x80"));  // U+E000
}

struct TameCase {
  const char* text;
  const char* tame;
};

class JsonTameCopyTest : public ::testing::TestWithParam<TameCase> {};

TEST_P(JsonTameCopyTest, ReplacesLongNumbersAndHalfPairs) {
  EXPECT_EQ(tameCopy(GetParam().text), GetParam().tame);
}

constexpr TameCase kTameCases[] = {
    {"1e400", "0e000"},
    {"-1e400", "-0e000"},
    {"1e400-12345", "0e000-0e000"},
    {"12e9", "12e9"},
    {"[12345,-1.5e-9]", "[0e000,-0e0000]"},
    {"\"12345\"", "\"12345\""},
    {"\"\\\"12345\" 12345", "\"\\\"12345\" 0e000"},
    {"\"\\ud800\"", "\"\\ufffd\""},
    {"\"\\udfff\\udbff\"", "\"\\ufffd\\ufffd\""},
    {"\"\\ud83d\\ude00\"", "\"\\ud83d\\ude00\""},
    {"\"\\ud83d\\u0041\"", "\"\\ufffd\\u0041\""},
    {"\"\\\\ud800\"", "\"\\\\ud800\""},
    // What is malformed stays so.
    {"1e400e1", "0e000e1"},
    {"0012345", "000e000"},
    {"12345.", "12345."},
    {"-e12345", "-e0e000"},
    {"\"\\ud80", "\"\\ud80"},
    {"\"\\ud800", "\"\\ufffd"},
    {"\"\\", "\"\\"},
    {"\"", "\""},
};
INSTANTIATE_TEST_SUITE_P(Texts, JsonTameCopyTest, ::testing::ValuesIn(kTameCases));

}  // namespace
