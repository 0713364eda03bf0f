#include "crypto/certificate/certificate_check.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "crypto/rsa/rsa.h"
#include "tests/builders/certificate_builder.h"
#include "tests/builders/test_key.h"
#include "tests/crypto/authority_fixtures.h"
#include "tests/crypto/vector_file.h"

namespace wzapp {
namespace {

using wzapp_test::CertificateBuilder;
using wzapp_test::DerBuilder;
using wzapp_test::hexMember;
using wzapp_test::Octets;
using wzapp_test::readVectors;
using wzapp_test::TestKey;

constexpr std::string_view kSha256WithRsa = "1.2.840.113549.1.1.11";
constexpr std::string_view kSha1WithRsa = "1.2.840.113549.1.1.5";
constexpr std::string_view kOiwSha1WithRsa = "1.3.14.3.2.29";

const Octets kAuthorityId(20, 0x0A);
const Octets kSubjectId(20, 0x0B);

const TestKey& authorityKey() {
  static const TestKey key;
  return key;
}

CertificateBuilder authorityBuilder(const TestKey& key = authorityKey()) {
  return CertificateBuilder()
      .withoutExtensions()
      .authorityKeyId(kAuthorityId)
      .subjectKeyId(kAuthorityId)
      .rsaKey(key.modulus(), key.exponent());
}

CertificateBuilder issuedBuilder(std::string_view algorithm = kSha256WithRsa) {
  return CertificateBuilder()
      .withoutExtensions()
      .authorityKeyId(kAuthorityId)
      .subjectKeyId(kSubjectId)
      .algorithm(algorithm);
}

TEST(CertificateCheck, AcceptsWhatTheAuthorityHasSigned) {
  const Octets authority = authorityBuilder().encoding();

  EXPECT_EQ(checkAgainstAuthority(signedBy(authorityKey(), issuedBuilder()), authority),
            kSignatureValid);
}

TEST(CertificateCheck, AcceptsBothNamesOfSha1WithRsa) {
  const Octets authority = authorityBuilder().encoding();
  for (const std::string_view algorithm : {kSha1WithRsa, kOiwSha1WithRsa}) {
    const Octets certificate =
        signedBy(authorityKey(), issuedBuilder(algorithm), TestKey::Digest::kSha1);

    EXPECT_EQ(checkAgainstAuthority(certificate, authority), kSignatureValid) << algorithm;
  }
}

TEST(CertificateCheck, RefusesASignatureOverAnotherDigest) {
  const Octets certificate =
      signedBy(authorityKey(), issuedBuilder(kSha1WithRsa), TestKey::Digest::kSha256);

  EXPECT_EQ(checkAgainstAuthority(certificate, authorityBuilder().encoding()), kSignatureInvalid);
}

TEST(CertificateCheck, RefusesWhatAnotherKeyHasSigned) {
  const TestKey other;

  EXPECT_EQ(checkAgainstAuthority(signedBy(other, issuedBuilder()), authorityBuilder().encoding()),
            kSignatureInvalid);
}

TEST(CertificateCheck, RefusesEveryChangeOfTheSignedPart) {
  const Octets authority = authorityBuilder().encoding();
  const Octets certificate = signedBy(authorityKey(), issuedBuilder());
  const std::size_t end = 4 + issuedBuilder().toBeSigned().size();
  for (std::size_t i = 4; i < end; ++i) {
    Octets changed = certificate;
    changed[i] ^= 0x01;

    EXPECT_LT(checkAgainstAuthority(changed, authority), kSignatureValid) << i;
  }
}

TEST(CertificateCheck, KeyIdentifiersDecideBeforeTheSignature) {
  const CertificateBuilder authority = authorityBuilder();
  const Octets longer(21, 0x0A);
  const CertificateBuilder other =
      CertificateBuilder().withoutExtensions().authorityKeyId(longer).subjectKeyId(kSubjectId);

  EXPECT_EQ(checkAgainstAuthority(signedBy(authorityKey(), other), authority.encoding()),
            kSignatureInvalid);
  // Another algorithm would be refused, but its authority is not the right one anyway.
  EXPECT_EQ(
      checkAgainstAuthority(signedBy(authorityKey(), CertificateBuilder(other).algorithm("1.2.3")),
                            authority.encoding()),
      kSignatureInvalid);
}

TEST(CertificateCheck, OtherAlgorithmsAreRefused) {
  const Octets authority = authorityBuilder().encoding();
  for (const std::string_view algorithm :
       {"1.2.840.113549.1.1.4", "1.2.840.113549.1.1.10", "1.2.840.113549.1.1.12",
        "1.2.840.10045.4.3.2", "1.2.3.4.5.6.7.8.9.10.11.12.1334"}) {
    EXPECT_EQ(checkAgainstAuthority(signedBy(authorityKey(), issuedBuilder(algorithm)), authority),
              kCertificateRefused)
        << algorithm;
  }
}

TEST(CertificateCheck, CertificatesThatDoNotParseAreRefused) {
  const Octets authority = authorityBuilder().encoding();
  const Octets certificate = signedBy(authorityKey(), issuedBuilder());

  EXPECT_EQ(checkAgainstAuthority({}, authority), kCertificateRefused);
  EXPECT_EQ(checkAgainstAuthority(certificate, {}), kCertificateRefused);
}

TEST(CertificateCheck, ExponentsAreThreeOr65537) {
  const TestKey three(1024, 3);
  const TestKey seventeen(1024, 17);

  EXPECT_EQ(
      checkAgainstAuthority(signedBy(three, issuedBuilder()), authorityBuilder(three).encoding()),
      kSignatureValid);
  EXPECT_EQ(checkAgainstAuthority(signedBy(seventeen, issuedBuilder()),
                                  authorityBuilder(seventeen).encoding()),
            kSignatureInvalid);
}

TEST(CertificateCheck, ResultsOfTheVerificationPassThrough) {
  const Octets certificate = signedBy(authorityKey(), issuedBuilder());
  const Octets longModulus(257, 0xC3);
  const Octets shortModulus(61, 0xC3);

  EXPECT_EQ(checkAgainstAuthority(
                certificate, authorityBuilder().rsaKey(longModulus, Octets{1, 0, 1}).encoding()),
            kSignatureKeyTooLong);
  EXPECT_EQ(checkAgainstAuthority(
                certificate, authorityBuilder().rsaKey(shortModulus, Octets{1, 0, 1}).encoding()),
            kSignatureUnknownDigest);
}

TEST(CertificateCheck, ShortSignatureCountsAsFollowedByZeros) {
  const Octets certificate =
      issuedBuilder().signature(DerBuilder().bitString(Octets{1})).encoding();

  EXPECT_EQ(checkAgainstAuthority(certificate, authorityBuilder().encoding()), kSignatureInvalid);
}

TEST(CertificateCheckVectors, PairsAgree) {
  std::map<std::string, Octets> certificates;
  for (const rapidjson::Document& vector : readVectors("x509/certificates.jsonl")) {
    certificates[vector["id"].GetString()] = hexMember(vector, "der");
  }
  for (const rapidjson::Document& pair : readVectors("x509/pairs.jsonl")) {
    const Octets& certificate = certificates.at(pair["certificate"].GetString());
    const Octets& authority = certificates.at(pair["authority"].GetString());

    EXPECT_EQ(checkAgainstAuthority(certificate, authority), pair["expect"].GetInt())
        << pair["certificate"].GetString() << " by " << pair["authority"].GetString() << ": "
        << pair["why"].GetString();
  }
}

}  // namespace
}  // namespace wzapp
