#include "crypto/rsa/rsa.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "crypto/digest/digest.h"
#include "tests/crypto/allocation_faults.h"
#include "tests/crypto/openssl_numbers.h"
#include "tests/crypto/vector_file.h"

namespace wzapp {
namespace {

using testing::Each;
using testing::ElementsAre;
using wzapp_test::AllocationWatch;
using wzapp_test::fromHex;
using wzapp_test::fromText;
using wzapp_test::makeRsaKey;
using wzapp_test::Octets;
using wzapp_test::paddedDigest;
using wzapp_test::RsaKey;

// Octets that a check looks at, with what owns them.
struct SignedMessage {
  RsaKey key;
  Octets message = fromText("a message");
  Octets signature;
  std::string_view oid = kSha256Oid;

  [[nodiscard]] SignatureCheck check() const {
    return {.data = message,
            .prehashed = false,
            .signature = signature,
            .publicExponent = key.publicExponent,
            .modulus = key.modulus,
            .digestOid = oid};
  }
};

const EVP_MD* typeOf(std::string_view oid) { return oid == kSha1Oid ? EVP_sha1() : EVP_sha256(); }

SignedMessage signedWith(RsaKey key, std::string_view oid = kSha256Oid) {
  SignedMessage made;
  made.key = std::move(key);
  made.oid = oid;
  made.signature = made.key.sign(paddedDigest(typeOf(oid), made.message, made.key.modulus.size()));
  return made;
}

// Made once, since primes take their time.
const RsaKey& key2048() {
  static const RsaKey key = makeRsaKey(2048, 65537);
  return key;
}

const RsaKey& key512() {
  static const RsaKey key = makeRsaKey(512, 65537);
  return key;
}

void expectPublishedVerdicts(const MontgomeryKernel& kernel) {
  std::size_t checked = 0;
  for (const auto& row : wzapp_test::readVectors("rsa/verify.jsonl")) {
    SCOPED_TRACE(row["id"].GetString());
    const Octets data = wzapp_test::hexMember(row, "msg");
    const Octets signature = wzapp_test::hexMember(row, "sig");
    const Octets exponent = wzapp_test::hexMember(row, "e");
    const Octets modulus = wzapp_test::hexMember(row, "n");

    const int verdict = verify({.data = data,
                                .prehashed = row["prehashed"].GetInt() != 0,
                                .signature = signature,
                                .publicExponent = exponent,
                                .modulus = modulus,
                                .digestOid = row["oid"].GetString()},
                               kernel);

    EXPECT_EQ(verdict, row["expect"].GetInt());
    ++checked;
  }
  EXPECT_EQ(checked, 258U);
}

TEST(RsaTest, GivesThePublishedVerdicts) { expectPublishedVerdicts(montgomeryKernel()); }

TEST(RsaTest, GivesThePublishedVerdictsInPlainCpp) {
  expectPublishedVerdicts(portableMontgomeryKernel());
}

TEST(RsaTest, A2048BitKeyVerifies) {
  EXPECT_EQ(verify(signedWith(key2048()).check()), 1);
  EXPECT_EQ(verify(signedWith(key2048(), kSha1Oid).check()), 1);
}

TEST(RsaTest, AnotherMessageIsInvalid) {
  SignedMessage message = signedWith(key2048());
  message.message.back() ^= 1;

  EXPECT_EQ(verify(message.check()), 0);
}

TEST(RsaTest, ThePrehashedDigestIsTakenAsItStands) {
  const SignedMessage message = signedWith(key2048());
  const Octets digest = wzapp_test::opensslDigest(EVP_sha256(), message.message);
  SignatureCheck check = message.check();
  check.prehashed = true;

  const int ofMessage = verify(check);
  check.data = digest;
  const int ofDigest = verify(check);

  EXPECT_EQ(ofMessage, 0);
  EXPECT_EQ(ofDigest, 1);
}

struct SizeLimit {
  std::size_t modulusSize;
  std::string_view oid;
  int verdict;  // of a signature that is right where there is room for it
};

class RsaSizeLimitTest : public testing::TestWithParam<SizeLimit> {};

TEST_P(RsaSizeLimitTest, DecidesBeforeTheSignature) {
  const SizeLimit& limit = GetParam();
  SignedMessage message;
  message.oid = limit.oid;
  if (limit.verdict == 1) {
    message = signedWith(makeRsaKey(static_cast<int>(limit.modulusSize * 8), 3), limit.oid);
  } else {
    message.key.modulus = Octets(limit.modulusSize, 0xff);
    message.key.publicExponent = {3};
    message.signature = Octets(limit.modulusSize, 0x11);
  }

  EXPECT_EQ(verify(message.check()), limit.verdict);
}

INSTANTIATE_TEST_SUITE_P(
    Limits, RsaSizeLimitTest,
    testing::Values(SizeLimit{0, kSha1Oid, -4}, SizeLimit{45, kSha1Oid, -4},
                    SizeLimit{46, kSha1Oid, 1}, SizeLimit{0, kSha256Oid, -4},
                    SizeLimit{61, kSha256Oid, -4}, SizeLimit{62, kSha256Oid, 1},
                    SizeLimit{256, kSha1Oid, 1}, SizeLimit{257, kSha1Oid, -2},
                    SizeLimit{257, kSha256Oid, -2}, SizeLimit{5000, kSha256Oid, -2},
                    // The digest is looked at first.
                    SizeLimit{257, "1.2.840.113549.2.5", -4}, SizeLimit{256, "", -4}));

TEST(RsaTest, UnknownDigestIsRefusedForDigestsToo) {
  SignedMessage message = signedWith(key2048());
  message.oid = "2.16.840.1.101.3.4.2.3";
  SignatureCheck check = message.check();
  check.prehashed = true;

  EXPECT_EQ(verify(check), -4);
}

TEST(RsaTest, DigestThatFitsNoStructureIsRefused) {
  const Octets tooMuch(300);
  SignedMessage message = signedWith(key2048());
  SignatureCheck check = message.check();
  check.prehashed = true;
  check.data = tooMuch;

  EXPECT_EQ(verify(check), -4);
}

struct ExponentRule {
  const char* name;
  unsigned keyExponent;      // what the key was made for
  Octets certificateOctets;  // what the certificate says
  int verdict;
};

class RsaExponentTest : public testing::TestWithParam<ExponentRule> {};

TEST_P(RsaExponentTest, IsToldByTheLengthAlone) {
  SignedMessage message = signedWith(makeRsaKey(512, GetParam().keyExponent));
  message.key.publicExponent = GetParam().certificateOctets;

  EXPECT_EQ(verify(message.check()), GetParam().verdict);
}

INSTANTIATE_TEST_SUITE_P(Rule, RsaExponentTest,
                         testing::Values(ExponentRule{"Three", 3, {3}, 1},
                                         ExponentRule{"OtherOctetForThree", 3, {17}, 1},
                                         ExponentRule{"ZeroForThree", 3, {0}, 1},
                                         ExponentRule{"SeventeenItself", 17, {17}, 0},
                                         ExponentRule{"ThreeInTwoOctets", 3, {0, 3}, 0},
                                         ExponentRule{"F4", 65537, {1, 0, 1}, 1},
                                         ExponentRule{"OtherOctetsForF4", 65537, {9, 9, 9}, 1},
                                         ExponentRule{"TwoOctetsForF4", 65537, {9, 9}, 1},
                                         ExponentRule{"ManyOctetsForF4", 65537, Octets(300, 7), 1},
                                         ExponentRule{"NoneForF4", 65537, {}, 1},
                                         ExponentRule{"OneOctetForF4", 65537, {1}, 0},
                                         ExponentRule{"OtherLongExponent", 4097, {0x10, 0x01}, 0}),
                         [](const auto& rule) { return rule.param.name; });

TEST(RsaTest, EveryChangedOctetOfTheBlockIsSeen) {
  for (const std::string_view oid : {kSha1Oid, kSha256Oid}) {
    SignedMessage message = signedWith(key512(), oid);
    const Octets block = paddedDigest(typeOf(oid), message.message, message.key.modulus.size());
    for (std::size_t i = 0; i < block.size(); ++i) {
      Octets changed = block;
      // The lowest bit of the first octet would take the block above the modulus; it goes unsigned.
      changed[i] ^= i == 0 ? 0x00 : 0x01;
      message.signature = message.key.sign(changed);

      EXPECT_EQ(verify(message.check()), i == 0 ? 1 : 0) << oid << ", octet " << i;
    }
  }
}

TEST(RsaTest, EveryFlippedBitOfTheSignatureIsSeen) {
  SignedMessage message = signedWith(key512());
  for (std::size_t bit = 0; bit < message.signature.size() * 8; ++bit) {
    message.signature[bit / 8] ^= static_cast<std::uint8_t>(1 << (bit % 8));

    EXPECT_EQ(verify(message.check()), 0) << "bit " << bit;

    message.signature[bit / 8] ^= static_cast<std::uint8_t>(1 << (bit % 8));
  }
  EXPECT_EQ(verify(message.check()), 1);
}

TEST(RsaTest, OctetsBehindTheSignatureDoNotCount) {
  SignedMessage message = signedWith(key512());
  message.signature.resize(message.signature.size() + 100, 0xee);

  EXPECT_EQ(verify(message.check()), 1);
}

// A signature that ends in a zero octet, so that cutting the octet off changes nothing.
TEST(RsaTest, ShortSignatureCountsAsFollowedByZeros) {
  SignedMessage message;
  do {
    message.message.push_back('.');
    message.key = key512();
    message.signature = message.key.sign(paddedDigest(EVP_sha256(), message.message, 64));
  } while (message.signature.back() != 0);
  // Of exactly the size that is left, so that a read behind it would be seen.
  const Octets cut(message.signature.begin(), message.signature.end() - 1);
  const Octets cutFurther(message.signature.begin(), message.signature.end() - 2);
  SignatureCheck check = message.check();

  check.signature = cut;
  EXPECT_EQ(verify(check), 1);
  check.signature = cutFurther;
  EXPECT_EQ(verify(check), 0);
  check.signature = {};
  EXPECT_EQ(verify(check), 0);
}

TEST(RsaTest, SignatureOfTheModulusIsInvalid) {
  SignedMessage message = signedWith(key512());
  message.signature = message.key.modulus;

  EXPECT_EQ(verify(message.check()), 0);
}

TEST(RsaTest, SignatureAboveTheModulusIsInvalid) {
  SignedMessage message = signedWith(key512());
  message.signature = Octets(64, 0xff);

  EXPECT_EQ(verify(message.check()), 0);
}

// Keys that no one can sign for: none may be accepted, and none may break anything.
TEST(RsaTest, ModuliWithoutMeaningAreInvalid) {
  for (const Octets& modulus :
       {Octets(64, 0x00), Octets(256, 0x00), fromHex(std::string(126, '0') + "01"),
        fromHex(std::string(126, '0') + "02"), Octets(64, 0xfe), Octets(256, 0x80)}) {
    for (const Octets& signature : {Octets(256, 0x00), Octets(256, 0x01), Octets(256, 0xff)}) {
      for (const Octets& exponent : {Octets{3}, Octets{1, 0, 1}}) {
        EXPECT_EQ(verify({.data = fromText("x"),
                          .prehashed = false,
                          .signature = signature,
                          .publicExponent = exponent,
                          .modulus = modulus,
                          .digestOid = kSha256Oid}),
                  0);
      }
    }
  }
}

// A modulus with one zero octet in front is the same number in a larger block.
TEST(RsaTest, LeadingZeroOctetsOfTheModulusWidenTheBlock) {
  SignedMessage message;
  message.key = key512();
  message.key.modulus.insert(message.key.modulus.begin(), 0);
  const Octets block = paddedDigest(EVP_sha256(), message.message, 65);
  const Octets signature = key512().sign(Octets(block.begin() + 1, block.end()));

  message.signature = signature;
  message.signature.insert(message.signature.begin(), 0);
  const int ofBlockThatFits = verify(message.check());
  message.key.modulus = key512().modulus;
  message.signature = signature;
  const int withoutZero = verify(message.check());

  // The block starts 00 01 at the width of 65 octets, and 01 FF at that of 64.
  EXPECT_EQ(ofBlockThatFits, block[1] < key512().modulus[0] ? 1 : 0);
  EXPECT_EQ(withoutZero, 0);
}

TEST(RsaTest, TakesOneBuffer) {
  const SignedMessage message = signedWith(key2048());
  const SignatureCheck check = message.check();
  int count = 0;
  int verdict = -1;
  {
    const AllocationWatch watch;
    verdict = verify(check);
    count = watch.count();
  }

  EXPECT_EQ(verdict, 1);
  EXPECT_EQ(count, 1);
}

TEST(RsaTest, MemoryThatCannotBeHadIsReported) {
  const SignedMessage message = signedWith(key2048());
  const SignatureCheck check = message.check();
  std::vector<int> verdicts;
  for (int failing = 1; failing <= 2; ++failing) {
    const AllocationWatch watch(failing);
    const int verdict = verify(check);
    verdicts.push_back(verdict);
  }

  EXPECT_THAT(verdicts, ElementsAre(-1, 1));
}

// The public operation by itself.
class PublicOperationTest : public testing::Test {
 protected:
  // The result, or nothing where there is none.
  std::optional<Octets> apply(const Octets& input, Word exponent, const Octets& modulus) {
    block_ = Octets(modulus.size(), 0xa5);
    std::size_t size = 12345;
    if (!publicOperation(input, exponent, modulus, block_, size)) {
      EXPECT_EQ(size, 12345U);
      EXPECT_THAT(block_, Each(0xa5));
      return std::nullopt;
    }
    EXPECT_LE(size, modulus.size());
    EXPECT_THAT(std::span(block_).subspan(size), Each(0));
    return Octets(block_.begin(), block_.begin() + static_cast<std::ptrdiff_t>(size));
  }

  Octets block_;
};

TEST_F(PublicOperationTest, ResultHasNoLeadingZeros) {
  EXPECT_EQ(apply({2}, 3, fromHex("ffffff01")), Octets{8});
  EXPECT_EQ(apply({0, 2}, 3, fromHex("ffffff01")), Octets{8});
  EXPECT_EQ(apply({16}, 3, fromHex("ffffff01")), (Octets{0x10, 0x00}));
}

TEST_F(PublicOperationTest, InputEqualToTheModulusGivesZero) {
  EXPECT_EQ(apply(fromHex("ffffff01"), 3, fromHex("ffffff01")), Octets{});
  EXPECT_EQ(apply(fromHex("ffffff00"), 3, fromHex("ffffff00")), Octets{});
}

TEST_F(PublicOperationTest, InputAboveTheModulusGivesNothing) {
  EXPECT_EQ(apply(fromHex("ffffff02"), 3, fromHex("ffffff01")), std::nullopt);
  EXPECT_EQ(apply(fromHex("ffffff01"), 3, fromHex("ffffff00")), std::nullopt);
}

TEST_F(PublicOperationTest, InputIsCutToTheWordsOfTheModulus) {
  EXPECT_EQ(apply(fromHex("0700000002"), 3, fromHex("00ffffff01")), Octets{8});
}

TEST_F(PublicOperationTest, NumbersAreCutTo2048Bits) {
  Octets modulus(256, 0xff);
  modulus.insert(modulus.begin(), 0x77);
  Octets input(255, 0x00);
  input.insert(input.begin(), 0x77);
  input.push_back(0x05);

  EXPECT_EQ(apply(input, 3, modulus), Octets{125});
}

TEST_F(PublicOperationTest, ModulusZeroGivesZero) {
  EXPECT_EQ(apply({}, 3, {}), Octets{});
  EXPECT_EQ(apply({5}, 3, {0}), Octets{});
  EXPECT_EQ(apply(Octets(64, 0xff), 65537, Octets(64)), Octets{});
}

TEST_F(PublicOperationTest, ModulusOneGivesZero) {
  EXPECT_EQ(apply({1}, 3, {1}), Octets{});
  EXPECT_EQ(apply({0}, 65537, {1}), Octets{});
  EXPECT_EQ(apply({2}, 3, {1}), std::nullopt);
}

// Nothing is multiplied for these two, so nothing is reduced either.
TEST_F(PublicOperationTest, ExponentsZeroAndOneLeaveTheStartAndTheInput) {
  EXPECT_EQ(apply({5}, 0, fromHex("ffffff01")), Octets{1});
  EXPECT_EQ(apply({5}, 0, {5}), Octets{1});
  EXPECT_EQ(apply({4}, 1, {5}), Octets{4});
  EXPECT_EQ(apply({5}, 1, {5}), Octets{5});
}

// The plain kernel, counting its steps: the results alone do not tell which way they were reached.
int multiplications = 0;

constexpr MontgomeryKernel kCountingKernel = {
    [](ColumnNumber& result, const ColumnNumber& a, const MontgomeryModulus& modulus) {
      portableMontgomeryKernel().enter(result, a, modulus);
    },
    [](ColumnNumber& result, const ColumnNumber& a, const ColumnNumber& b,
       const MontgomeryModulus& modulus) {
      ++multiplications;
      portableMontgomeryKernel().multiply(result, a, b, modulus);
    },
    [](ColumnNumber& result, const ColumnNumber& a, const MontgomeryModulus& modulus) {
      ++multiplications;
      portableMontgomeryKernel().square(result, a, modulus);
    }};

struct WayRow {
  const char* name;
  Word exponent;
  const char* modulus;
  int multiplications;  // of the fast way; none where it cannot go
};

class PublicOperationWayTest : public testing::TestWithParam<WayRow> {};

TEST_P(PublicOperationWayTest, IsTheFastOneWhereItCanGo) {
  const Octets modulus = fromHex(GetParam().modulus);
  Octets output(modulus.size());
  std::size_t size = 0;
  multiplications = 0;

  ASSERT_TRUE(publicOperation({}, GetParam().exponent, modulus, output, size, kCountingKernel));

  EXPECT_EQ(multiplications, GetParam().multiplications);
}

INSTANTIATE_TEST_SUITE_P(Ways, PublicOperationWayTest,
                         testing::Values(WayRow{"Exponent3", 3, "ffffff01", 2},
                                         WayRow{"Exponent65537", 65537, "ffffff01", 17},
                                         WayRow{"Exponent2", 2, "ffffff01", 2},
                                         WayRow{"SmallestModulus", 3, "03", 2},
                                         WayRow{"LeadingZeros", 3, "000000000003", 2},
                                         WayRow{"EvenModulus", 3, "ffffff00", 0},
                                         WayRow{"ModulusOne", 3, "01", 0},
                                         WayRow{"Exponent1", 1, "ffffff01", 0}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(PublicOperationTest, OutputBehindTheModulusSizeIsNotTouched) {
  Octets output(8, 0xa5);
  std::size_t size = 0;

  ASSERT_TRUE(publicOperation(Octets{2}, 3, fromHex("ffffff01"), output, size));

  EXPECT_EQ(output, fromHex("08000000a5a5a5a5"));
}

}  // namespace
}  // namespace wzapp
