#include "crypto/rsa/montgomery.h"

#include <gtest/gtest.h>

#include "tests/crypto/openssl_numbers.h"
#include "tests/crypto/random_cases.h"
#include "tests/crypto/system_features.h"

namespace wzapp {
namespace {

using wzapp_test::Number;
using wzapp_test::Octets;
using wzapp_test::RandomCases;
using wzapp_test::toNumber;
using wzapp_test::toOctets;

// An odd number above 1 whose highest octet is not zero.
Octets randomModulus(RandomCases& random, std::size_t size) {
  Octets modulus = random.oneIn(2) ? random.runs(size) : random.octets(size);
  if (random.oneIn(8)) std::fill(modulus.begin(), modulus.end(), std::uint8_t{0xff});
  if (modulus.front() == 0) modulus.front() = static_cast<std::uint8_t>(1 + random.below(255));
  modulus.back() |= 1;
  if (size == 1 && modulus.back() == 1) modulus.back() = 3;
  return modulus;
}

// A number up to the modulus, often one at the ends of what is allowed.
Octets randomBase(RandomCases& random, const Octets& modulus) {
  if (random.oneIn(16)) return modulus;
  if (random.oneIn(16)) return Octets(modulus.size());
  const std::unique_ptr<BN_CTX, wzapp_test::OpensslDeleter> context(BN_CTX_new());
  const Number base(BN_new());
  const Octets octets =
      random.oneIn(2) ? random.runs(modulus.size()) : random.octets(modulus.size());
  BN_nnmod(base.get(), toNumber(octets).get(), toNumber(modulus).get(), context.get());
  return toOctets(base, modulus.size());
}

Word randomExponent(RandomCases& random) {
  switch (random.below(4)) {
    case 0:
      return 3;
    case 1:
      return 65537;
    case 2:
      return 2 + static_cast<Word>(random.below(64));
    default:
      return std::max(Word{2}, random.word());
  }
}

// A number below the modulus, in columns: its highest column is made smaller, the others are
// random.
ColumnNumber randomBelow(RandomCases& random, const MontgomeryModulus& modulus) {
  ColumnNumber number = {};
  std::size_t highest = modulus.columns - 1;
  while (modulus.modulus[highest] == 0) --highest;
  number[highest] = static_cast<std::uint32_t>(random.below(modulus.modulus[highest]));
  for (std::size_t i = 0; i < highest; ++i) {
    number[i] = random.oneIn(3) ? kColumnMask : random.word() & kColumnMask;
  }
  return number;
}

using KernelChoice = const MontgomeryKernel* (*)();

// What the system, asked by another way than the library's, says that there must be.
struct TestedKernel {
  const char* name;
  KernelChoice choice;
  bool isExpected;
};

class MontgomeryTest : public testing::TestWithParam<TestedKernel> {
 protected:
  void SetUp() override {
    ASSERT_EQ(GetParam().choice() != nullptr, GetParam().isExpected);
    if (!GetParam().isExpected) GTEST_SKIP() << "this processor has no such instructions";
  }

  static Octets power(const Octets& base, Word exponent, const Octets& modulus) {
    BigNumber baseNumber;
    BigNumber modulusNumber;
    BigNumber result;
    decode(baseNumber, base);
    decode(modulusNumber, modulus);
    const std::size_t words = significantWords(modulusNumber, kMaxWords);
    powerModuloOdd(*GetParam().choice(), result, baseNumber, exponent, modulusNumber, words);
    Octets octets(modulus.size());
    encode(octets, result, words);
    return octets;
  }

  static Octets expectedPower(const Octets& base, Word exponent, const Octets& modulus) {
    const Number exponentNumber(BN_new());
    BN_set_word(exponentNumber.get(), exponent);
    return toOctets(wzapp_test::power(toNumber(base), exponentNumber, toNumber(modulus)),
                    modulus.size());
  }
};

TEST_P(MontgomeryTest, PowersAgreeWithOpenssl) {
  RandomCases random(20);
  for (std::size_t i = 0; i < wzapp_test::randomCaseCount(6000); ++i) {
    const Octets modulus = randomModulus(random, 1 + random.below(kMaxWords * kWordSize));
    const Octets base = randomBase(random, modulus);
    const Word exponent = randomExponent(random);

    ASSERT_EQ(power(base, exponent, modulus), expectedPower(base, exponent, modulus));
  }
}

TEST_P(MontgomeryTest, PowersModuloEverySizeAgreeWithOpenssl) {
  RandomCases random(21);
  for (std::size_t bits = 2; bits <= kMaxWords * kWordBits; ++bits) {
    Octets modulus = random.octets((bits + 7) / 8);
    const std::size_t unused = modulus.size() * 8 - bits;
    modulus.front() = static_cast<std::uint8_t>((modulus.front() | 0x80) >> unused);
    modulus.back() |= 1;
    const Octets base = randomBase(random, modulus);

    ASSERT_EQ(power(base, 3, modulus), expectedPower(base, 3, modulus)) << bits << " bits";
  }
}

TEST_P(MontgomeryTest, LargestModulusAndBaseFit) {
  const Octets modulus(kMaxWords * kWordSize, 0xff);
  Octets base = modulus;
  base.back() = 0xfe;

  for (const Word exponent : {2U, 3U, 65536U, 65537U}) {
    EXPECT_EQ(power(base, exponent, modulus), expectedPower(base, exponent, modulus)) << exponent;
    EXPECT_EQ(power(modulus, exponent, modulus), Octets(modulus.size())) << exponent;
  }
}

// The portable one's results to the bit, although either could be off by the modulus.
TEST_P(MontgomeryTest, StepsAgreeWithThePortableOne) {
  RandomCases random(22);
  const MontgomeryKernel& portable = portableMontgomeryKernel();
  const MontgomeryKernel& kernel = *GetParam().choice();
  for (std::size_t i = 0; i < wzapp_test::randomCaseCount(5000); ++i) {
    BigNumber modulus;
    decode(modulus, randomModulus(random, 1 + random.below(kMaxWords * kWordSize)));
    const MontgomeryModulus prepared =
        prepareMontgomery(modulus, significantWords(modulus, kMaxWords));
    const ColumnNumber base = randomBelow(random, prepared);
    ColumnNumber expected = {};
    ColumnNumber actual = {};

    portable.enter(expected, base, prepared);
    kernel.enter(actual, base, prepared);
    ASSERT_EQ(actual, expected);
    const ColumnNumber entered = expected;
    portable.multiply(expected, entered, base, prepared);
    kernel.multiply(actual, entered, base, prepared);
    ASSERT_EQ(actual, expected);
    portable.square(expected, entered, prepared);
    kernel.square(actual, entered, prepared);
    ASSERT_EQ(actual, expected);
  }
}

const MontgomeryKernel* portable() { return &portableMontgomeryKernel(); }

INSTANTIATE_TEST_SUITE_P(Kernels, MontgomeryTest,
                         testing::Values(TestedKernel{"Portable", portable, true},
                                         TestedKernel{"Avx2", avx2MontgomeryKernel,
                                                      wzapp_test::systemHasAvx2()}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(MontgomeryKernelChoiceTest, TakesAvx2WhereThereIsSome) {
  const MontgomeryKernel* const expected =
      wzapp_test::systemHasAvx2() ? avx2MontgomeryKernel() : &portableMontgomeryKernel();

  EXPECT_EQ(&montgomeryKernel(), expected);
}

}  // namespace
}  // namespace wzapp
