#include "crypto/hex.h"

#include <gtest/gtest.h>

#include <cstring>

#include "tests/builders/der_builder.h"

namespace wzapp {
namespace {

using wzapp_test::Octets;

TEST(Hex, IsUppercaseAndTerminated) {
  char text[8] = "xxxxxxx";

  bytesToHex(Octets{0x00, 0x9A, 0xFF}, text, sizeof text);

  EXPECT_STREQ(text, "009AFF");
}

TEST(Hex, FortyBytesFillSixtyFourOctetsWithThirtyOne) {
  char text[65];
  std::memset(text, 'x', sizeof text);

  bytesToHex(Octets(40, 0xAB), text, 64);

  EXPECT_EQ(std::strlen(text), 62U);
  EXPECT_EQ(text[63], 'x');
  EXPECT_EQ(text[64], 'x');
}

struct SizeCase {
  std::size_t size;
  std::size_t written;
};

class HexSize : public testing::TestWithParam<SizeCase> {};

TEST_P(HexSize, DecidesHowManyBytesAreWritten) {
  char text[16];
  std::memset(text, 'x', sizeof text);

  bytesToHex(Octets{1, 2, 3}, text, GetParam().size);

  EXPECT_EQ(std::strlen(text), 2 * GetParam().written);
  EXPECT_EQ(text[GetParam().size], 'x');
}

INSTANTIATE_TEST_SUITE_P(Sizes, HexSize,
                         testing::Values(SizeCase{1, 0}, SizeCase{2, 0}, SizeCase{3, 1},
                                         SizeCase{6, 2}, SizeCase{7, 3}, SizeCase{8, 3}));

TEST(Hex, WritesNothingIntoNoRoom) {
  char text[2] = "x";

  bytesToHex(Octets{1}, text, 0);

  EXPECT_STREQ(text, "x");
}

TEST(Hex, OfNothingIsTheEmptyText) {
  char text[2] = "x";

  bytesToHex({}, text, sizeof text);

  EXPECT_STREQ(text, "");
}

}  // namespace
}  // namespace wzapp
