#include "crypto/rsa/big_number.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/crypto/openssl_numbers.h"
#include "tests/crypto/random_cases.h"

namespace wzapp {
namespace {

using testing::Each;
using wzapp_test::fromHex;
using wzapp_test::Number;
using wzapp_test::Octets;
using wzapp_test::RandomCases;
using wzapp_test::toNumber;
using wzapp_test::toOctets;

BigNumber numberOf(const Octets& octets) {
  BigNumber number;
  decode(number, octets);
  return number;
}

Octets octetsOf(const BigNumber& number, std::size_t words) {
  Octets octets(words * kWordSize);
  encode(octets, number, words);
  return octets;
}

TEST(BigNumberTest, DecodesOctetsOfAnyCount) {
  BigNumber number;
  number.fill(0xdddddddd);

  decode(number, fromHex("0102030405"));

  EXPECT_EQ(number[0], 0x02030405U);
  EXPECT_EQ(number[1], 0x01U);
  EXPECT_THAT(std::span(number).subspan(2), Each(0U));
}

TEST(BigNumberTest, DecodesNothingAsZero) {
  BigNumber number;
  number.fill(0xdddddddd);

  decode(number, {});

  EXPECT_THAT(number, Each(0U));
}

TEST(BigNumberTest, DecodesTheLowest64WordsOfALongerNumber) {
  Octets octets(256, 0x11);
  octets.insert(octets.begin(), 0xee);

  const BigNumber number = numberOf(octets);

  EXPECT_THAT(number, Each(0x11111111U));
}

TEST(BigNumberTest, EncodesWithZerosOnTheLeft) {
  const BigNumber number = {0x02030405, 0x01, 0xeeeeeeee};
  Octets octets(10, 0xa5);

  encode(octets, number, 2);

  EXPECT_EQ(octets, fromHex("00000000000102030405"));
}

TEST(BigNumberTest, EncodesTheLowestOctetsWhereRoomIsShort) {
  const BigNumber number = {0x02030405, 0x01};
  Octets octets(3, 0xa5);

  encode(octets, number, 2);

  EXPECT_EQ(octets, fromHex("030405"));
}

TEST(BigNumberTest, SetZeroAndCopyTouchOnlyTheWordsInUse) {
  BigNumber zeroed;
  BigNumber copied;
  zeroed.fill(7);
  copied.fill(7);
  BigNumber source;
  source.fill(9);

  setZero(zeroed, 3);
  copyWords(copied, source, 3);

  EXPECT_THAT(std::span(zeroed).first(3), Each(0U));
  EXPECT_THAT(std::span(zeroed).subspan(3), Each(7U));
  EXPECT_THAT(std::span(copied).first(3), Each(9U));
  EXPECT_THAT(std::span(copied).subspan(3), Each(7U));
}

TEST(BigNumberTest, SignificantWordsEndAtTheHighestThatIsNotZero) {
  const BigNumber number = {0, 5, 0, 7};

  EXPECT_EQ(significantWords(number, 64), 4U);
  EXPECT_EQ(significantWords(number, 3), 2U);
  EXPECT_EQ(significantWords(number, 1), 0U);
  EXPECT_EQ(significantWords(number, 0), 0U);
}

TEST(BigNumberTest, CompareLooksAtTheHighestWordFirst) {
  const BigNumber a = {9, 1, 5};
  const BigNumber b = {1, 2, 4};

  EXPECT_EQ(compare(a, b, 2), -1);
  EXPECT_EQ(compare(b, a, 2), 1);
  EXPECT_EQ(compare(a, b, 3), 1);
  EXPECT_EQ(compare(a, a, 3), 0);
  EXPECT_EQ(compare(a, b, 0), 0);
}

TEST(BigNumberTest, MultiplyWordsGivesAllBits) {
  EXPECT_EQ(multiplyWords(0xffffffff, 0xffffffff), 0xfffffffe00000001U);
  EXPECT_EQ(multiplyWords(0x10000, 0x10000), 0x100000000U);
}

TEST(BigNumberTest, ModuloZeroIsZero) {
  const BigNumber a = {3, 4};
  BigNumber product;
  product.fill(7);

  multiplyModulo(product, a, a, BigNumber{}, 2);

  EXPECT_EQ(product[0], 0U);
  EXPECT_EQ(product[1], 0U);
  EXPECT_EQ(product[2], 7U);
}

TEST(BigNumberTest, ProductMayBeAFactor) {
  BigNumber a = {0x12345678, 0x9abcdef0};
  const BigNumber modulus = {0xffffffff, 0xfffffff0};
  BigNumber expected;
  multiplyModulo(expected, a, a, modulus, 2);

  multiplyModulo(a, a, a, modulus, 2);

  EXPECT_EQ(octetsOf(a, 2), octetsOf(expected, 2));
}

// Estimates of a quotient word that have to be corrected once, twice, and after the subtraction:
// all of them are likely among words of extreme values.
TEST(BigNumberTest, ProductsModuloNumbersOfEveryShapeAgreeWithOpenssl) {
  RandomCases random(10);
  const std::unique_ptr<BN_CTX, wzapp_test::OpensslDeleter> context(BN_CTX_new());
  for (std::size_t i = 0; i < wzapp_test::randomCaseCount(20000); ++i) {
    const std::size_t words = 1 + random.below(random.oneIn(4) ? kMaxWords : 6);
    const Octets a = random.runs(words * kWordSize);
    const Octets b = random.runs(words * kWordSize);
    Octets modulus = random.runs(words * kWordSize);
    if (random.oneIn(4))
      std::fill_n(modulus.begin(), random.below(modulus.size()), std::uint8_t{0});
    const Number n = toNumber(modulus);
    if (BN_is_zero(n.get()) != 0) continue;
    const Number expected(BN_new());
    ASSERT_EQ(
        BN_mod_mul(expected.get(), toNumber(a).get(), toNumber(b).get(), n.get(), context.get()),
        1);

    BigNumber product;
    multiplyModulo(product, numberOf(a), numberOf(b), numberOf(modulus), words);

    ASSERT_EQ(octetsOf(product, words), toOctets(expected, words * kWordSize));
  }
}

}  // namespace
}  // namespace wzapp
