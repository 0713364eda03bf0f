// RSA beside OpenSSL: random keys, valid and spoilt signatures, moduli of every shape.
#include <gtest/gtest.h>

#include <map>

#include "crypto/digest/digest.h"
#include "crypto/rsa/rsa.h"
#include "tests/crypto/openssl_numbers.h"
#include "tests/crypto/random_cases.h"

namespace wzapp {
namespace {

using wzapp_test::makeRsaKey;
using wzapp_test::Number;
using wzapp_test::Octets;
using wzapp_test::opensslDigest;
using wzapp_test::paddedDigest;
using wzapp_test::RandomCases;
using wzapp_test::RsaKey;
using wzapp_test::toNumber;
using wzapp_test::toOctets;

struct Case {
  Octets modulus;
  Octets publicExponent;
  Octets message;
  Octets signature;
  bool isSha1 = false;

  [[nodiscard]] const EVP_MD* type() const { return isSha1 ? EVP_sha1() : EVP_sha256(); }

  [[nodiscard]] int ourVerdict() const {
    return verify({.data = message,
                   .prehashed = false,
                   .signature = signature,
                   .publicExponent = publicExponent,
                   .modulus = modulus,
                   .digestOid = isSha1 ? kSha1Oid : kSha256Oid});
  }

  [[nodiscard]] int opensslVerdict() const {
    return wzapp_test::opensslVerifies(modulus, publicExponent, type(),
                                       opensslDigest(type(), message), signature)
               ? 1
               : 0;
  }
};

void flipBit(RandomCases& random, Octets& octets) {
  octets[random.below(octets.size())] ^= static_cast<std::uint8_t>(1 << random.below(8));
}

// Signature plus modulus, where that has no more octets: the same number modulo the modulus.
void addModulus(Case& spoilt) {
  const Number sum(BN_new());
  BN_add(sum.get(), toNumber(spoilt.signature).get(), toNumber(spoilt.modulus).get());
  const Octets octets = toOctets(sum, spoilt.modulus.size());
  if (octets.size() == spoilt.modulus.size()) spoilt.signature = octets;
}

Case spoil(RandomCases& random, Case valid) {
  switch (random.below(6)) {
    case 0:
      flipBit(random, valid.signature);
      break;
    case 1:
      flipBit(random, valid.message);
      break;
    case 2:
      flipBit(random, valid.modulus);
      if (valid.modulus.front() == 0) valid.modulus.front() = 1;
      break;
    case 3:
      addModulus(valid);
      break;
    case 4:
      valid.signature = random.octets(valid.signature.size());
      break;
    default:
      valid.publicExponent = valid.publicExponent.size() == 1 ? Octets{1, 0, 1} : Octets{3};
      break;
  }
  return valid;
}

// Signs a block that is nearly right: every reader of paddings has its own idea of "nearly".
Octets signSpoiltBlock(RandomCases& random, const RsaKey& key, Octets block) {
  switch (random.below(3)) {
    case 0:
      block[1 + random.below(block.size() - 1)] = static_cast<std::uint8_t>(random.below(256));
      break;
    case 1:  // an octet of filler less, one more behind the digest
      block.erase(block.begin() + 2);
      block.push_back(0);
      break;
    default:
      std::swap(block[2 + random.below(8)], block[block.size() - 1 - random.below(30)]);
      break;
  }
  return key.sign(block);
}

constexpr int kLeastBitsForSha256 = 62 * 8;

class RsaDifferentialTest : public testing::Test {
 protected:
  void expectSameVerdict(const Case& tested) {
    const int expected = tested.opensslVerdict();
    ++verdicts_[expected];
    ASSERT_EQ(tested.ourVerdict(), expected)
        << tested.modulus.size() << " octets, signature "
        << testing::PrintToString(tested.signature) << ", modulus "
        << testing::PrintToString(tested.modulus);
  }

  void judgeKey(RandomCases& random, int bits, unsigned exponent);

  std::map<int, int> verdicts_;
};

// Signs a few messages with a new key and has each signature judged as it is and spoilt.
void RsaDifferentialTest::judgeKey(RandomCases& random, int bits, unsigned exponent) {
  const RsaKey key = makeRsaKey(bits, exponent);
  for (int i = 0; i < 8; ++i) {
    Case valid;
    valid.modulus = key.modulus;
    valid.publicExponent = key.publicExponent;
    valid.isSha1 = bits < kLeastBitsForSha256 || random.oneIn(2);
    valid.message = random.octets(1 + random.below(200));
    const Octets block = paddedDigest(valid.type(), valid.message, key.modulus.size());
    valid.signature = key.sign(block);
    expectSameVerdict(valid);

    Case spoiltBlock = valid;
    spoiltBlock.signature = signSpoiltBlock(random, key, block);
    expectSameVerdict(spoiltBlock);
    for (int j = 0; j < 12; ++j) expectSameVerdict(spoil(random, valid));
  }
}

TEST_F(RsaDifferentialTest, SignaturesOfRandomKeysAreJudgedAsByOpenssl) {
  RandomCases random(30);
  for (std::size_t round = 0; round < wzapp_test::randomCaseCount(1); ++round) {
    for (const int bits :
         {384, 385, 496, 500, 511, 512, 513, 768, 1000, 1023, 1024, 1536, 2047, 2048}) {
      for (const unsigned exponent : {3U, 65537U}) judgeKey(random, bits, exponent);
    }
  }
  EXPECT_GT(verdicts_[0], 0);
  EXPECT_GT(verdicts_[1], 0);
}

// Any octets: even numbers, leading zeros, runs of zeros and ones.
Octets randomModulus(RandomCases& random) {
  const std::size_t size = 1 + random.below(256);
  Octets modulus = random.oneIn(2) ? random.octets(size) : random.runs(size);
  if (random.oneIn(2)) modulus.back() &= 0xfe;
  if (random.oneIn(4)) {
    std::fill_n(modulus.begin(), random.below(modulus.size()), std::uint8_t{0});
  }
  return modulus;
}

// What the operation says of the input: it is cut to the words that the modulus has.
Octets cutToWords(const Octets& input, const Number& modulus) {
  const std::size_t size = (static_cast<std::size_t>(BN_num_bytes(modulus.get())) + 3) / 4 * 4;
  if (input.size() <= size) return input;
  return {input.end() - static_cast<std::ptrdiff_t>(size), input.end()};
}

TEST(PublicOperationDifferentialTest, PowersModuloEveryShapeAgreeWithOpenssl) {
  RandomCases random(31);
  std::size_t refused = 0;
  for (std::size_t i = 0; i < wzapp_test::randomCaseCount(5000); ++i) {
    const Octets modulus = randomModulus(random);
    const Number n = toNumber(modulus);
    if (BN_is_zero(n.get()) != 0 || BN_is_one(n.get()) != 0) continue;
    Octets input = random.oneIn(2) ? random.octets(modulus.size()) : random.runs(modulus.size());
    if (input.front() > modulus.front()) input.front() = 0;
    const Word exponent = random.oneIn(2) ? 3 : random.oneIn(2) ? 65537 : 2 + random.word() % 100;
    const Number exponentNumber(BN_new());
    BN_set_word(exponentNumber.get(), exponent);
    const Number base = toNumber(cutToWords(input, n));

    Octets output(modulus.size());
    std::size_t size = 0;
    const bool hasResult = publicOperation(input, exponent, modulus, output, size);

    ASSERT_EQ(hasResult, BN_cmp(base.get(), n.get()) <= 0);
    if (!hasResult) {
      ++refused;
      continue;
    }
    output.resize(size);
    ASSERT_EQ(output, toOctets(wzapp_test::power(base, exponentNumber, n)));
  }
  EXPECT_GT(refused, 0U);
}

}  // namespace
}  // namespace wzapp
