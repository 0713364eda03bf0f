// Published certificates: what is accepted, and what the record and the summary then hold.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/sha.h>

#include <array>
#include <string>

#include "crypto/certificate/certificate_record.h"
#include "crypto/certificate/certificate_summary.h"
#include "crypto/der/oid.h"
#include "tests/crypto/vector_file.h"

namespace wzapp {
namespace {

using testing::ElementsAreArray;
using wzapp_test::fromHex;
using wzapp_test::hexMember;
using wzapp_test::Octets;
using wzapp_test::readVectors;

Octets sha256(ByteView octets) {
  Octets digest(SHA256_DIGEST_LENGTH);
  SHA256(octets.data(), octets.size(), digest.data());
  return digest;
}

void expectRecord(const CertificateRecord& record, const rapidjson::Value& expected) {
  EXPECT_THAT(record.serialNumber, ElementsAreArray(hexMember(expected, "serial")));
  EXPECT_THAT(record.publicExponent, ElementsAreArray(hexMember(expected, "exponent")));
  EXPECT_EQ(record.modulus.size(), expected["modulus_length"].GetUint());
  EXPECT_EQ(sha256(record.modulus), hexMember(expected, "modulus_sha256"));
  EXPECT_EQ(record.signature.size(), expected["signature_length"].GetUint());
  EXPECT_EQ(sha256(record.toBeSigned), hexMember(expected, "tbs_sha256"));
  EXPECT_EQ(record.isAuthority, expected["is_authority"].GetInt());
  for (rapidjson::SizeType i = 0; i < kKeyUsages; ++i) {
    EXPECT_EQ(record.keyUsage[i], expected["key_usage"][i].GetInt()) << i;
  }
  const rapidjson::Value& pathLength = expected["path_length"];
  EXPECT_EQ(record.pathLength.has_value(), !pathLength.IsNull());
  if (!pathLength.IsNull()) {
    EXPECT_EQ(record.pathLength, pathLength.GetInt());
  }
  std::array<char, kMaxOidText + 1> algorithm{};
  EXPECT_GT(oidToText(record.signatureAlgorithm, algorithm.data(), algorithm.size()), 0);
  EXPECT_STREQ(algorithm.data(), expected["signature_algorithm"].GetString());
}

void expectSummary(const CertificateSummary& summary, const rapidjson::Value& expected) {
  EXPECT_STREQ(summary.authorityKeyId, expected["authority_key_id"].GetString());
  EXPECT_STREQ(summary.subjectKeyId, expected["subject_key_id"].GetString());
  EXPECT_STREQ(summary.validFrom, expected["valid_from"].GetString());
  EXPECT_STREQ(summary.validTo, expected["valid_to"].GetString());
  EXPECT_STREQ(summary.uniqueLabel, expected["unique_label"].GetString());
  Octets serial = hexMember(expected, "serial");
  serial.resize(sizeof summary.serial);
  EXPECT_THAT(std::string(summary.serial, sizeof summary.serial), ElementsAreArray(serial));
  EXPECT_TRUE(expected["permissions"].Empty());
  EXPECT_STREQ(summary.permissions, "");
}

TEST(CertificateVectors, ParseToTheirRecordOrCode) {
  for (const rapidjson::Document& vector : readVectors("x509/certificates.jsonl")) {
    SCOPED_TRACE(vector["id"].GetString());
    const Octets der = hexMember(vector, "der");
    CertificateRecord record;

    const int code = parseCertificate(der, record);

    EXPECT_EQ(code, vector["expect"].GetInt()) << vector["why"].GetString();
    if (code == 0) expectRecord(record, vector["record"]);
  }
}

TEST(CertificateVectors, SummariseOrAreRefused) {
  for (const rapidjson::Document& vector : readVectors("x509/certificates.jsonl")) {
    SCOPED_TRACE(vector["id"].GetString());
    const Octets der = hexMember(vector, "der");
    CertificateSummary summary;

    const int code = summariseCertificate(der, summary);

    if (vector["expect"].GetInt() != 0) {
      EXPECT_EQ(code, kSummaryNotParsed);
      continue;
    }
    EXPECT_EQ(code, vector["summary_code"].GetInt());
    if (code == 0) expectSummary(summary, vector["summary"]);
  }
}

}  // namespace
}  // namespace wzapp
