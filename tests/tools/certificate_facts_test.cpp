#include "tools/wz/reports/certificate_facts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "tests/builders/certificate_builder.h"

namespace wzapp_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using wz::CertificateFacts;
using wz::DateVerdict;

constexpr char kNow[] = "20260102030405";

TEST(CertificateFactsTest, AreWhatTheCertificateSays) {
  const Octets der =
      CertificateBuilder()
          .serial(DerBuilder().integer(fromText("828702")))
          .subjectAttributes(attribute("2.5.4.3", DerBuilder().printableString("Shop")))
          .permissions({"S14", "X1"})
          .encoding();
  CertificateFacts facts;
  std::string refusal;

  ASSERT_TRUE(wz::readFacts(der, kNow, facts, refusal)) << refusal;

  EXPECT_EQ(facts.subject, "CN=Shop");
  EXPECT_EQ(facts.issuer, "CN=Issuer");
  EXPECT_EQ(facts.serial, "207828");
  EXPECT_EQ(facts.serialOctets, "383238373032");
  EXPECT_EQ(facts.subjectKeyId, "BBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBBB");
  EXPECT_EQ(facts.authorityKeyId, "AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA");
  EXPECT_EQ(facts.validFrom, "20200101000000");
  EXPECT_EQ(facts.validTo, "20491231235959");
  EXPECT_EQ(facts.keyBits, 1024U);
  EXPECT_EQ(facts.publicExponent, "65537");
  EXPECT_EQ(facts.signatureAlgorithm, "sha256WithRSAEncryption");
  EXPECT_THAT(facts.permissions, ElementsAre("S14", "X1"));
}

TEST(CertificateFactsTest, OfAnUnusualOneToo) {
  const Octets der =
      CertificateBuilder()
          .algorithm("1.2.840.10045.4.3.2")
          .rsaKey(fromHex("01 23"), fromHex("010203040506070809"))
          .serial(DerBuilder().integer(fromHex("01 02 03 04 05 06 07 08 09 0A 0B 0C")))
          .encoding();
  CertificateFacts facts;
  std::string refusal;

  ASSERT_TRUE(wz::readFacts(der, kNow, facts, refusal)) << refusal;

  EXPECT_EQ(facts.serial, "\x0B\x0A\x09\x08\x07\x06\x05\x04\x03\x02\x01");
  EXPECT_EQ(facts.serialOctets, "0102030405060708090A0B0C");
  EXPECT_EQ(facts.keyBits, 9U);
  EXPECT_EQ(facts.publicExponent, "0x010203040506070809");
  EXPECT_EQ(facts.signatureAlgorithm, "1.2.840.10045.4.3.2");
  EXPECT_THAT(facts.permissions, IsEmpty());
}

struct Dates {
  const char* name;
  const char* from;
  const char* to;
  const char* now;
  DateVerdict verdict;
};

void PrintTo(const Dates& row, std::ostream* out) { *out << row.name; }

class DateVerdictTest : public testing::TestWithParam<Dates> {};

TEST_P(DateVerdictTest, IsTheTerminals) {
  const Octets der = CertificateBuilder().validity(GetParam().from, GetParam().to).encoding();
  CertificateFacts facts;
  std::string refusal;

  ASSERT_TRUE(wz::readFacts(der, GetParam().now, facts, refusal)) << refusal;

  EXPECT_EQ(facts.dates, GetParam().verdict);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DateVerdictTest,
    testing::Values(
        Dates{"Within", "200101000000Z", "300101000000Z", kNow, DateVerdict::kValid},
        Dates{"FirstSecond", "260102030405Z", "300101000000Z", kNow, DateVerdict::kValid},
        Dates{"LastSecond", "200101000000Z", "260102030405Z", kNow, DateVerdict::kValid},
        Dates{"Before", "260102030406Z", "300101000000Z", kNow, DateVerdict::kNotYetValid},
        Dates{"Behind", "200101000000Z", "260102030404Z", kNow, DateVerdict::kExpired},
        Dates{"Between", "260102030406Z", "260102030404Z", kNow, DateVerdict::kRefused},
        Dates{"BetweenButForTheFirst", "260102030405Z", "260102030404Z", kNow,
              DateVerdict::kEndsBeforeBegin},
        Dates{"BetweenButForTheLast", "260102030406Z", "260102030405Z", kNow,
              DateVerdict::kEndsBeforeBegin}),
    [](const testing::TestParamInfo<Dates>& row) { return row.param.name; });

struct Refused {
  const char* name;
  Octets der;
  const char* refusal;
};

void PrintTo(const Refused& row, std::ostream* out) { *out << row.name; }

class RefusalTest : public testing::TestWithParam<Refused> {};

TEST_P(RefusalTest, IsInWordsWithTheCode) {
  CertificateFacts facts;
  facts.subject = "before";
  std::string refusal;

  EXPECT_FALSE(wz::readFacts(GetParam().der, kNow, facts, refusal));

  EXPECT_EQ(refusal, GetParam().refusal);
  EXPECT_EQ(facts.subject, "before");
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RefusalTest,
    testing::Values(
        Refused{"Empty", {}, "it does not begin like a certificate in DER (-118)"},
        Refused{"Version",
                CertificateBuilder()
                    .version(DerBuilder().tagged(0, DerBuilder().integer(1)))
                    .encoding(),
                "it is not of version 3 (-102)"},
        Refused{"Key",
                CertificateBuilder()
                    .publicKeyInfo(DerBuilder().sequence(algorithmIdentifier("1.2.840.10045.2.1")))
                    .encoding(),
                "its key is not an RSA key, or is malformed (-103)"},
        Refused{"KeyIdentifiers",
                CertificateBuilder().withoutExtensions().subjectKeyId(Octets(20, 1)).encoding(),
                "it has no authority key identifier or no subject key identifier (-104)"},
        Refused{"Critical",
                CertificateBuilder().extension("1.2.3", DerBuilder().null(), true).encoding(),
                "it marks an extension as critical that is not known (-105)"},
        Refused{"Twice", CertificateBuilder().subjectKeyId(Octets(20, 1)).encoding(),
                "it has an extension twice (-111)"},
        Refused{"LongKeyId",
                CertificateBuilder()
                    .withoutExtensions()
                    .authorityKeyId(Octets(32, 1))
                    .subjectKeyId(Octets(20, 1))
                    .encoding(),
                "a key identifier of it has more than 31 octets (-5)"},
        Refused{"Time", CertificateBuilder().validity("2001010000Z", "300101000000Z").encoding(),
                "a time of its validity is neither YYMMDDhhmmssZ nor YYYYMMDDhhmmssZ (-6)"}),
    [](const testing::TestParamInfo<Refused>& row) { return row.param.name; });

}  // namespace
}  // namespace wzapp_test
