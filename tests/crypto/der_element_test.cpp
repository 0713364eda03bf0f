#include "crypto/der/der_element.h"

#include <gtest/gtest.h>

#include "crypto/der/der_walker.h"
#include "tests/builders/der_builder.h"

namespace wzapp {
namespace {

using wzapp_test::DerBuilder;
using wzapp_test::fromHex;
using wzapp_test::Octets;

struct HeaderCase {
  const char* hex;
  int code;
  std::uint32_t identifier;
  std::int32_t tagNumber;
  std::int32_t contentLength;
  std::int32_t headerLength;
};

class DerHeader : public testing::TestWithParam<HeaderCase> {};

TEST_P(DerHeader, IsReadOrRefused) {
  const HeaderCase& expected = GetParam();
  const Octets octets = fromHex(expected.hex);
  DerElement element;

  const int code = readDerHeader(octets, 0, element);

  ASSERT_EQ(code, expected.code);
  if (code != 0) return;
  EXPECT_EQ(element.identifier, expected.identifier);
  EXPECT_EQ(element.constructed, expected.identifier & 0x20);
  EXPECT_EQ(element.classBits, expected.identifier & 0xC0);
  EXPECT_EQ(element.tagNumber, expected.tagNumber);
  EXPECT_EQ(element.contentLength, expected.contentLength);
  EXPECT_EQ(element.headerLength, expected.headerLength);
}

TEST_P(DerHeader, OfTwoOctetsIsReadInPlace) {
  const HeaderCase& expected = GetParam();
  const Octets octets = fromHex(expected.hex);
  DerElement element;

  const bool isRead = readShortDerHeader(octets, 0, element);

  const bool isShort = expected.headerLength == 2 && expected.contentLength != kIndefiniteLength;
  ASSERT_EQ(isRead, isShort);
  EXPECT_EQ(element.identifier, isShort ? expected.identifier : 0);
  EXPECT_EQ(element.constructed, isShort ? expected.identifier & 0x20 : 0);
  EXPECT_EQ(element.classBits, isShort ? expected.identifier & 0xC0 : 0);
  EXPECT_EQ(element.tagNumber, isShort ? expected.tagNumber : 0);
  EXPECT_EQ(element.contentLength, isShort ? expected.contentLength : 0);
  EXPECT_EQ(element.headerLength, isShort ? expected.headerLength : 0);
}

INSTANTIATE_TEST_SUITE_P(Identifiers, DerHeader,
                         testing::Values(HeaderCase{"", kDerBadHeader, 0, 0, 0, 0},
                                         HeaderCase{"30 00", 0, 0x30, 16, 0, 2},
                                         HeaderCase{"A3 01", 0, 0xA3, 3, 1, 2},
                                         HeaderCase{"DE 01", 0, 0xDE, 30, 1, 2},
                                         HeaderCase{"1F", kDerBadHeader, 0, 0, 0, 0},
                                         HeaderCase{"1F 00 00", 0, 0x1F, 0, 0, 3},
                                         HeaderCase{"1F 7F 05", 0, 0x1F, 127, 5, 3},
                                         HeaderCase{"BF 81 00 05", 0, 0xBF, 128, 5, 4},
                                         HeaderCase{"BF FF 7F 05", 0, 0xBF, 16383, 5, 4},
                                         HeaderCase{"BF FF", kDerBadHeader, 0, 0, 0, 0},
                                         HeaderCase{"BF FF FF", kDerTooLong, 0, 0, 0, 0},
                                         HeaderCase{"1F 80 80 01 05", kDerTooLong, 0, 0, 0, 0}));

INSTANTIATE_TEST_SUITE_P(Lengths, DerHeader,
                         testing::Values(HeaderCase{"04", kDerBadHeader, 0, 0, 0, 0},
                                         HeaderCase{"04 7F", 0, 0x04, 4, 127, 2},
                                         HeaderCase{"04 80", 0, 0x04, 4, kIndefiniteLength, 2},
                                         HeaderCase{"04 81", kDerBadHeader, 0, 0, 0, 0},
                                         HeaderCase{"04 81 00", 0, 0x04, 4, 0, 3},
                                         HeaderCase{"04 81 FF", 0, 0x04, 4, 255, 3},
                                         HeaderCase{"04 82", kDerBadHeader, 0, 0, 0, 0},
                                         HeaderCase{"04 82 01", kDerBadHeader, 0, 0, 0, 0},
                                         HeaderCase{"04 82 00 05", 0, 0x04, 4, 5, 4},
                                         HeaderCase{"04 82 7F FE", 0, 0x04, 4, 32766, 4},
                                         HeaderCase{"04 82 7F FF", kDerTooLong, 0, 0, 0, 0},
                                         HeaderCase{"04 82 80 00", kDerTooLong, 0, 0, 0, 0},
                                         HeaderCase{"04 83 00 00 05", kDerTooLong, 0, 0, 0, 0},
                                         HeaderCase{"04 83", kDerTooLong, 0, 0, 0, 0},
                                         HeaderCase{"04 FF", kDerTooLong, 0, 0, 0, 0}));

DerElement elementOf(const Octets& der) {
  DerElement element;
  EXPECT_EQ(DerWalker(der).first(element), 0);
  return element;
}

struct NumberCase {
  const char* content;
  int code;
  std::int32_t value;
};

class DerInteger : public testing::TestWithParam<NumberCase> {};

TEST_P(DerInteger, IsSignedAndOfOneToFourOctets) {
  const Octets der = DerBuilder().integer(fromHex(GetParam().content)).octets();
  std::int32_t value = 77;

  const int code = readInteger(elementOf(der), value);

  EXPECT_EQ(code, GetParam().code);
  EXPECT_EQ(value, code == 0 ? GetParam().value : 77);
}

INSTANTIATE_TEST_SUITE_P(Contents, DerInteger,
                         testing::Values(NumberCase{"", kDerBadInteger, 0}, NumberCase{"00", 0, 0},
                                         NumberCase{"7F", 0, 127}, NumberCase{"FF", 0, -1},
                                         NumberCase{"80", 0, -128}, NumberCase{"00 80", 0, 128},
                                         NumberCase{"FF 7F", 0, -129},
                                         NumberCase{"01 00 01", 0, 65537},
                                         NumberCase{"7F FF FF FF", 0, 2147483647},
                                         NumberCase{"80 00 00 00", 0, -2147483647 - 1},
                                         NumberCase{"00 00 00 00 01", kDerBadInteger, 0}));

class DerBooleanValue : public testing::TestWithParam<NumberCase> {};

TEST_P(DerBooleanValue, IsOneOctet) {
  const Octets der = DerBuilder().element(kDerBoolean, fromHex(GetParam().content)).octets();
  std::int32_t value = 77;

  const int code = readBoolean(elementOf(der), value);

  EXPECT_EQ(code, GetParam().code);
  EXPECT_EQ(value, code == 0 ? GetParam().value : 77);
}

INSTANTIATE_TEST_SUITE_P(Contents, DerBooleanValue,
                         testing::Values(NumberCase{"", kDerBadBoolean, 0}, NumberCase{"00", 0, 0},
                                         NumberCase{"05", 0, 1}, NumberCase{"FF", 0, 1},
                                         NumberCase{"00 00", kDerBadBoolean, 0}));

TEST(DerElement, WithoutACompleteReadGivesNoNumberAndNoView) {
  DerElement element;
  std::int32_t value = 77;

  EXPECT_EQ(readInteger(element, value), kDerBadInteger);
  EXPECT_EQ(readBoolean(element, value), kDerBadBoolean);
  EXPECT_EQ(value, 77);
  EXPECT_TRUE(element.content().empty());
  EXPECT_TRUE(element.encoding().empty());
}

TEST(DerElement, OfIndefiniteLengthIsValidButHasNoView) {
  const Octets der = DerBuilder().indefinite(0x30, DerBuilder().boolean(true)).octets();

  const DerElement element = elementOf(der);

  EXPECT_TRUE(element.isValid());
  EXPECT_FALSE(element.hasView());
  EXPECT_TRUE(element.content().empty());
  EXPECT_TRUE(element.encoding().empty());
}

TEST(DerElement, ShowsItsContentAndItsEncoding) {
  const Octets der = fromHex("04 81 02 AA BB 05 00");

  const DerElement element = elementOf(der);

  EXPECT_EQ(element.content().data(), der.data() + 3);
  EXPECT_EQ(element.content().size(), 2U);
  EXPECT_EQ(element.encoding().data(), der.data());
  EXPECT_EQ(element.encoding().size(), 5U);
}

}  // namespace
}  // namespace wzapp
