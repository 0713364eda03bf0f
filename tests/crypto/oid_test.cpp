#include "crypto/der/oid.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <string>

#include "crypto/der/der_walker.h"
#include "tests/builders/der_builder.h"

namespace wzapp {
namespace {

using wzapp_test::DerBuilder;
using wzapp_test::fromHex;
using wzapp_test::Octets;

struct OidCase {
  const char* content;
  const char* text;  // null: the conversion fails
  int code;
};

class OidText : public testing::TestWithParam<OidCase> {};

TEST_P(OidText, IsWrittenOrRefused) {
  const Octets content = fromHex(GetParam().content);
  char text[256] = "untouched";

  const int length = oidToText(content, text, sizeof text);

  if (GetParam().text == nullptr) {
    EXPECT_EQ(length, GetParam().code);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(oidToText(content, nullptr, 0), GetParam().code);
    return;
  }
  EXPECT_STREQ(text, GetParam().text);
  EXPECT_EQ(length, static_cast<int>(std::string(GetParam().text).size()));
  EXPECT_EQ(oidToText(content, nullptr, 0), length + 1);
}

INSTANTIATE_TEST_SUITE_P(
    Contents, OidText,
    testing::Values(OidCase{"", nullptr, kDerTruncatedOid}, OidCase{"00", "0.0", 0},
                    OidCase{"27", "0.39", 0}, OidCase{"28", "1.0", 0}, OidCase{"4F", "1.39", 0},
                    OidCase{"50", "2.0", 0}, OidCase{"FF", "2.175", 0},
                    OidCase{"2B 0E 03 02 1A", "1.3.14.3.2.26", 0},
                    OidCase{"60 86 48 01 65 03 04 02 01", "2.16.840.1.101.3.4.2.1", 0},
                    OidCase{"2A 80 05", "1.2.5", 0}, OidCase{"2A 80 80 80 80 05", "1.2.5", 0},
                    OidCase{"2A 80 80 80 80 80 05", nullptr, kDerNotFound},
                    OidCase{"2A FF FF FF FF 7F", "1.2.34359738367", 0},
                    OidCase{"2A 90 80 80 80 00", "1.2.4294967296", 0},
                    OidCase{"2A 81 80 80 80 80 00", nullptr, kDerNotFound},
                    OidCase{"2A 81", nullptr, kDerTruncatedOid},
                    OidCase{"2A 05 FF FF FF FF FF", nullptr, kDerTruncatedOid}));

TEST(OidText, NeedsRoomForItsTerminator) {
  const Octets content = fromHex("2B 0E 03 02 1A");
  char text[14];

  EXPECT_EQ(oidToText(content, text, 13), kDerNotFound);
  EXPECT_STREQ(text, "");
  EXPECT_EQ(oidToText(content, text, 1), kDerNotFound);
  EXPECT_EQ(oidToText(content, text, 14), 13);
  EXPECT_STREQ(text, "1.3.14.3.2.26");
}

TEST(OidText, OfAnElementNeedsAValidRecordOfDefiniteLength) {
  const Octets der = DerBuilder().oid("1.2.3").octets();
  const Octets indefinite = DerBuilder().indefinite(0x30, der).octets();
  DerElement element;
  char text[32];

  EXPECT_EQ(oidToText(element, text, sizeof text), kDerInvalidElement);
  ASSERT_EQ(DerWalker(indefinite).first(element), 0);
  EXPECT_EQ(oidToText(element, text, sizeof text), kDerInvalidElement);
  ASSERT_EQ(DerWalker(der).first(element), 0);
  EXPECT_EQ(oidToText(element, text, sizeof text), 5);
  EXPECT_STREQ(text, "1.2.3");
}

struct ShortCase {
  const char* content;
  int code;
};

class ShortOidRead : public testing::TestWithParam<ShortCase> {};

TEST_P(ShortOidRead, TakesTextsOfThirtyCharacters) {
  const Octets content = fromHex(GetParam().content);
  ShortOid oid;

  EXPECT_EQ(ShortOid::read(content, oid), GetParam().code);
  EXPECT_EQ(oid == ShortOid(), GetParam().code != 0);
}

INSTANTIATE_TEST_SUITE_P(
    Contents, ShortOidRead,
    testing::Values(ShortCase{"", kDerTruncatedOid}, ShortCase{"2A", 0},
                    ShortCase{"2A 81", kDerTruncatedOid},
                    ShortCase{"2A 80 80 80 80 80 05", kDerNotFound},
                    ShortCase{"2A 01 01 01 01 01 01 01 01 01 01 01 01 01", 0},  // 29 characters
                    ShortCase{"2A 01 01 01 01 01 01 01 01 01 01 01 01 0A", 0},  // 30
                    ShortCase{"2A 01 01 01 01 01 01 01 01 01 01 01 0A 0A", kDerNotFound},     // 31
                    ShortCase{"2A 01 01 01 01 01 01 01 01 01 01 01 01 01 01", kDerNotFound},  // 31
                    ShortCase{"2A 80 01 01 01 01 01 01 01 01 01 01 01 01 0A", 0},  // 30, padded
                    ShortCase{"2A FF FF FF FF 7F FF FF FF FF 7F", 0},              // 27
                    ShortCase{"2A FF FF FF FF 7F FF FF FF FF 7F 81 00", kDerNotFound}));  // 31

struct ParseCase {
  const char* text;
  bool parses;
};

class ShortOidParse : public testing::TestWithParam<ParseCase> {};

TEST_P(ShortOidParse, TakesOnlyTextsThatContentConvertsTo) {
  EXPECT_EQ(ShortOid::parse(GetParam().text).has_value(), GetParam().parses);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ShortOidParse,
    testing::Values(ParseCase{"", false}, ParseCase{"1", false}, ParseCase{"1.", false},
                    ParseCase{".1", false}, ParseCase{"1..2", false}, ParseCase{"0.0", true},
                    ParseCase{"0.39", true}, ParseCase{"0.40", false}, ParseCase{"1.39", true},
                    ParseCase{"1.40", false}, ParseCase{"2.175", true}, ParseCase{"2.176", false},
                    ParseCase{"3.1", false}, ParseCase{"1.2.03", false}, ParseCase{"1.2.0", true},
                    ParseCase{"1.2.a", false}, ParseCase{"1.2.3 ", false},
                    ParseCase{"1.2.34359738367", true}, ParseCase{"1.2.34359738368", false},
                    ParseCase{"1.2.99999999999999999999999999", false},
                    ParseCase{"1.2.3.4.5.6.7.8.9.10.11.12.133", true},
                    ParseCase{"1.2.3.4.5.6.7.8.9.10.11.12.1334", false}));

// Whatever octets are read, two short OIDs are equal exactly when their texts are, and the text
// leads back to the same value.
TEST(ShortOid, EqualsByText) {
  std::mt19937 random(20);
  std::string previousText;
  ShortOid previous;
  for (int i = 0; i < 20000; ++i) {
    Octets content(1 + random() % 16);
    for (std::uint8_t& octet : content) {
      // Many small arcs and much padding.
      static constexpr std::array<std::uint8_t, 8> kOctets{0x00, 0x01, 0x80, 0x80,
                                                           0x81, 0xFF, 0x7F, 0x2A};
      octet = kOctets[random() % kOctets.size()];
    }
    char text[128];
    ShortOid oid;

    const int length = oidToText(content, text, sizeof text);
    const int code = ShortOid::read(content, oid);

    ASSERT_EQ(code == 0, length > 0 && length <= 30);
    // Taken as they stand, the octets never pass for an OID that they are not.
    const ShortOid unchecked = ShortOid::ofOctets(content);
    ASSERT_TRUE(unchecked != previous || (code == 0 && oid == previous)) << text;
    if (code != 0) continue;
    EXPECT_EQ(ShortOid::parse(text), oid) << text;
    EXPECT_TRUE(isOid(content, oid)) << text;
    EXPECT_EQ(isOid(content, previous), previousText == text) << previousText << " and " << text;
    EXPECT_EQ(previousText == text, previous == oid) << previousText << " and " << text;
    previousText = text;
    previous = oid;
  }
}

TEST(ShortOid, IsKnownWhenCompiling) {
  static_assert(oid("2.5.29.15") == oid("2.5.29.15"));
  static_assert(!(oid("2.5.29.15") == oid("2.5.29.14")));
  ShortOid read;

  ASSERT_EQ(ShortOid::read(fromHex("55 1D 0F"), read), 0);

  EXPECT_EQ(read, oid("2.5.29.15"));
}

}  // namespace
}  // namespace wzapp
