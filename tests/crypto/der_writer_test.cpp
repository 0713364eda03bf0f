#include "crypto/der/der_writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "crypto/der/der_walker.h"
#include "crypto/der/oid.h"
#include "tests/builders/der_builder.h"

namespace wzapp {
namespace {

using testing::ElementsAreArray;
using wzapp_test::DerBuilder;
using wzapp_test::fromHex;
using wzapp_test::Octets;

TEST(DerWriter, MakesTheElementsOfADigestInfo) {
  DerBuffer element;

  EXPECT_EQ(makeNull(element), 2);
  EXPECT_THAT(element.encoding(), ElementsAreArray(fromHex("05 00")));
  EXPECT_EQ(makeOctetString(fromHex("AA BB"), element), 4);
  EXPECT_THAT(element.encoding(), ElementsAreArray(fromHex("04 02 AA BB")));
  EXPECT_EQ(wrapInSequence(element), 6);
  EXPECT_THAT(element.encoding(), ElementsAreArray(fromHex("30 04 04 02 AA BB")));
  EXPECT_EQ(makeElement(0xA0, fromHex("01"), element), 3);
  EXPECT_THAT(element.encoding(), ElementsAreArray(fromHex("A0 01 01")));
}

TEST(DerWriter, AppendsOneElementToTheContentOfAnother) {
  DerBuffer sequence;
  DerBuffer null;
  ASSERT_EQ(makeElement(kDerSequence, {}, sequence), 2);
  ASSERT_EQ(makeNull(null), 2);

  EXPECT_EQ(appendElement(null, sequence), 4);
  EXPECT_EQ(appendElement(null, sequence), 6);
  EXPECT_EQ(appendElement(sequence, sequence), 12);

  EXPECT_THAT(sequence.encoding(),
              ElementsAreArray(fromHex("30 0A 05 00 05 00 30 04 05 00 05 00")));
}

TEST(DerWriter, RefusesContentThatDoesNotFit) {
  DerBuffer element;
  DerBuffer null;
  ASSERT_EQ(makeNull(null), 2);

  EXPECT_EQ(makeOctetString(Octets(256), element), kDerNotFound);
  EXPECT_EQ(makeOctetString(Octets(255), element), 257);
  EXPECT_EQ(wrapInSequence(element), kDerNotFound);
  EXPECT_EQ(appendElement(null, element), kDerNotFound);
  EXPECT_EQ(element.encoding().size(), 257U);
  EXPECT_EQ(makeOctetString(Octets(253), element), 255);
  EXPECT_EQ(appendElement(null, element), 257);
}

struct TextCase {
  const char* text;
  const char* encoding;
};

class DerWriterOid : public testing::TestWithParam<TextCase> {};

TEST_P(DerWriterOid, IsMadeFromText) {
  const Octets expected = fromHex(GetParam().encoding);
  DerBuffer element;

  EXPECT_EQ(textToOid(GetParam().text, &element), static_cast<int>(expected.size()));
  EXPECT_THAT(element.encoding(), ElementsAreArray(expected));
  EXPECT_EQ(textToOid(GetParam().text, nullptr), static_cast<int>(expected.size()));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, DerWriterOid,
    testing::Values(TextCase{"1.3.14.3.2.26", "06 05 2B 0E 03 02 1A"},
                    TextCase{"2.16.840.1.101.3.4.2.1", "06 09 60 86 48 01 65 03 04 02 01"},
                    TextCase{"0.0", "06 01 00"}, TextCase{"2.175", "06 01 FF"},
                    TextCase{"1.2.0", "06 02 2A 00"}, TextCase{"1.2.127", "06 02 2A 7F"},
                    TextCase{"1.2.128", "06 03 2A 81 00"},
                    TextCase{"1.2.34359738367", "06 06 2A FF FF FF FF 7F"},
                    TextCase{"1.2.18446744073709551615", "06 0B 2A 81 FF FF FF FF FF FF FF FF 7F"},
                    TextCase{"1", "06 01 28"}, TextCase{"", "06 01 00"}));

TEST(DerWriterOid, TooLongForItsLengthOctetIsRefused) {
  std::string text = "1.2";
  for (int i = 0; i < 254; ++i) text += ".1";
  DerBuffer element;

  EXPECT_EQ(textToOid(text, &element), 257);
  EXPECT_EQ(textToOid(text + ".1", &element), kDerNotFound);
  EXPECT_EQ(textToOid(text + ".1", nullptr), kDerNotFound);
}

TEST(DerWriter, WritesTheDigestInfoOfSha1) {
  const Octets digest(20, 0xAB);
  DerBuffer info;

  EXPECT_EQ(makeDigestInfo("1.3.14.3.2.26", digest, info), 35);

  EXPECT_THAT(info.encoding(),
              ElementsAreArray(DerBuilder()
                                   .raw(fromHex("30 21 30 09 06 05 2B 0E 03 02 1A 05 00 04 14"))
                                   .raw(digest)
                                   .octets()));
}

TEST(DerWriter, WritesTheDigestInfoOfSha256) {
  const Octets digest(32, 0xCD);
  DerBuffer info;

  EXPECT_EQ(makeDigestInfo("2.16.840.1.101.3.4.2.1", digest, info), 51);

  EXPECT_THAT(
      info.encoding(),
      ElementsAreArray(DerBuilder()
                           .raw(fromHex("30 31 30 0D 06 09 60 86 48 01 65 03 04 02 01 05 00 04 20"))
                           .raw(digest)
                           .octets()));
}

TEST(DerWriter, RefusesADigestInfoThatDoesNotFit) {
  DerBuffer info;

  EXPECT_EQ(makeDigestInfo("1.3.14.3.2.26", Octets(240), info), 255);
  EXPECT_EQ(makeDigestInfo("1.3.14.3.2.26", Octets(241), info), 256);
  EXPECT_EQ(makeDigestInfo("1.3.14.3.2.26", Octets(243), info), kDerNotFound);
  EXPECT_EQ(makeDigestInfo("1.3.14.3.2.26", Octets(300), info), kDerNotFound);
  EXPECT_EQ(info.encoding().size(), 256U);
}

TEST(DerWriter, RefusesADigestInfoWhoseAlgorithmLeavesNoRoom) {
  // Of 247 octets: around it stand 2 of its own, 2 + 2 of the algorithm with its NULL, 2 of an
  // empty digest.
  std::string algorithm = "1.2";
  for (int i = 0; i < 246; ++i) algorithm += ".1";
  DerBuffer info;

  EXPECT_EQ(makeDigestInfo(algorithm, {}, info), 257);
  for (int octets = 248; octets < 260; ++octets) {
    algorithm += ".1";
    EXPECT_EQ(makeDigestInfo(algorithm, {}, info), kDerNotFound) << octets;
  }
  EXPECT_EQ(info.encoding().size(), 257U);
}

}  // namespace
}  // namespace wzapp
