#include "crypto/signature/package_signature.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <random>
#include <string>

#include "crypto/rsa/rsa.h"
#include "tests/builders/certificate_builder.h"
#include "tests/builders/signature_file_builder.h"
#include "tests/builders/test_key.h"

namespace wzapp {
namespace {

using wzapp_test::CertificateBuilder;
using wzapp_test::DerBuilder;
using wzapp_test::Octets;
using wzapp_test::SignatureFileBuilder;
using wzapp_test::TestKey;

// A package archive, its digests, and who signs it.
struct Package {
  explicit Package(Octets archive = Octets(1000, 0x50))
      : sha1(digestOf(archive, EVP_sha1())), sha256(digestOf(archive, EVP_sha256())) {}

  static Octets digestOf(const Octets& archive, const EVP_MD* algorithm) {
    Octets digest(static_cast<std::size_t>(EVP_MD_get_size(algorithm)));
    EXPECT_EQ(
        EVP_Digest(archive.data(), archive.size(), digest.data(), nullptr, algorithm, nullptr), 1);
    return digest;
  }

  Octets sha1;
  Octets sha256;
};

const Octets kKeyId(20, 0x6B);

const TestKey& signerKey() {
  static const TestKey key;
  return key;
}

CertificateBuilder signerCertificate(const TestKey& key = signerKey()) {
  return CertificateBuilder()
      .withoutExtensions()
      .authorityKeyId(Octets(20, 0x01))
      .subjectKeyId(kKeyId)
      .rsaKey(key.modulus(), key.exponent());
}

SignatureFileBuilder sha256File(const Package& package) {
  return SignatureFileBuilder().sha256(package.sha256).signerKeyId(kKeyId);
}

Octets signedFile(const SignatureFileBuilder& builder,
                  TestKey::Digest digest = TestKey::Digest::kSha256) {
  return builder.signedWith(
      [digest](const Octets& octets) { return signerKey().sign(octets, digest); });
}

int verifyFile(const Octets& file, const Package& package,
               const Octets& certificate = signerCertificate().encoding()) {
  return verifyPackage(file, package.sha1, package.sha256, certificate);
}

TEST(PackageSignature, OfSha256IsValid) {
  const Package package;

  EXPECT_EQ(verifyFile(signedFile(sha256File(package)), package), kSignatureValid);
}

TEST(PackageSignature, OfSha1IsValid) {
  const Package package;
  const SignatureFileBuilder file = SignatureFileBuilder().sha1(package.sha1).signerKeyId(kKeyId);

  EXPECT_EQ(verifyFile(signedFile(file, TestKey::Digest::kSha1), package), kSignatureValid);
}

TEST(PackageSignature, KeyIdMayBeSigned) {
  const Package package;
  const Octets attributes = DerBuilder(sha256File(package).signedOctets())
                                .raw(wzapp_test::signatureAttribute(
                                    "2.16.840.1.200000.1.2.1", DerBuilder().octetString(kKeyId)))
                                .octets();
  const SignatureFileBuilder file = sha256File(package).attributes(attributes).otherAttributes({});

  EXPECT_EQ(verifyFile(signedFile(file), package), kSignatureValid);
}

TEST(PackageSignature, CoversTheContentOfTheAttributesAndNotTheirHeader) {
  const Package package;
  const SignatureFileBuilder builder = sha256File(package);
  const Octets withHeader = DerBuilder().tagged(2, builder.signedOctets()).octets();
  const Octets asSet = DerBuilder().set(builder.signedOctets()).octets();

  for (const Octets& octets : {withHeader, asSet}) {
    const Octets file =
        builder.signedWith([&octets](const Octets&) { return signerKey().sign(octets); });

    EXPECT_EQ(verifyFile(file, package), kSignatureInvalid);
  }
}

TEST(PackageSignature, OfAnotherArchiveIsInvalid) {
  const Package package;
  Octets archive(1000, 0x50);
  archive[500] ^= 1;
  const Package changed(archive);

  EXPECT_EQ(verifyFile(signedFile(sha256File(package)), changed), kSignatureInvalid);
}

TEST(PackageSignature, OfAnotherSignerIsInvalidEvenWithTheSameKey) {
  const Package package;
  const Octets certificate =
      CertificateBuilder().rsaKey(signerKey().modulus(), signerKey().exponent()).encoding();
  const SignatureFileBuilder longerId = sha256File(package).signerKeyId(Octets(21, 0x6B));

  EXPECT_EQ(verifyFile(signedFile(sha256File(package)), package, certificate), kSignatureInvalid);
  EXPECT_EQ(verifyFile(signedFile(longerId), package), kSignatureInvalid);
}

TEST(PackageSignature, ByAnotherKeyIsInvalid) {
  const Package package;
  const TestKey other;

  EXPECT_EQ(
      verifyFile(signedFile(sha256File(package)), package, signerCertificate(other).encoding()),
      kSignatureInvalid);
}

TEST(PackageSignature, OverAnotherDigestThanNamedIsInvalid) {
  const Package package;

  EXPECT_EQ(verifyFile(signedFile(sha256File(package), TestKey::Digest::kSha1), package),
            kSignatureInvalid);
}

TEST(PackageSignature, FileAndCertificateThatDoNotParseHaveTheirCodes) {
  const Package package;
  const Octets file = signedFile(sha256File(package));

  EXPECT_EQ(verifyFile({}, package), kSignatureFileRefused);
  EXPECT_EQ(verifyFile(file, package, {}), kSignerRefused);
  EXPECT_EQ(verifyFile({}, package, {}), kSignatureFileRefused);
}

TEST(PackageSignature, ResultsOfTheVerificationPassThrough) {
  const Package package;
  const Octets file = signedFile(sha256File(package));
  const Octets exponent{1, 0, 1};

  EXPECT_EQ(
      verifyFile(file, package, signerCertificate().rsaKey(Octets(257, 0xC3), exponent).encoding()),
      kSignatureKeyTooLong);
  EXPECT_EQ(
      verifyFile(file, package, signerCertificate().rsaKey(Octets(61, 0xC3), exponent).encoding()),
      kSignatureUnknownDigest);
}

// Every octet of a valid file, changed: it never stays valid where the change is covered, and what
// is not covered never makes another digest or signer valid.
TEST(PackageSignature, EveryChangeInsideTheSignedAttributesIsInvalid) {
  const Package package;
  const SignatureFileBuilder builder = sha256File(package);
  const Octets file = signedFile(builder);
  const Octets& covered = builder.signedOctets();
  const auto start = std::search(file.begin(), file.end(), covered.begin(), covered.end());
  ASSERT_NE(start, file.end());
  const auto offset = static_cast<std::size_t>(start - file.begin());
  for (std::size_t i = 0; i < covered.size(); ++i) {
    for (unsigned bit = 0; bit < 8; ++bit) {
      Octets changed = file;
      changed[offset + i] = static_cast<std::uint8_t>(changed[offset + i] ^ (1U << bit));

      EXPECT_LT(verifyFile(changed, package), kSignatureValid) << i << "." << bit;
    }
  }
}

// The same question answered by OpenSSL from the parts that the builder knows.
int recompute(const SignatureFileBuilder& builder, const Octets& signature, const TestKey& key,
              const EVP_MD* digest) {
  EVP_MD_CTX* context = EVP_MD_CTX_new();
  EXPECT_EQ(EVP_DigestVerifyInit(context, nullptr, digest, nullptr, key.get()), 1);
  const int result = EVP_DigestVerify(context, signature.data(), signature.size(),
                                      builder.signedOctets().data(), builder.signedOctets().size());
  EVP_MD_CTX_free(context);
  return result == 1 ? 1 : 0;
}

TEST(PackageSignature, AgreesWithAnIndependentComputation) {
  std::mt19937 random(7);
  int valid = 0;
  for (int i = 0; i < 400; ++i) {
    Octets archive(random() % 3000);
    for (std::uint8_t& octet : archive) octet = static_cast<std::uint8_t>(random());
    const Package package(archive);
    const bool isSha1 = random() % 2 == 0;
    SignatureFileBuilder builder = sha256File(package);
    if (isSha1) builder.sha1(package.sha1);
    Octets signature = signerKey().sign(builder.signedOctets(),
                                        isSha1 ? TestKey::Digest::kSha1 : TestKey::Digest::kSha256);
    if (random() % 2 == 0) signature[random() % signature.size()] ^= 0x40;
    const Octets file = builder.signature(DerBuilder().octetString(signature)).encoding();

    const int result = verifyFile(file, package);

    const EVP_MD* digest = isSha1 ? EVP_sha1() : EVP_sha256();
    ASSERT_EQ(result, recompute(builder, signature, signerKey(), digest)) << i;
    valid += result;
  }
  EXPECT_GT(valid, 100);
  EXPECT_LT(valid, 300);
}

// -------------------------------------------------------------------------------------------------

struct KeyIdCase {
  std::size_t length;
  int code;
};

class SignerKeyId : public testing::TestWithParam<KeyIdCase> {};

TEST_P(SignerKeyId, IsWrittenOrTooLong) {
  const Octets id(GetParam().length, 0xAB);
  char hex[kSignerKeyIdText] = "untouched";

  const int code = readSignerKeyId(SignatureFileBuilder().signerKeyId(id).encoding(), hex);

  EXPECT_EQ(code, GetParam().code);
  std::string expected = "untouched";
  if (code == 0) {
    expected.clear();
    for (std::size_t i = 0; i < id.size(); ++i) expected += "AB";
  }
  EXPECT_EQ(hex, expected);
}

INSTANTIATE_TEST_SUITE_P(Lengths, SignerKeyId,
                         testing::Values(KeyIdCase{0, 0}, KeyIdCase{20, 0}, KeyIdCase{49, 0},
                                         KeyIdCase{50, kSignerKeyIdTooLong},
                                         KeyIdCase{300, kSignerKeyIdTooLong}));

TEST(SignerKeyIdOfNoFile, IsRefused) {
  char hex[kSignerKeyIdText] = "untouched";

  EXPECT_EQ(readSignerKeyId({}, hex), kSignatureFileRefused);
  EXPECT_STREQ(hex, "untouched");
}

}  // namespace
}  // namespace wzapp
