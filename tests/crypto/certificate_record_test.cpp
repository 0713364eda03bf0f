#include "crypto/certificate/certificate_record.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/builders/certificate_builder.h"

namespace wzapp {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using wzapp_test::attribute;
using wzapp_test::CertificateBuilder;
using wzapp_test::DerBuilder;
using wzapp_test::extensionElement;
using wzapp_test::fromHex;
using wzapp_test::fromText;
using wzapp_test::Octets;

// A record together with the octets that it refers to.
struct Parsed {
  explicit Parsed(const CertificateBuilder& builder) : Parsed(builder.encoding()) {}
  explicit Parsed(Octets octets) : der(std::move(octets)), code(parseCertificate(der, record)) {}

  Octets der;
  CertificateRecord record;
  int code;
};

TEST(CertificateRecord, ReadsEveryFieldOfASoundCertificate) {
  const Octets modulus(128, 0xC3);
  const Parsed parsed(CertificateBuilder()
                          .serial(DerBuilder().integer(Octets{0x31, 0x32, 0x33}))
                          .validity("200101000000Z", "21100101000000Z")
                          .rsaKey(modulus, Octets{1, 0, 1})
                          .signature(DerBuilder().bitString(fromText("signature"))));

  ASSERT_EQ(parsed.code, 0);
  const CertificateRecord& record = parsed.record;
  EXPECT_THAT(record.serialNumber, ElementsAreArray(fromText("123")));
  EXPECT_THAT(record.notBefore, ElementsAreArray(fromText("200101000000Z")));
  EXPECT_THAT(record.notAfter, ElementsAreArray(fromText("21100101000000Z")));
  EXPECT_THAT(record.modulus, ElementsAreArray(modulus));
  EXPECT_THAT(record.publicExponent, ElementsAre(1, 0, 1));
  EXPECT_THAT(record.authorityKeyId, ElementsAreArray(Octets(20, 0xAA)));
  EXPECT_THAT(record.subjectKeyId, ElementsAreArray(Octets(20, 0xBB)));
  EXPECT_THAT(record.signature, ElementsAreArray(fromText("signature")));
  EXPECT_THAT(record.signatureAlgorithm, ElementsAreArray(fromHex("2A 86 48 86 F7 0D 01 01 0B")));
}

TEST(CertificateRecord, ToBeSignedIsTheWholeElement) {
  const CertificateBuilder builder;

  const Parsed parsed(builder);

  EXPECT_THAT(parsed.record.toBeSigned, ElementsAreArray(builder.toBeSigned()));
}

TEST(CertificateRecord, HoldsTheDefaultsOfAbsentExtensions) {
  const Parsed parsed{CertificateBuilder()};

  const CertificateRecord& record = parsed.record;
  EXPECT_THAT(record.keyUsage, ElementsAre(1, 0, 0, 0, 0, 1, 0, 0, 0));
  EXPECT_EQ(record.isAuthority, 0);
  EXPECT_FALSE(record.pathLength.has_value());
  EXPECT_EQ(record.privateExtension1, 0);
  EXPECT_THAT(record.permissions, IsEmpty());
  EXPECT_EQ(record.privateExtension2, 1);
  EXPECT_EQ(record.privateExtension3, 255);
  EXPECT_EQ(record.privateExtension4, 1);
  EXPECT_THAT(record.privateExtension5, IsEmpty());
  EXPECT_THAT(record.subjectUniqueLabel, IsEmpty());
  EXPECT_THAT(record.subjectLabelValue, IsEmpty());
}

TEST(CertificateRecord, IsLeftAloneByACertificateThatDoesNotParse) {
  const Octets der = CertificateBuilder().withoutExtensions().encoding();
  CertificateRecord record;
  record.isAuthority = 77;

  EXPECT_EQ(parseCertificate(der, record), kMissingKeyId);
  EXPECT_EQ(record.isAuthority, 77);
  EXPECT_THAT(record.toBeSigned, IsEmpty());
}

TEST(CertificateRecord, OctetsBehindTheOutermostElementAreIgnored) {
  Octets der = CertificateBuilder().encoding();
  const std::size_t length = der.size();
  der.insert(der.end(), {0xFF, 0xFF, 0x30, 0x80});

  const Parsed parsed(der);

  EXPECT_EQ(parsed.code, 0);
  EXPECT_LT(parsed.record.toBeSigned.size(), length);
}

TEST(CertificateRecord, NothingBehindTheOutermostElementIsRead) {
  // The signature claims eight octets more than the certificate has.
  Octets der = CertificateBuilder().signature(fromHex("03 10 00 01 02 03 04 05 06 07")).encoding();
  der.insert(der.end(), 8, 0x55);

  EXPECT_EQ(Parsed(der).code, kBadOuterSignature);
}

TEST(CertificateRecord, OuterElementsMayBeOfIndefiniteLength) {
  const CertificateBuilder sound;
  const Octets whole = sound.encoding();
  const Octets parts(whole.begin() + 4, whole.end());

  const Parsed parsed(DerBuilder().indefinite(0x30, parts).raw(fromHex("05 00")).octets());

  EXPECT_EQ(parsed.code, 0);
  EXPECT_THAT(parsed.record.toBeSigned, ElementsAreArray(sound.toBeSigned()));
}

DerBuilder keyIdExtensions() {
  return DerBuilder(extensionElement("2.5.29.35",
                                     DerBuilder().sequence(DerBuilder().element(0x80, Octets{1}))))
      .raw(extensionElement("2.5.29.14", DerBuilder().octetString(Octets{2})));
}

TEST(CertificateRecord, InnerElementsMayBeOfIndefiniteLength) {
  const Parsed parsed(CertificateBuilder()
                          .version(DerBuilder().indefinite(0xA0, DerBuilder().integer(2)))
                          .validity(DerBuilder().indefinite(
                              0x30, DerBuilder().utcTime("200101000000Z").utcTime("300101000000Z")))
                          .subject(DerBuilder().indefinite(
                              0x30, attribute("2.5.4.45", DerBuilder().bitString(Octets{1}))))
                          .extensions(DerBuilder().indefinite(
                              0xA3, DerBuilder().indefinite(0x30, keyIdExtensions()))));

  ASSERT_EQ(parsed.code, 0);
  EXPECT_THAT(parsed.record.subjectUniqueLabel, ElementsAre(1));
  EXPECT_THAT(parsed.record.authorityKeyId, ElementsAre(1));
  EXPECT_THAT(parsed.record.subjectKeyId, ElementsAre(2));
}

// -------------------------------------------------------------------------------------------------

struct BrokenCase {
  const char* name;
  int code;
  CertificateBuilder builder;
};

class BrokenCertificate : public testing::TestWithParam<BrokenCase> {};

TEST_P(BrokenCertificate, IsRefusedWithItsCode) {
  EXPECT_EQ(Parsed(GetParam().builder).code, GetParam().code);
}

std::string nameOf(const testing::TestParamInfo<BrokenCase>& info) { return info.param.name; }

DerBuilder rsaKeyInfo(const DerBuilder& algorithm, const DerBuilder& key) {
  return DerBuilder().sequence(DerBuilder().sequence(algorithm).raw(key));
}

DerBuilder rsaAlgorithm() { return DerBuilder().oid("1.2.840.113549.1.1.1").null(); }

DerBuilder rsaBits(const DerBuilder& key) { return DerBuilder().bitString(key); }

INSTANTIATE_TEST_SUITE_P(
    Version, BrokenCertificate,
    testing::Values(
        BrokenCase{"Missing", kBadVersion, CertificateBuilder().version({})},
        BrokenCase{"Version1", kBadVersion,
                   CertificateBuilder().version(DerBuilder().tagged(0, DerBuilder().integer(0)))},
        BrokenCase{"Version2", kBadVersion,
                   CertificateBuilder().version(DerBuilder().tagged(0, DerBuilder().integer(1)))},
        BrokenCase{"Version4", kBadVersion,
                   CertificateBuilder().version(DerBuilder().tagged(0, DerBuilder().integer(3)))},
        BrokenCase{"OtherTag", kBadVersion,
                   CertificateBuilder().version(DerBuilder().tagged(1, DerBuilder().integer(2)))},
        BrokenCase{"NotInATag", kBadVersion, CertificateBuilder().version(DerBuilder().integer(2))},
        BrokenCase{"NoInteger", kBadVersion,
                   CertificateBuilder().version(
                       DerBuilder().tagged(0, DerBuilder().octetString(Octets{2})))},
        BrokenCase{"LongInteger", kBadVersion,
                   CertificateBuilder().version(DerBuilder().tagged(0, DerBuilder().integer(Octets{
                                                                           0, 0, 0, 0, 2})))},
        BrokenCase{"Empty", kBadVersion, CertificateBuilder().version(DerBuilder().tagged(0, {}))}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Validity, BrokenCertificate,
    testing::Values(
        BrokenCase{"Empty", kNoValidity, CertificateBuilder().validity(DerBuilder().sequence({}))},
        BrokenCase{"Primitive", kNoValidity,
                   CertificateBuilder().validity(DerBuilder().octetString(Octets(8)))},
        BrokenCase{"OneTime", kNoValidity,
                   CertificateBuilder().validity(
                       DerBuilder().sequence(DerBuilder().utcTime("200101000000Z")))},
        BrokenCase{"TimesInsideAnotherElement", kNoValidity,
                   CertificateBuilder().validity(DerBuilder().sequence(DerBuilder().sequence(
                       DerBuilder().utcTime("200101000000Z").utcTime("300101000000Z"))))},
        BrokenCase{"CannotBeRead", kNoValidity,
                   CertificateBuilder().validity(DerBuilder().sequence(fromHex("17 83 00 00 00")))},
        BrokenCase{"IndefiniteTime", kNoValidity,
                   CertificateBuilder().validity(
                       DerBuilder().sequence(DerBuilder().indefinite(0x30, DerBuilder().null())))},
        BrokenCase{"IndefiniteEnd", kNoValidity,
                   CertificateBuilder().validity(DerBuilder().sequence(
                       DerBuilder().utcTime("200101000000Z").indefinite(0x30, {})))}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    PublicKey, BrokenCertificate,
    testing::Values(
        BrokenCase{"OtherAlgorithm", kBadPublicKey,
                   CertificateBuilder().publicKeyInfo(rsaKeyInfo(
                       DerBuilder().oid("1.2.840.10045.2.1").null(),
                       rsaBits(DerBuilder().sequence(DerBuilder().integer(5).integer(3)))))},
        BrokenCase{"NoParameters", kBadPublicKey,
                   CertificateBuilder().publicKeyInfo(rsaKeyInfo(
                       DerBuilder().oid("1.2.840.113549.1.1.1"),
                       rsaBits(DerBuilder().sequence(DerBuilder().integer(5).integer(3)))))},
        BrokenCase{"NoBitString", kBadPublicKey,
                   CertificateBuilder().publicKeyInfo(
                       rsaKeyInfo(rsaAlgorithm(), DerBuilder().octetString(Octets(8))))},
        BrokenCase{"EmptyBitString", kBadPublicKey,
                   CertificateBuilder().publicKeyInfo(rsaKeyInfo(rsaAlgorithm(),
                                                                 DerBuilder().element(0x03, {})))},
        BrokenCase{"NoKey", kBadPublicKey,
                   CertificateBuilder().publicKeyInfo(rsaKeyInfo(rsaAlgorithm(), rsaBits({})))},
        BrokenCase{"NoModulus", kBadPublicKey,
                   CertificateBuilder().publicKeyInfo(
                       rsaKeyInfo(rsaAlgorithm(), rsaBits(DerBuilder().sequence({}))))},
        BrokenCase{"NoExponent", kBadPublicKey,
                   CertificateBuilder().publicKeyInfo(rsaKeyInfo(
                       rsaAlgorithm(), rsaBits(DerBuilder().sequence(DerBuilder().integer(5)))))},
        BrokenCase{
            "ModulusNoInteger", kBadPublicKey,
            CertificateBuilder().publicKeyInfo(rsaKeyInfo(
                rsaAlgorithm(), rsaBits(DerBuilder().sequence(DerBuilder().null().integer(3)))))},
        BrokenCase{"Missing", kBadPublicKey, CertificateBuilder().publicKeyInfo({})},
        BrokenCase{"Primitive", kBadPublicKey,
                   CertificateBuilder().publicKeyInfo(DerBuilder().null())},
        BrokenCase{"InsideTheSubject", kBadPublicKey,
                   CertificateBuilder()
                       .subject(DerBuilder().sequence(rsaKeyInfo(
                           rsaAlgorithm(),
                           rsaBits(DerBuilder().sequence(DerBuilder().integer(5).integer(3))))))
                       .publicKeyInfo(DerBuilder().sequence({}))},
        BrokenCase{"BehindAnotherField", kBadPublicKey,
                   CertificateBuilder().publicKeyInfo(DerBuilder().null().raw(rsaKeyInfo(
                       rsaAlgorithm(),
                       rsaBits(DerBuilder().sequence(DerBuilder().integer(5).integer(3))))))},
        BrokenCase{"BehindABrokenSubject", kBadPublicKey,
                   CertificateBuilder().subjectAttributes(fromHex("31 83 00 00 00"))},
        BrokenCase{"OfATruncatedAlgorithm", kBadPublicKey,
                   CertificateBuilder().publicKeyInfo(rsaKeyInfo(
                       DerBuilder().element(0x06, fromHex("2A 86")).null(), rsaBits({})))}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(SerialNumber, BrokenCertificate,
                         testing::Values(BrokenCase{
                             "Indefinite", kNoSerialNumber,
                             CertificateBuilder().serial(DerBuilder().indefinite(
                                 0x24, DerBuilder().octetString(Octets{1})))}),
                         nameOf);

DerBuilder extensionOf(const DerBuilder& parts) { return DerBuilder().sequence(parts); }

// In a list of indefinite length, behind both key identifiers.
CertificateBuilder lastInAnOpenList(const Octets& extension) {
  return CertificateBuilder().extensions(
      DerBuilder().tagged(3, DerBuilder().indefinite(0x30, keyIdExtensions().raw(extension))));
}

const char* const kThirtyOne = "1.2.3.4.5.6.7.8.9.10.11.12.1334";

INSTANTIATE_TEST_SUITE_P(
    Extensions, BrokenCertificate,
    testing::Values(
        BrokenCase{"Missing", kBadExtension, CertificateBuilder().extensions({})},
        BrokenCase{"NoList", kBadExtension,
                   CertificateBuilder().extensions(DerBuilder().tagged(3, {}))},
        BrokenCase{"EmptyList", kMissingKeyId, CertificateBuilder().withoutExtensions()},
        BrokenCase{"InsideAnotherField", kBadExtension,
                   CertificateBuilder().extensions(DerBuilder().tagged(
                       1, DerBuilder().tagged(3, DerBuilder().sequence(keyIdExtensions()))))},
        BrokenCase{"BeforeTheKeyOnly", kBadExtension,
                   CertificateBuilder()
                       .issuer(DerBuilder().tagged(3, DerBuilder().sequence(keyIdExtensions())))
                       .extensions({})},
        BrokenCase{"Primitive", kBadExtension,
                   CertificateBuilder().rawExtension(DerBuilder().octetString(Octets(3)))},
        BrokenCase{"NoParts", kBadExtension, CertificateBuilder().rawExtension(extensionOf({}))},
        BrokenCase{"ZeroOctetsInAListThatHasALength", kBadExtension,
                   CertificateBuilder().rawExtension(fromHex("00 00"))},
        BrokenCase{"OidOnly", kBadExtension,
                   CertificateBuilder().rawExtension(extensionOf(DerBuilder().oid("1.2.3")))},
        BrokenCase{"NoOid", kBadExtension,
                   CertificateBuilder().rawExtension(
                       extensionOf(DerBuilder().integer(1).octetString(DerBuilder().null())))},
        BrokenCase{
            "TruncatedOid", kBadExtension,
            CertificateBuilder().rawExtension(extensionOf(
                DerBuilder().element(6, fromHex("2A 81")).octetString(DerBuilder().null())))},
        BrokenCase{"LongOidThatEndsInsideAnArc", kLongExtensionOid,
                   CertificateBuilder().rawExtension(extensionOf(
                       DerBuilder()
                           .element(6, fromHex("2A 03 04 05 06 07 08 09 0A 0B 0C 8A 36 81"))
                           .octetString(DerBuilder().null())))},
        BrokenCase{"LongOidWithoutValue", kLongExtensionOid,
                   CertificateBuilder().rawExtension(extensionOf(DerBuilder().oid(kThirtyOne)))},
        BrokenCase{"LongOid", kLongExtensionOid,
                   CertificateBuilder().extension(kThirtyOne, DerBuilder().null())},
        BrokenCase{"LongArc", kLongExtensionOid,
                   CertificateBuilder().rawExtension(
                       extensionOf(DerBuilder()
                                       .element(6, fromHex("2A 81 80 80 80 80 00"))
                                       .octetString(DerBuilder().null())))},
        BrokenCase{"ValueNoOctetString", kBadExtension,
                   CertificateBuilder().rawExtension(
                       extensionOf(DerBuilder().oid("1.2.3").ia5String("x")))},
        BrokenCase{"CriticalNoBoolean", kBadExtension,
                   CertificateBuilder().rawExtension(extensionOf(
                       DerBuilder().oid("1.2.3").integer(1).octetString(DerBuilder().null())))},
        BrokenCase{
            "CriticalTwoOctets", kBadExtension,
            CertificateBuilder().rawExtension(extensionOf(DerBuilder()
                                                              .oid("1.2.3")
                                                              .element(0x01, Octets{0, 0})
                                                              .octetString(DerBuilder().null())))},
        BrokenCase{"CriticalWithoutValue", kBadExtension,
                   CertificateBuilder().rawExtension(
                       extensionOf(DerBuilder().oid("1.2.3").boolean(false)))},
        BrokenCase{
            "FourParts", kBadExtension,
            CertificateBuilder().rawExtension(extensionOf(
                DerBuilder().oid("1.2.3").boolean(false).octetString(DerBuilder().null()).null()))},
        BrokenCase{"PartBehindTheValue", kBadExtension,
                   CertificateBuilder().rawExtension(extensionOf(
                       DerBuilder().oid("1.2.3").octetString(DerBuilder().null()).null()))},
        BrokenCase{"NoElementBehindTheValue", kBadExtension,
                   CertificateBuilder().rawExtension(extensionOf(
                       DerBuilder().oid("1.2.3").octetString(DerBuilder().null()).raw(Octets{5})))},
        BrokenCase{"NoElementBehindAKnownValue", kBadExtension,
                   CertificateBuilder().rawExtension(
                       extensionOf(DerBuilder()
                                       .oid("2.5.29.15")
                                       .octetString(DerBuilder().bitString(Octets{4}))
                                       .raw(fromHex("04 83 00 00 00"))))},
        BrokenCase{
            "ValueRunsOut", kBadExtension,
            CertificateBuilder().rawExtension(fromHex("30 08 06 02 2A 03 04 04 05 00 05 00"))},
        BrokenCase{"IndefiniteWithTwoParts", kBadExtension,
                   CertificateBuilder().rawExtension(DerBuilder().indefinite(
                       0x30, DerBuilder().oid("1.2.3").octetString(DerBuilder().null())))},
        BrokenCase{"EmptyValue", kBadExtensionValue, CertificateBuilder().extension("1.2.3", {})},
        BrokenCase{"EmptyKnownValue", kBadExtensionValue,
                   CertificateBuilder().extension("2.5.29.15", {})},
        BrokenCase{"ValueCut", kBadExtensionValue,
                   CertificateBuilder().extension("1.2.3", fromHex("04 05 00"))},
        BrokenCase{"ValueIndefinite", kBadExtensionValue,
                   CertificateBuilder().extension("1.2.3", DerBuilder().indefinite(0x30, {}))},
        BrokenCase{"UnknownCritical", kUnknownCriticalExtension,
                   CertificateBuilder().extension("1.2.3", DerBuilder().null(), true)},
        BrokenCase{"KnownTwice", kDuplicateExtension, CertificateBuilder().subjectKeyId(Octets(8))},
        BrokenCase{"UnknownTwice", kDuplicateExtension,
                   CertificateBuilder()
                       .extension("1.2.3", DerBuilder().null())
                       .extension("1.2.3", DerBuilder().null())},
        BrokenCase{"TwiceByText", kDuplicateExtension,
                   CertificateBuilder()
                       .extension("1.2.3", DerBuilder().null())
                       .rawExtension(extensionOf(DerBuilder()
                                                     .element(6, fromHex("2A 80 03"))
                                                     .octetString(DerBuilder().null())))},
        BrokenCase{
            "TwiceAndUnreadable", kBadExtensionValue,
            CertificateBuilder().extension("1.2.3", DerBuilder().null()).extension("1.2.3", {})},
        BrokenCase{"CannotBeRead", kBadExtension,
                   CertificateBuilder().rawExtension(fromHex("30 83 00 00 00"))},
        BrokenCase{"LikeAnEndWithALongHeader", kBadExtension,
                   lastInAnOpenList(fromHex("00 81 00"))},
        BrokenCase{"LikeAnEndWithContent", kBadExtension, lastInAnOpenList(fromHex("00 01 05"))}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    KeyIdentifiers, BrokenCertificate,
    testing::Values(
        BrokenCase{"NoAuthority", kMissingKeyId,
                   CertificateBuilder().withoutExtensions().subjectKeyId(Octets{1})},
        BrokenCase{"NoSubject", kMissingKeyId,
                   CertificateBuilder().withoutExtensions().authorityKeyId(Octets{1})},
        BrokenCase{
            "EmptyAuthority", kMissingKeyId,
            CertificateBuilder().withoutExtensions().subjectKeyId(Octets{1}).authorityKeyId({})},
        BrokenCase{
            "EmptySubject", kMissingKeyId,
            CertificateBuilder().withoutExtensions().authorityKeyId(Octets{1}).subjectKeyId({})},
        BrokenCase{"AuthorityByName", kBadAuthorityKeyId,
                   CertificateBuilder().withoutExtensions().extension(
                       "2.5.29.35", DerBuilder().sequence(DerBuilder().tagged(1, {})))},
        BrokenCase{
            "AuthorityConstructed", kBadAuthorityKeyId,
            CertificateBuilder().withoutExtensions().extension(
                "2.5.29.35", DerBuilder().sequence(DerBuilder().tagged(0, DerBuilder().null())))},
        BrokenCase{"AuthorityWithoutParts", kBadAuthorityKeyId,
                   CertificateBuilder().withoutExtensions().extension("2.5.29.35",
                                                                      DerBuilder().sequence({}))},
        BrokenCase{"AuthorityBare", kBadAuthorityKeyId,
                   CertificateBuilder().withoutExtensions().extension(
                       "2.5.29.35", DerBuilder().element(0x80, Octets{1}))},
        BrokenCase{"SubjectNoOctetString", kBadExtension,
                   CertificateBuilder().withoutExtensions().extension(
                       "2.5.29.14", DerBuilder().sequence(DerBuilder().octetString(Octets{1})))}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    KnownExtensions, BrokenCertificate,
    testing::Values(
        BrokenCase{"KeyUsageNoBits", kBadKeyUsage,
                   CertificateBuilder().extension("2.5.29.15", DerBuilder().bitString({}))},
        BrokenCase{"KeyUsageThreeOctets", kBadKeyUsage,
                   CertificateBuilder().extension("2.5.29.15", DerBuilder().bitString(Octets(3)))},
        BrokenCase{
            "KeyUsageNoBitString", kBadKeyUsage,
            CertificateBuilder().extension("2.5.29.15", DerBuilder().octetString(Octets{0, 4}))},
        BrokenCase{"ConstraintsNoSequence", kBadBasicConstraints,
                   CertificateBuilder().extension("2.5.29.19", DerBuilder().boolean(true))},
        BrokenCase{"ConstraintsLengthFirst", kBadBasicConstraints,
                   CertificateBuilder().extension("2.5.29.19",
                                                  DerBuilder().sequence(DerBuilder().integer(0)))},
        BrokenCase{"ConstraintsLongBoolean", kBadBasicConstraints,
                   CertificateBuilder().extension(
                       "2.5.29.19", DerBuilder().sequence(DerBuilder().element(1, Octets{0, 0})))},
        BrokenCase{"ConstraintsNoLength", kBadBasicConstraints,
                   CertificateBuilder().extension(
                       "2.5.29.19", DerBuilder().sequence(DerBuilder().boolean(true).null()))},
        BrokenCase{
            "ConstraintsLongLength", kBadBasicConstraints,
            CertificateBuilder().extension(
                "2.5.29.19", DerBuilder().sequence(DerBuilder().boolean(true).integer(Octets(5))))},
        BrokenCase{"ConstraintsCannotBeRead", kBadBasicConstraints,
                   CertificateBuilder().extension(
                       "2.5.29.19",
                       DerBuilder().sequence(DerBuilder().boolean(true).raw(fromHex("02 05"))))},
        BrokenCase{
            "Private1NoFlag", kBadPrivateExtension1,
            CertificateBuilder().extension("2.16.840.1.200000.1.1.1", DerBuilder().sequence({}))},
        BrokenCase{"Private1NoBoolean", kBadPrivateExtension1,
                   CertificateBuilder().extension(
                       "2.16.840.1.200000.1.1.1",
                       DerBuilder().sequence(DerBuilder().integer(1).sequence({})))},
        BrokenCase{
            "Private1NoList", kBadPrivateExtension1,
            CertificateBuilder().extension("2.16.840.1.200000.1.1.1",
                                           DerBuilder().sequence(DerBuilder().boolean(true)))},
        BrokenCase{
            "Private1BareNoList", kBadPrivateExtension1,
            CertificateBuilder().extension("2.16.840.1.200000.1.1.1", DerBuilder().boolean(true))},
        BrokenCase{"Private1ListOutside", kBadPrivateExtension1,
                   CertificateBuilder().extension("2.16.840.1.200000.1.1.1",
                                                  DerBuilder()
                                                      .sequence(DerBuilder().boolean(true))
                                                      .sequence(DerBuilder().ia5String("S14")))},
        BrokenCase{"Private1IndefiniteList", kBadPrivateExtension1,
                   CertificateBuilder().extension(
                       "2.16.840.1.200000.1.1.1",
                       DerBuilder().sequence(DerBuilder().boolean(true).indefinite(0x30, {})))},
        BrokenCase{
            "Private2NoBoolean", kBadPrivateExtension2,
            CertificateBuilder().extension("2.16.840.1.200000.1.1.2", DerBuilder().integer(1))},
        BrokenCase{"Private2LongBoolean", kBadPrivateExtension2,
                   CertificateBuilder().extension("2.16.840.1.200000.1.1.2",
                                                  DerBuilder().element(1, Octets{0, 0}))},
        BrokenCase{
            "Private3NoInteger", kBadExtensionValue,
            CertificateBuilder().extension("2.16.840.1.200000.1.1.3", DerBuilder().boolean(true))},
        BrokenCase{"Private3LongInteger", kBadExtensionValue,
                   CertificateBuilder().extension("2.16.840.1.200000.1.1.3",
                                                  DerBuilder().integer(Octets(5)))},
        BrokenCase{"Private4NoBoolean", kBadPrivateExtension4,
                   CertificateBuilder().extension("2.16.840.1.200000.1.1.4", DerBuilder().null())}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    OuterSignature, BrokenCertificate,
    testing::Values(
        BrokenCase{"NoAlgorithm", kBadOuterSignature, CertificateBuilder().outerAlgorithm({})},
        BrokenCase{"EmptyAlgorithm", kBadOuterSignature,
                   CertificateBuilder().outerAlgorithm(DerBuilder().sequence({}))},
        BrokenCase{
            "AlgorithmNoOid", kBadOuterSignature,
            CertificateBuilder().outerAlgorithm(DerBuilder().sequence(DerBuilder().integer(1)))},
        BrokenCase{"AlgorithmCannotBeRead", kBadOuterSignature,
                   CertificateBuilder().outerAlgorithm(fromHex("30 83 00 00 00"))},
        BrokenCase{"NoSignature", kBadOuterSignature, CertificateBuilder().signature({})},
        BrokenCase{"SignatureNoBitString", kBadOuterSignature,
                   CertificateBuilder().signature(DerBuilder().octetString(Octets(8)))},
        BrokenCase{"SignatureEmpty", kBadOuterSignature,
                   CertificateBuilder().signature(DerBuilder().element(3, {}))}),
    nameOf);

TEST(CertificateRecord, MissingOutermostPartsHaveTheirCodes) {
  const Octets indefiniteToBeSigned =
      DerBuilder()
          .sequence(DerBuilder().indefinite(0x30, DerBuilder().tagged(0, DerBuilder().integer(2))))
          .octets();

  EXPECT_EQ(Parsed(Octets()).code, kNoToBeSigned);
  EXPECT_EQ(Parsed(Octets(std::size_t{1} << 20)).code, kNoToBeSigned);
  EXPECT_EQ(Parsed(fromHex("30")).code, kNoToBeSigned);
  EXPECT_EQ(Parsed(fromHex("30 00")).code, kNoToBeSigned);
  EXPECT_EQ(Parsed(fromHex("30 00 30 00")).code, kNoToBeSigned);
  EXPECT_EQ(Parsed(fromHex("30 02 83 00")).code, kBadVersion);
  EXPECT_EQ(Parsed(fromHex("30 02 30 00")).code, kBadVersion);
  EXPECT_EQ(Parsed(indefiniteToBeSigned).code, kNoToBeSigned);
  EXPECT_EQ(
      Parsed(CertificateBuilder().serial({}).issuer({}).validity(DerBuilder()).subject({})).code,
      kNoValidity);
  EXPECT_EQ(
      Parsed(DerBuilder()
                 .sequence(DerBuilder().sequence(DerBuilder().tagged(0, DerBuilder().integer(2))))
                 .octets())
          .code,
      kNoSerialNumber);
}

// -------------------------------------------------------------------------------------------------

TEST(CertificateRecord, IgnoresAnUnknownExtensionThatIsNotCritical) {
  EXPECT_EQ(Parsed(CertificateBuilder().extension("1.2.3", DerBuilder().null())).code, 0);
}

TEST(CertificateRecord, ExplicitFalseIsNotCritical) {
  const Parsed parsed(CertificateBuilder().rawExtension(
      extensionOf(DerBuilder().oid("1.2.3").boolean(false).octetString(DerBuilder().null()))));

  EXPECT_EQ(parsed.code, 0);
}

TEST(CertificateRecord, AnyOtherOctetThanZeroIsCritical) {
  const Parsed parsed(CertificateBuilder().rawExtension(extensionOf(
      DerBuilder().oid("1.2.3").element(1, Octets{0x01}).octetString(DerBuilder().null()))));

  EXPECT_EQ(parsed.code, kUnknownCriticalExtension);
}

TEST(CertificateRecord, KnownExtensionsMayBeCritical) {
  const Parsed parsed(CertificateBuilder().extension(
      "2.5.29.19", DerBuilder().sequence(DerBuilder().boolean(true)), true));

  EXPECT_EQ(parsed.code, 0);
  EXPECT_EQ(parsed.record.isAuthority, 1);
}

TEST(CertificateRecord, TakesAnOidOfThirtyCharacters) {
  EXPECT_EQ(
      Parsed(CertificateBuilder().extension("1.2.3.4.5.6.7.8.9.10.11.12.133", DerBuilder().null()))
          .code,
      0);
}

TEST(CertificateRecord, WhatFollowsAValueInItsOctetStringIsIgnored) {
  EXPECT_EQ(Parsed(CertificateBuilder().extension("1.2.3", fromHex("05 00 FF FF"))).code, 0);
}

TEST(CertificateRecord, UniqueIdentifiersBeforeTheExtensionsArePassedOver) {
  const Parsed parsed(CertificateBuilder().beforeExtensions(
      DerBuilder().element(0x81, Octets{0, 1}).tagged(2, DerBuilder().null())));

  EXPECT_EQ(parsed.code, 0);
}

TEST(CertificateRecord, PartsBehindTheExtensionsAndTheSignatureAreIgnored) {
  const DerBuilder list = DerBuilder().sequence(
      DerBuilder(extensionElement("2.5.29.35",
                                  DerBuilder().sequence(DerBuilder().element(0x80, Octets{1}))))
          .raw(extensionElement("2.5.29.14", DerBuilder().octetString(Octets{2}))));
  const Parsed parsed(CertificateBuilder()
                          .extensions(DerBuilder()
                                          .tagged(3, DerBuilder(list).sequence(DerBuilder().null()))
                                          .tagged(4, DerBuilder().sequence(DerBuilder().null())))
                          .signature(DerBuilder().bitString(Octets{7}).null()));

  EXPECT_EQ(parsed.code, 0);
  EXPECT_THAT(parsed.record.signature, ElementsAre(7));
}

struct UsageCase {
  const char* bits;
  std::array<std::uint8_t, kKeyUsages> usage;
};

class CertificateKeyUsage : public testing::TestWithParam<UsageCase> {};

TEST_P(CertificateKeyUsage, IsReadFromTheHighestBitDown) {
  const Parsed parsed(CertificateBuilder().extension(
      "2.5.29.15", DerBuilder().element(0x03, fromHex(GetParam().bits))));

  ASSERT_EQ(parsed.code, 0);
  EXPECT_EQ(parsed.record.keyUsage, GetParam().usage);
}

INSTANTIATE_TEST_SUITE_P(Bits, CertificateKeyUsage,
                         testing::Values(UsageCase{"00 00", {}},
                                         UsageCase{"07 80", {1, 0, 0, 0, 0, 0, 0, 0, 0}},
                                         UsageCase{"00 04", {0, 0, 0, 0, 0, 1, 0, 0, 0}},
                                         UsageCase{"00 01", {0, 0, 0, 0, 0, 0, 0, 1, 0}},
                                         UsageCase{"07 00 80", {0, 0, 0, 0, 0, 0, 0, 0, 1}},
                                         UsageCase{"00 55 7F", {0, 1, 0, 1, 0, 1, 0, 1, 0}},
                                         UsageCase{"00 FF FF", {1, 1, 1, 1, 1, 1, 1, 1, 1}}));

struct ConstraintsCase {
  const char* content;
  std::int32_t isAuthority;
  std::optional<std::int32_t> pathLength;
};

class CertificateConstraints : public testing::TestWithParam<ConstraintsCase> {};

TEST_P(CertificateConstraints, AreRead) {
  const Parsed parsed(CertificateBuilder().extension(
      "2.5.29.19", DerBuilder().sequence(fromHex(GetParam().content))));

  ASSERT_EQ(parsed.code, 0);
  EXPECT_EQ(parsed.record.isAuthority, GetParam().isAuthority);
  EXPECT_EQ(parsed.record.pathLength, GetParam().pathLength);
}

INSTANTIATE_TEST_SUITE_P(Parts, CertificateConstraints,
                         testing::Values(ConstraintsCase{"", 0, std::nullopt},
                                         ConstraintsCase{"01 01 00", 0, std::nullopt},
                                         ConstraintsCase{"01 01 05", 1, std::nullopt},
                                         ConstraintsCase{"01 01 FF 02 01 00", 1, 0},
                                         ConstraintsCase{"01 01 FF 02 01 FF", 1, -1},
                                         ConstraintsCase{"01 01 FF 02 04 7F FF FF FF", 1,
                                                         2147483647},
                                         ConstraintsCase{"01 01 00 02 01 03 05 00", 0, 3}));

TEST(CertificateRecord, ReadsPermissionsInsideOneSequence) {
  const Octets list = DerBuilder().sequence(DerBuilder().ia5String("S14")).octets();

  const Parsed parsed(CertificateBuilder().permissions({"S14"}));

  ASSERT_EQ(parsed.code, 0);
  EXPECT_EQ(parsed.record.privateExtension1, 1);
  EXPECT_THAT(parsed.record.permissions, ElementsAreArray(list));
}

TEST(CertificateRecord, ReadsPermissionsSideBySide) {
  const Octets list = DerBuilder().sequence(DerBuilder().ia5String("S14")).octets();

  const Parsed parsed(CertificateBuilder().extension("2.16.840.1.200000.1.1.1",
                                                     DerBuilder().boolean(false).raw(list)));

  ASSERT_EQ(parsed.code, 0);
  EXPECT_EQ(parsed.record.privateExtension1, 0);
  EXPECT_THAT(parsed.record.permissions, ElementsAreArray(list));
}

TEST(CertificateRecord, ReadsTheOtherPrivateExtensions) {
  const Octets value = DerBuilder().sequence(DerBuilder().null().integer(5)).octets();

  const Parsed parsed(CertificateBuilder()
                          .extension("2.16.840.1.200000.1.1.2", DerBuilder().boolean(false))
                          .extension("2.16.840.1.200000.1.1.3", DerBuilder().integer(-3))
                          .extension("2.16.840.1.200000.1.1.4", DerBuilder().boolean(false))
                          .extension("2.16.840.1.200000.1.1.5", value));

  ASSERT_EQ(parsed.code, 0);
  EXPECT_EQ(parsed.record.privateExtension2, 0);
  EXPECT_EQ(parsed.record.privateExtension3, -3);
  EXPECT_EQ(parsed.record.privateExtension4, 0);
  EXPECT_THAT(parsed.record.privateExtension5, ElementsAreArray(value));
}

TEST(CertificateRecord, OneLeadingZeroOfAKeyIsRemoved) {
  const Parsed parsed(CertificateBuilder().publicKeyInfo(rsaKeyInfo(
      rsaAlgorithm(), rsaBits(DerBuilder().sequence(
                          DerBuilder().integer(fromHex("00 00 81")).integer(fromHex("00")))))));

  ASSERT_EQ(parsed.code, 0);
  EXPECT_THAT(parsed.record.modulus, ElementsAre(0x00, 0x81));
  EXPECT_THAT(parsed.record.publicExponent, IsEmpty());
}

struct KeyCase {
  const char* name;
  DerBuilder key;
};

class CertificateKey : public testing::TestWithParam<KeyCase> {};

TEST_P(CertificateKey, IsTheFirstTwoIntegersWhateverStandsBetweenThem) {
  const Parsed parsed(
      CertificateBuilder().publicKeyInfo(rsaKeyInfo(rsaAlgorithm(), rsaBits(GetParam().key))));

  ASSERT_EQ(parsed.code, 0);
  EXPECT_THAT(parsed.record.modulus, ElementsAre(5));
  EXPECT_THAT(parsed.record.publicExponent, ElementsAre(3));
}

INSTANTIATE_TEST_SUITE_P(
    Keys, CertificateKey,
    testing::Values(
        KeyCase{"Plain", DerBuilder().sequence(DerBuilder().integer(5).integer(3))},
        KeyCase{"Between", DerBuilder().sequence(
                               DerBuilder().integer(5).null().octetString(Octets(2)).integer(3))},
        KeyCase{"Before", DerBuilder().sequence(DerBuilder().null().integer(5).integer(3))},
        KeyCase{"Behind", DerBuilder().sequence(DerBuilder().integer(5).integer(3).integer(7))},
        KeyCase{"Deeper", DerBuilder().sequence(
                              DerBuilder().integer(5).sequence(DerBuilder().null().integer(3)))},
        KeyCase{"Outside", DerBuilder().sequence(DerBuilder().integer(5)).integer(3)},
        KeyCase{"Bare", DerBuilder().integer(5).integer(3)}),
    [](const auto& tested) { return std::string(tested.param.name); });

// -------------------------------------------------------------------------------------------------

DerBuilder labelledBy(const Octets& label) {
  return DerBuilder()
      .raw(attribute("2.5.4.3", DerBuilder().printableString("name")))
      .raw(attribute("2.5.4.45", DerBuilder().bitString(label)))
      .raw(attribute("2.5.4.10", DerBuilder().element(0x14, fromText("organization"))))
      .raw(attribute("2.5.4.11", DerBuilder().ia5String("unit")))
      .raw(attribute("2.5.4.12", DerBuilder().printableString("title")))
      .raw(attribute("2.5.4.12", DerBuilder().printableString("second title")))
      .raw(attribute("2.5.4.45", DerBuilder().bitString(Octets{9})));
}

struct LabelCase {
  const char* label;
  const char* value;
};

class CertificateLabel : public testing::TestWithParam<LabelCase> {};

TEST_P(CertificateLabel, SelectsAnAttribute) {
  const Octets label = fromHex(GetParam().label);

  const Parsed parsed(CertificateBuilder().subjectAttributes(labelledBy(label)));

  ASSERT_EQ(parsed.code, 0);
  EXPECT_THAT(parsed.record.subjectUniqueLabel, ElementsAreArray(label));
  EXPECT_THAT(parsed.record.subjectLabelValue, ElementsAreArray(fromText(GetParam().value)));
}

INSTANTIATE_TEST_SUITE_P(Labels, CertificateLabel,
                         testing::Values(LabelCase{"02 01", "organization"},
                                         LabelCase{"02 02", ""},  // an IA5String
                                         LabelCase{"02 03 77", "name"}, LabelCase{"02 04", "title"},
                                         LabelCase{"02 05", ""}, LabelCase{"02 00", ""},
                                         LabelCase{"02", ""}, LabelCase{"", ""},
                                         LabelCase{"03 01", ""}));

TEST(CertificateRecord, LabelWithoutItsAttributeSelectsNothing) {
  const Parsed parsed(CertificateBuilder().subjectAttributes(
      attribute("2.5.4.45", DerBuilder().bitString(fromHex("02 01")))));

  ASSERT_EQ(parsed.code, 0);
  EXPECT_THAT(parsed.record.subjectUniqueLabel, ElementsAre(2, 1));
  EXPECT_THAT(parsed.record.subjectLabelValue, IsEmpty());
}

TEST(CertificateRecord, LabelWithoutAValueIsAbsent) {
  const DerBuilder bare = DerBuilder().set(DerBuilder().sequence(DerBuilder().oid("2.5.4.45")));

  const Parsed parsed(CertificateBuilder().subjectAttributes(bare));

  ASSERT_EQ(parsed.code, 0);
  EXPECT_THAT(parsed.record.subjectUniqueLabel, IsEmpty());
}

TEST(CertificateRecord, SubjectMayBeEmpty) {
  EXPECT_EQ(Parsed(CertificateBuilder().subjectAttributes({})).code, 0);
}

}  // namespace
}  // namespace wzapp
