#include "crypto/signature/signature_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/builders/certificate_builder.h"
#include "tests/builders/signature_file_builder.h"
#include "tests/crypto/vector_file.h"

namespace wzapp {
namespace {

using testing::ElementsAreArray;
using testing::IsEmpty;
using wzapp_test::algorithmIdentifier;
using wzapp_test::DerBuilder;
using wzapp_test::fromHex;
using wzapp_test::fromText;
using wzapp_test::hexMember;
using wzapp_test::Octets;
using wzapp_test::readVectors;
using wzapp_test::signatureAttribute;
using wzapp_test::SignatureFileBuilder;

constexpr std::string_view kSha1 = "1.3.14.3.2.26";
constexpr std::string_view kSha256 = "2.16.840.1.101.3.4.2.1";
constexpr std::string_view kContentType = "1.2.840.113549.1.9.3";
constexpr std::string_view kMessageDigest = "1.2.840.113549.1.9.4";
constexpr std::string_view kSignerKeyId = "2.16.840.1.200000.1.2.1";
constexpr std::string_view kPackageContent = "2.16.840.1.200000.1.2.2";
constexpr std::string_view kRsaEncryption = "1.2.840.113549.1.1.1";

struct Parsed {
  explicit Parsed(const SignatureFileBuilder& builder) : Parsed(builder.encoding()) {}
  explicit Parsed(Octets octets) : file(std::move(octets)), code(parseSignatureFile(file, info)) {}

  Octets file;
  SignatureInfo info;
  int code;
};

TEST(SignatureFile, ReadsEveryFieldOfASoundFile) {
  const Octets digest(32, 0x12);
  const Octets keyId(20, 0x34);
  const SignatureFileBuilder builder =
      SignatureFileBuilder().sha256(digest).signerKeyId(keyId).signature(
          DerBuilder().octetString(fromText("signature")));

  const Parsed parsed(builder);

  ASSERT_EQ(parsed.code, 0);
  EXPECT_THAT(parsed.info.signedAttributes, ElementsAreArray(builder.signedOctets()));
  EXPECT_THAT(parsed.info.messageDigest, ElementsAreArray(digest));
  EXPECT_THAT(parsed.info.signerKeyId, ElementsAreArray(keyId));
  EXPECT_THAT(parsed.info.signature, ElementsAreArray(fromText("signature")));
  EXPECT_THAT(parsed.info.content, ElementsAreArray(fromText("package")));
  EXPECT_THAT(parsed.info.signerDigestAlgorithm,
              ElementsAreArray(fromHex("60 86 48 01 65 03 04 02 01")));
}

TEST(SignatureFile, ReadsSha1) {
  const Parsed parsed(SignatureFileBuilder().sha1(Octets(20)));

  ASSERT_EQ(parsed.code, 0);
  EXPECT_EQ(parsed.info.messageDigest.size(), 20U);
  EXPECT_THAT(parsed.info.signerDigestAlgorithm, ElementsAreArray(fromHex("2B 0E 03 02 1A")));
}

TEST(SignatureFile, PrefersSha1WhereBothAreNamed) {
  const DerBuilder both =
      DerBuilder().set(DerBuilder(algorithmIdentifier(kSha256)).raw(algorithmIdentifier(kSha1)));

  const SignatureFileBuilder sha1 = SignatureFileBuilder().sha1(Octets(20)).digestAlgorithms(both);
  const SignatureFileBuilder sha256 =
      SignatureFileBuilder().sha256(Octets(32)).digestAlgorithms(both);

  EXPECT_EQ(Parsed(sha1).code, 0);
  EXPECT_EQ(Parsed(sha256).code, kNoSignatureDigest);
}

TEST(SignatureFile, InfoIsLeftAloneByAFileThatDoesNotParse) {
  const Octets file = SignatureFileBuilder().otherAttributes({}).encoding();
  SignatureInfo info;

  EXPECT_EQ(parseSignatureFile(file, info), kNoSignerKeyId);
  EXPECT_THAT(info.signedAttributes, IsEmpty());
}

TEST(SignatureFile, OctetsBehindTheOutermostElementAreIgnored) {
  Octets file = SignatureFileBuilder().encoding();
  file.insert(file.end(), {0x30, 0x83, 0x00});

  EXPECT_EQ(Parsed(file).code, 0);
}

TEST(SignatureFile, OctetsBehindAnIndefiniteOutermostElementAreIgnored) {
  const Octets sound = SignatureFileBuilder().encoding();
  const Octets parts(sound.begin() + 4, sound.end());
  const Octets cut = SignatureFileBuilder().otherAttributes({}).encoding();
  const Octets cutParts(cut.begin() + 4, cut.end());

  const Octets behind =
      DerBuilder()
          .raw(signatureAttribute(kSignerKeyId, DerBuilder().octetString(Octets(20))))
          .octets();

  EXPECT_EQ(Parsed(DerBuilder().indefinite(0x30, parts).raw(fromHex("30 83 00")).octets()).code, 0);
  EXPECT_EQ(Parsed(DerBuilder().indefinite(0x30, cutParts).raw(behind).octets()).code,
            kNoSignerKeyId);
}

TEST(SignatureFile, SignerKeyIdMayStandAmongTheSignedAttributes) {
  const Octets keyId(20, 0x34);
  const DerBuilder attributes =
      DerBuilder()
          .raw(signatureAttribute(kSignerKeyId, DerBuilder().octetString(keyId)))
          .raw(signatureAttribute(kContentType, DerBuilder().oid(kPackageContent)))
          .raw(signatureAttribute(kMessageDigest, DerBuilder().octetString(Octets(32))));

  const Parsed parsed(SignatureFileBuilder().attributes(attributes).otherAttributes({}));

  ASSERT_EQ(parsed.code, 0);
  EXPECT_THAT(parsed.info.signerKeyId, ElementsAreArray(keyId));
}

TEST(SignatureFile, SignerKeyIdBehindTheSignatureCountsFirst) {
  const Octets keyId(20, 0x34);
  const DerBuilder attributes =
      DerBuilder()
          .raw(signatureAttribute(kContentType, DerBuilder().oid(kPackageContent)))
          .raw(signatureAttribute(kMessageDigest, DerBuilder().octetString(Octets(32))))
          .raw(signatureAttribute(kSignerKeyId, DerBuilder().octetString(Octets(20, 0x99))));

  const Parsed parsed(SignatureFileBuilder().attributes(attributes).signerKeyId(keyId));

  ASSERT_EQ(parsed.code, 0);
  EXPECT_THAT(parsed.info.signerKeyId, ElementsAreArray(keyId));
}

TEST(SignatureFile, SignatureIsLookedForBehindTheSignedAttributes) {
  const DerBuilder attributes =
      DerBuilder()
          .raw(signatureAttribute(kContentType, DerBuilder().oid(kPackageContent)))
          .raw(signatureAttribute(kMessageDigest, DerBuilder().octetString(Octets(32))))
          .raw(signatureAttribute("1.2.840.113549.1.9.52", algorithmIdentifier(kRsaEncryption)));

  const Parsed parsed(SignatureFileBuilder()
                          .attributes(attributes)
                          .signature(DerBuilder().octetString(fromText("signature"))));

  ASSERT_EQ(parsed.code, 0);
  EXPECT_THAT(parsed.info.signature, ElementsAreArray(fromText("signature")));
}

// Attributes behind the signature: one that names an algorithm, and the key identifier.
DerBuilder otherAttributesNaming(std::string_view algorithm) {
  return DerBuilder().tagged(
      3, signatureAttribute("1.2.840.113549.1.9.52", algorithmIdentifier(algorithm))
             .raw(signatureAttribute(kSignerKeyId, DerBuilder().octetString(Octets(20)))));
}

TEST(SignatureFile, AttributesBehindTheSignatureMayNameItsAlgorithm) {
  const Parsed parsed(SignatureFileBuilder()
                          .signature(DerBuilder().octetString(fromText("signature")))
                          .otherAttributes(otherAttributesNaming(kRsaEncryption)));

  ASSERT_EQ(parsed.code, 0);
  EXPECT_THAT(parsed.info.signature, ElementsAreArray(fromText("signature")));
}

struct BrokenFile {
  const char* name;
  int code;
  SignatureFileBuilder builder;
};

class BrokenSignatureFile : public testing::TestWithParam<BrokenFile> {};

TEST_P(BrokenSignatureFile, IsRefusedWithItsCode) {
  EXPECT_EQ(Parsed(GetParam().builder).code, GetParam().code);
}

std::string nameOf(const testing::TestParamInfo<BrokenFile>& info) { return info.param.name; }

DerBuilder contentOf(std::string_view type, const DerBuilder& value) {
  return DerBuilder().sequence(DerBuilder().oid(type).tagged(0, value));
}

DerBuilder twoAttributes(const DerBuilder& type, const DerBuilder& digest) {
  return DerBuilder(signatureAttribute(kContentType, type))
      .raw(signatureAttribute(kMessageDigest, digest));
}

INSTANTIATE_TEST_SUITE_P(
    InTheOrderOfTheStructure, BrokenSignatureFile,
    testing::Values(
        BrokenFile{"OtherContentType", kNotSignedData,
                   SignatureFileBuilder().contentType(DerBuilder().oid("1.2.840.113549.1.7.1"))},
        BrokenFile{"Version1", kBadSignatureVersion,
                   SignatureFileBuilder().version(DerBuilder().integer(1))},
        BrokenFile{"Version3", kBadSignatureVersion,
                   SignatureFileBuilder().version(DerBuilder().integer(3))},
        BrokenFile{"VersionNoInteger", kBadSignatureVersion,
                   SignatureFileBuilder().version(DerBuilder().octetString(Octets{2}))},
        BrokenFile{"NoVersion", kBadSignatureVersion, SignatureFileBuilder().version({})},
        BrokenFile{"OtherDigest", kNoSignatureDigest,
                   SignatureFileBuilder().digestAlgorithms(
                       DerBuilder().set(algorithmIdentifier("1.2.840.113549.2.5")))},
        BrokenFile{"NoDigest", kNoSignatureDigest,
                   SignatureFileBuilder().digestAlgorithms(DerBuilder().set({}))},
        BrokenFile{
            "DigestOneLevelDown", kNoSignatureDigest,
            SignatureFileBuilder().digestAlgorithms(DerBuilder().set(DerBuilder().oid(kSha256)))},
        BrokenFile{"OtherContent", kNoSignedContent,
                   SignatureFileBuilder().content(contentOf("1.2.840.113549.1.7.1",
                                                            DerBuilder().ia5String("x")))},
        BrokenFile{"ContentNoIA5String", kNoSignedContent,
                   SignatureFileBuilder().content(contentOf(kPackageContent,
                                                            DerBuilder().octetString(Octets(3))))},
        BrokenFile{"ContentMissing", kNoSignedContent,
                   SignatureFileBuilder().content(
                       DerBuilder().sequence(DerBuilder().oid(kPackageContent)))},
        BrokenFile{"SignerVersion1", kBadSignatureVersion,
                   SignatureFileBuilder().signerVersion(DerBuilder().integer(1))},
        BrokenFile{"NoSignerVersion", kBadSignatureVersion,
                   SignatureFileBuilder().signerVersion({})},
        BrokenFile{"SignerDigestOther", kNoSignatureDigest,
                   SignatureFileBuilder().signerDigestAlgorithm(algorithmIdentifier(kSha1))},
        BrokenFile{"SignerWithoutMoreThanItsName", kNoSignatureDigest,
                   SignatureFileBuilder()
                       .signerDigestAlgorithm({})
                       .signedAttributes({})
                       .signatureAlgorithm({})
                       .signature({})
                       .otherAttributes({})},
        BrokenFile{"SignerDigestPrimitive", kNoSignatureDigest,
                   SignatureFileBuilder().signerDigestAlgorithm(DerBuilder().oid(kSha256))},
        BrokenFile{"SignerDigestInASignedAttribute", kNoSignatureDigest,
                   SignatureFileBuilder()
                       .attributes(signatureAttribute("1.2.840.113549.1.9.52",
                                                      algorithmIdentifier(kSha256))
                                       .raw(twoAttributes(DerBuilder().oid(kPackageContent),
                                                          DerBuilder().octetString(Octets(32)))))
                       .signerDigestAlgorithm(algorithmIdentifier("1.2.840.113549.2.5"))},
        BrokenFile{
            "DigestInAnAttributeOnly", kNoSignatureDigest,
            SignatureFileBuilder()
                .digestAlgorithms(DerBuilder().set(algorithmIdentifier("1.2.840.113549.2.5")))
                .otherAttributes(otherAttributesNaming(kSha256))},
        BrokenFile{"NoAttributes", kNoSignedAttributes,
                   SignatureFileBuilder().signedAttributes({})},
        BrokenFile{"AttributesInTag0", kNoSignedAttributes,
                   SignatureFileBuilder().signedAttributes(DerBuilder().tagged(
                       0, twoAttributes(DerBuilder().oid(kPackageContent),
                                        DerBuilder().octetString(Octets(32)))))},
        BrokenFile{"AttributesIndefinite", kNoSignedAttributes,
                   SignatureFileBuilder().signedAttributes(DerBuilder().indefinite(
                       0xA2, twoAttributes(DerBuilder().oid(kPackageContent),
                                           DerBuilder().octetString(Octets(32)))))},
        BrokenFile{"NoContentTypeAttribute", kBadContentType,
                   SignatureFileBuilder().attributes(
                       signatureAttribute(kMessageDigest, DerBuilder().octetString(Octets(32))))},
        BrokenFile{
            "OtherContentTypeAttribute", kBadContentType,
            SignatureFileBuilder().attributes(twoAttributes(
                DerBuilder().oid("1.2.840.113549.1.7.1"), DerBuilder().octetString(Octets(32))))},
        BrokenFile{"AttributesEmpty", kBadContentType, SignatureFileBuilder().attributes({})},
        BrokenFile{"NoMessageDigest", kNoSignatureDigest,
                   SignatureFileBuilder().attributes(
                       signatureAttribute(kContentType, DerBuilder().oid(kPackageContent)))},
        BrokenFile{
            "MessageDigestFirst", kNoSignatureDigest,
            SignatureFileBuilder().attributes(
                DerBuilder(signatureAttribute(kMessageDigest, DerBuilder().octetString(Octets(32))))
                    .raw(signatureAttribute(kContentType, DerBuilder().oid(kPackageContent))))},
        BrokenFile{"Sha256Of20Octets", kNoSignatureDigest,
                   SignatureFileBuilder().messageDigest(Octets(20))},
        BrokenFile{"Sha256Of20OctetsAndSignerOfSha1", kNoSignatureDigest,
                   SignatureFileBuilder()
                       .messageDigest(Octets(20))
                       .signerDigestAlgorithm(algorithmIdentifier(kSha1))},
        BrokenFile{"Sha256Of33Octets", kNoSignatureDigest,
                   SignatureFileBuilder().messageDigest(Octets(33))},
        BrokenFile{"Sha1Of32Octets", kNoSignatureDigest, SignatureFileBuilder().sha1(Octets(32))},
        BrokenFile{"NoSignatureAlgorithm", kNoRsaSignature,
                   SignatureFileBuilder().signatureAlgorithm({})},
        BrokenFile{"OtherSignatureAlgorithm", kNoRsaSignature,
                   SignatureFileBuilder().signatureAlgorithm(
                       algorithmIdentifier("1.2.840.113549.1.1.11"))},
        BrokenFile{
            "SignatureAlgorithmInASignedAttribute", kNoRsaSignature,
            SignatureFileBuilder()
                .attributes(twoAttributes(DerBuilder().oid(kPackageContent),
                                          DerBuilder().octetString(Octets(32)))
                                .raw(signatureAttribute("1.2.840.113549.1.9.52",
                                                        algorithmIdentifier(kRsaEncryption))))
                .signatureAlgorithm(algorithmIdentifier("1.2.840.113549.1.1.11"))},
        BrokenFile{"SignatureAlgorithmInAnotherAttribute", kNoRsaSignature,
                   SignatureFileBuilder()
                       .signatureAlgorithm(algorithmIdentifier("1.2.840.113549.1.1.11"))
                       .otherAttributes(otherAttributesNaming(kRsaEncryption))},
        BrokenFile{"NoSignature", kNoRsaSignature,
                   SignatureFileBuilder().signature({}).otherAttributes({})},
        BrokenFile{"SignatureIndefinite", kNoRsaSignature,
                   SignatureFileBuilder().signature(
                       DerBuilder().indefinite(0x24, DerBuilder().octetString(Octets(9))))},
        BrokenFile{"NoSignerKeyId", kNoSignerKeyId, SignatureFileBuilder().otherAttributes({})},
        BrokenFile{"SignerKeyIdWithoutValue", kNoSignerKeyId,
                   SignatureFileBuilder().otherAttributes(DerBuilder().tagged(
                       3, DerBuilder().sequence(DerBuilder().oid(kSignerKeyId))))},
        BrokenFile{"SignerKeyIdIndefinite", kNoSignerKeyId,
                   SignatureFileBuilder().otherAttributes(DerBuilder().tagged(
                       3, signatureAttribute(kSignerKeyId, DerBuilder().indefinite(0x24, {}))))}),
    nameOf);

TEST(SignatureFile, SignedDataMayStandBehindSomethingElse) {
  const DerBuilder type = DerBuilder().null().oid("1.2.840.113549.1.7.2");

  EXPECT_EQ(Parsed(SignatureFileBuilder().contentType(type)).code, 0);
}

TEST(SignatureFile, SignedDataMayBeTheFirstPartOfSomethingElse) {
  const DerBuilder type = DerBuilder().sequence(DerBuilder().oid("1.2.840.113549.1.7.2"));

  EXPECT_EQ(Parsed(SignatureFileBuilder().contentType(type)).code, 0);
}

TEST(SignatureFile, SignedDataMustNotLieDeepInside) {
  const Octets deep =
      DerBuilder()
          .sequence(DerBuilder().sequence(DerBuilder().null().oid("1.2.840.113549.1.7.2")))
          .octets();

  EXPECT_EQ(Parsed(deep).code, kNotSignedData);
}

TEST(SignatureFile, SecondSignerCountsForNothing) {
  const DerBuilder keyId = signatureAttribute(kSignerKeyId, DerBuilder().octetString(Octets(20)));
  const SignatureFileBuilder unnamed = SignatureFileBuilder().otherAttributes({});

  EXPECT_EQ(Parsed(SignatureFileBuilder(unnamed).otherSigners(DerBuilder().sequence(keyId))).code,
            kNoSignerKeyId);
}

TEST(SignatureFile, EmptyAndZeroFilesAreNoSignedData) {
  EXPECT_EQ(Parsed(Octets()).code, kNotSignedData);
  EXPECT_EQ(Parsed(Octets(std::size_t{1} << 20)).code, kNotSignedData);
}

TEST(SignatureFileVectors, OrdinaryFilesAreRefused) {
  for (const rapidjson::Document& vector : readVectors("pkcs7/files.jsonl")) {
    SCOPED_TRACE(vector["id"].GetString());
    const Parsed parsed(hexMember(vector, "der"));

    EXPECT_EQ(parsed.code, vector["expect"].GetInt()) << vector["why"].GetString();
  }
}

}  // namespace
}  // namespace wzapp
