#include "crypto/certificate/certificate_summary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "tests/builders/certificate_builder.h"

namespace wzapp {
namespace {

using testing::ElementsAre;
using wzapp_test::attribute;
using wzapp_test::CertificateBuilder;
using wzapp_test::DerBuilder;
using wzapp_test::Octets;

CertificateSummary summaryOf(const CertificateBuilder& builder) {
  CertificateSummary summary;
  EXPECT_EQ(summariseCertificate(builder.encoding(), summary), 0);
  return summary;
}

int codeOf(const CertificateBuilder& builder) {
  CertificateSummary summary;
  return summariseCertificate(builder.encoding(), summary);
}

std::vector<std::string> permissionsOf(const CertificateSummary& summary) {
  std::vector<std::string> permissions;
  for (const char* text = summary.permissions; *text != '\0'; text += std::strlen(text) + 1) {
    permissions.emplace_back(text);
  }
  return permissions;
}

TEST(CertificateSummary, HoldsTheFieldsAsText) {
  const CertificateSummary summary = summaryOf(
      CertificateBuilder()
          .withoutExtensions()
          .authorityKeyId(Octets{0x0A, 0xBC})
          .subjectKeyId(Octets{0xFF})
          .validity("200102030405Z", "21100101000000Z")
          .subjectAttributes(attribute("2.5.4.45", DerBuilder().bitString(Octets{0x02, 0x9E}))));

  EXPECT_STREQ(summary.authorityKeyId, "0ABC");
  EXPECT_STREQ(summary.subjectKeyId, "FF");
  EXPECT_STREQ(summary.validFrom, "20200102030405");
  EXPECT_STREQ(summary.validTo, "21100101000000");
  EXPECT_STREQ(summary.uniqueLabel, "029E");
  EXPECT_STREQ(summary.permissions, "");
}

TEST(CertificateSummary, HasTheFieldSizesOfItsUsers) {
  EXPECT_EQ(sizeof(CertificateSummary::authorityKeyId), 64U);
  EXPECT_EQ(sizeof(CertificateSummary::subjectKeyId), 64U);
  EXPECT_EQ(sizeof(CertificateSummary::validFrom), 16U);
  EXPECT_EQ(sizeof(CertificateSummary::validTo), 16U);
  EXPECT_EQ(sizeof(CertificateSummary::serial), 12U);
  EXPECT_EQ(sizeof(CertificateSummary::uniqueLabel), 18U);
  EXPECT_EQ(sizeof(CertificateSummary::permissions), 256U);
}

TEST(CertificateSummary, SerialIsReversed) {
  const CertificateSummary summary =
      summaryOf(CertificateBuilder().serial(DerBuilder().integer(Octets{1, 2, 3})));

  EXPECT_STREQ(summary.serial, "\x03\x02\x01");
}

TEST(CertificateSummary, SerialIsCutToElevenOctetsBeforeItIsReversed) {
  const CertificateSummary summary = summaryOf(
      CertificateBuilder().serial(DerBuilder().integer(wzapp_test::fromText("abcdefghijklmn"))));

  EXPECT_STREQ(summary.serial, "kjihgfedcba");
}

TEST(CertificateSummary, UniqueLabelIsCutToEightOctets) {
  const CertificateSummary summary = summaryOf(CertificateBuilder().subjectAttributes(
      attribute("2.5.4.45", DerBuilder().bitString(Octets(9, 0xAB)))));

  EXPECT_STREQ(summary.uniqueLabel, "ABABABABABABABAB");
}

TEST(CertificateSummary, KeyIdentifiersHaveAtMostThirtyOneOctets) {
  const CertificateBuilder bare = CertificateBuilder().withoutExtensions();
  const Octets longest(31, 0xAB);
  const Octets tooLong(32, 0xAB);

  const CertificateSummary summary =
      summaryOf(CertificateBuilder(bare).authorityKeyId(longest).subjectKeyId(longest));

  EXPECT_EQ(std::strlen(summary.authorityKeyId), 62U);
  EXPECT_EQ(std::strlen(summary.subjectKeyId), 62U);
  EXPECT_EQ(codeOf(CertificateBuilder(bare).authorityKeyId(tooLong).subjectKeyId(longest)),
            kSummaryLongKeyId);
  EXPECT_EQ(codeOf(CertificateBuilder(bare).authorityKeyId(longest).subjectKeyId(tooLong)),
            kSummaryLongKeyId);
}

struct TimeCase {
  const char* time;
  const char* text;  // null: refused
};

class SummaryTime : public testing::TestWithParam<TimeCase> {};

TEST_P(SummaryTime, IsWrittenOrRefused) {
  const DerBuilder time = DerBuilder().utcTime(GetParam().time);
  const DerBuilder sound = DerBuilder().utcTime("200101000000Z");
  const CertificateBuilder from =
      CertificateBuilder().validity(DerBuilder().sequence(DerBuilder(time).raw(sound)));
  const CertificateBuilder to =
      CertificateBuilder().validity(DerBuilder().sequence(DerBuilder(sound).raw(time)));

  if (GetParam().text == nullptr) {
    EXPECT_EQ(codeOf(from), kSummaryBadTime);
    EXPECT_EQ(codeOf(to), kSummaryBadTime);
    return;
  }
  EXPECT_STREQ(summaryOf(from).validFrom, GetParam().text);
  EXPECT_STREQ(summaryOf(to).validTo, GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Forms, SummaryTime,
    testing::Values(TimeCase{"491231235959Z", "20491231235959"},
                    TimeCase{"500101000000Z", "19500101000000"},
                    TimeCase{"000101000000Z", "20000101000000"},
                    TimeCase{"991231235959Z", "19991231235959"},
                    TimeCase{"20490101000000Z", "20490101000000"},
                    TimeCase{"18990101000000Z", "18990101000000"}, TimeCase{"", nullptr},
                    TimeCase{"2001010000Z", nullptr}, TimeCase{"2001010000000", nullptr},
                    TimeCase{"20010100000Z", nullptr}, TimeCase{"20200101000000", nullptr},
                    TimeCase{"202001010000000", nullptr}, TimeCase{"200101000000+0100", nullptr},
                    TimeCase{"20200101000000.0Z", nullptr}));

TEST(CertificateSummary, CertificateThatDoesNotParseIsNotSummarised) {
  CertificateSummary summary;
  std::memset(&summary, 'x', sizeof summary);

  EXPECT_EQ(summariseCertificate({}, summary), kSummaryNotParsed);
  EXPECT_EQ(summariseCertificate(CertificateBuilder().validity("", "").encoding(), summary),
            kSummaryBadTime);

  EXPECT_EQ(summary.permissions[0], 'x');
  EXPECT_EQ(summary.authorityKeyId[0], 'x');
}

// -------------------------------------------------------------------------------------------------

TEST(SummaryPermissions, StandOneAfterTheOther) {
  const CertificateSummary summary = summaryOf(CertificateBuilder().permissions({"S11", "S14"}));

  EXPECT_EQ(std::memcmp(summary.permissions, "S11\0S14\0", 9), 0);
}

TEST(SummaryPermissions, OnlyIA5StringsThatAreNotEmptyCount) {
  const DerBuilder list =
      DerBuilder().ia5String("").printableString("S12").ia5String("S11").null().ia5String("S14");

  const CertificateSummary summary = summaryOf(CertificateBuilder().extension(
      "2.16.840.1.200000.1.1.1", DerBuilder().sequence(DerBuilder().boolean(true).sequence(list))));

  EXPECT_THAT(permissionsOf(summary), ElementsAre("S11", "S14"));
}

TEST(SummaryPermissions, ListThatIsNoSequenceHoldsNone) {
  const CertificateSummary summary = summaryOf(CertificateBuilder().extension(
      "2.16.840.1.200000.1.1.1",
      DerBuilder().sequence(DerBuilder().boolean(true).set(DerBuilder().ia5String("S14")))));

  EXPECT_THAT(permissionsOf(summary), ElementsAre());
}

TEST(SummaryPermissions, EndWhereTheListCannotBeRead) {
  const DerBuilder list = DerBuilder().ia5String("S11").raw(Octets{0x16, 0x7F});

  const CertificateSummary summary = summaryOf(CertificateBuilder().extension(
      "2.16.840.1.200000.1.1.1", DerBuilder().sequence(DerBuilder().boolean(true).sequence(list))));

  EXPECT_THAT(permissionsOf(summary), ElementsAre("S11"));
}

TEST(SummaryPermissions, FillTheFieldToTheLastOctet) {
  // 254 is too long for the empty field, 253 leaves room for the empty text alone.
  const std::string tooLong(254, 'x');
  const std::string longest(253, 'y');

  const CertificateSummary summary =
      summaryOf(CertificateBuilder().permissions({tooLong, longest, "S"}));

  EXPECT_THAT(permissionsOf(summary), ElementsAre(longest));
  EXPECT_EQ(summary.permissions[254], '\0');
}

TEST(SummaryPermissions, OneThatDoesNotFitIsSkippedAndAShorterOneTaken) {
  const std::string most(249, 'x');  // leaves 256 - 250 = 6

  const CertificateSummary summary =
      summaryOf(CertificateBuilder().permissions({most, "S1234", "S14", "S", "T"}));

  EXPECT_THAT(permissionsOf(summary), ElementsAre(most, "S14"));
}

TEST(SummaryPermissions, ManyShortOnesStopAtTheEndOfTheField) {
  std::vector<std::string> texts(200, "S1");
  std::vector<std::string_view> views(texts.begin(), texts.end());

  const CertificateSummary summary = summaryOf(CertificateBuilder().permissions(views));

  // Each takes three octets while more than four are left: 84 of them leave four.
  EXPECT_EQ(permissionsOf(summary).size(), 84U);
  EXPECT_EQ(summary.permissions[252], '\0');
}

}  // namespace
}  // namespace wzapp
