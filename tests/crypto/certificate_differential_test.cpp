// Certificates made by OpenSSL, with every extension in many sound and broken forms: the record is
// compared with what OpenSSL itself reads, the code with the first form that is not to be accepted.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "crypto/certificate/certificate_check.h"
#include "crypto/certificate/certificate_record.h"
#include "crypto/certificate/certificate_summary.h"
#include "crypto/der/oid.h"
#include "tests/builders/handle.h"
#include "tests/builders/test_key.h"
#include "tests/crypto/random_cases.h"

namespace wzapp {
namespace {

using testing::ElementsAreArray;
using wzapp_test::DerBuilder;
using wzapp_test::fromHex;
using wzapp_test::Handle;
using wzapp_test::Octets;
using wzapp_test::randomCaseCount;
using wzapp_test::RandomCases;
using wzapp_test::TestKey;

using X509Pointer = Handle<X509, X509_free>;
using ObjectPointer = Handle<ASN1_OBJECT, ASN1_OBJECT_free>;
using StringPointer = Handle<ASN1_OCTET_STRING, ASN1_OCTET_STRING_free>;
using ExtensionPointer = Handle<X509_EXTENSION, X509_EXTENSION_free>;
using ConstraintsPointer = Handle<BASIC_CONSTRAINTS, BASIC_CONSTRAINTS_free>;
using BitsPointer = Handle<ASN1_BIT_STRING, ASN1_BIT_STRING_free>;

Octets octetsOf(const ASN1_STRING* string) {
  const unsigned char* data = ASN1_STRING_get0_data(string);
  return {data, data + ASN1_STRING_length(string)};
}

// -------------------------------------------------------------------------------------------------

// One form of an extension's value: what parsing it gives, and what the record then holds.
struct Form {
  const char* oid;
  const char* value;
  int code;
};

constexpr const char* kSubjectKeyId = "2.5.29.14";
constexpr const char* kKeyUsage = "2.5.29.15";
constexpr const char* kConstraints = "2.5.29.19";
constexpr const char* kAuthorityKeyId = "2.5.29.35";
constexpr const char* kPrivate1 = "2.16.840.1.200000.1.1.1";
constexpr const char* kPrivate2 = "2.16.840.1.200000.1.1.2";
constexpr const char* kPrivate3 = "2.16.840.1.200000.1.1.3";
constexpr const char* kPrivate4 = "2.16.840.1.200000.1.1.4";
constexpr const char* kPrivate5 = "2.16.840.1.200000.1.1.5";
constexpr const char* kUnknown = "1.2.3.4";
constexpr const char* kOther = "1.3.6.1.5.5.7.1.1";
constexpr const char* kTooLong = "1.2.3.4.5.6.7.8.9.10.11.12.1334";

constexpr Form kSoundForms[] = {
    {kSubjectKeyId, "04 14 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10 11 12 13", 0},
    {kSubjectKeyId, "04 01 77", 0},
    {kKeyUsage, "03 02 01 06", 0},
    {kKeyUsage, "03 02 07 80", 0},
    {kKeyUsage, "03 03 07 00 80", 0},
    {kKeyUsage, "03 03 07 FF 80", 0},
    {kConstraints, "30 00", 0},
    {kConstraints, "30 03 01 01 FF", 0},
    {kConstraints, "30 06 01 01 FF 02 01 00", 0},
    {kConstraints, "30 07 01 01 FF 02 02 01 2C", 0},
    {kAuthorityKeyId, "30 06 80 04 01 02 03 04", 0},
    {kAuthorityKeyId, "30 0A 80 02 05 06 82 04 01 02 03 04", 0},
    {kPrivate1, "30 0C 01 01 FF 30 07 16 03 53 31 34 05 00", 0},
    {kPrivate1, "30 05 01 01 00 30 00", 0},
    {kPrivate1, "01 01 FF 30 05 16 03 53 31 31", 0},
    {kPrivate2, "01 01 00", 0},
    {kPrivate3, "02 02 7F FF", 0},
    {kPrivate4, "01 01 00", 0},
    {kPrivate5, "30 03 02 01 05", 0},
    {kUnknown, "05 00", 0},
    {kUnknown, "30 04 30 02 05 00", 0},
    {kOther, "0C 02 41 42 FF", 0},
};

constexpr Form kBrokenForms[] = {
    {kSubjectKeyId, "", kBadExtensionValue},
    {kSubjectKeyId, "04", kBadExtensionValue},
    {kSubjectKeyId, "04 02 01", kBadExtensionValue},
    {kSubjectKeyId, "30 03 04 01 01", kBadExtension},
    {kSubjectKeyId, "03 02 00 01", kBadExtension},
    {kKeyUsage, "03 01 00", kBadKeyUsage},
    {kKeyUsage, "03 00", kBadKeyUsage},
    {kKeyUsage, "03 04 00 FF 80 00", kBadKeyUsage},
    {kKeyUsage, "04 02 00 FF", kBadKeyUsage},
    {kKeyUsage, "23 04 03 02 00 FF", kBadKeyUsage},
    {kKeyUsage, "03 83 00 00 02 00 FF", kBadExtensionValue},
    {kConstraints, "30 03 02 01 00", kBadBasicConstraints},
    {kConstraints, "30 02 01 00", kBadBasicConstraints},
    {kConstraints, "30 04 01 02 FF FF", kBadBasicConstraints},
    {kConstraints, "30 06 01 01 FF 04 01 00", kBadBasicConstraints},
    {kConstraints, "30 05 01 01 FF 02 00", kBadBasicConstraints},
    {kConstraints, "30 0A 01 01 FF 02 05 00 00 00 00 01", kBadBasicConstraints},
    {kConstraints, "31 03 01 01 FF", kBadBasicConstraints},
    {kConstraints, "01 01 FF", kBadBasicConstraints},
    {kConstraints, "30 80 01 01 FF 00 00", kBadExtensionValue},
    {kAuthorityKeyId, "30 00", kBadAuthorityKeyId},
    {kAuthorityKeyId, "30 03 A1 01 00", kBadAuthorityKeyId},
    {kAuthorityKeyId, "30 04 A0 02 04 00", kBadAuthorityKeyId},
    {kAuthorityKeyId, "30 03 82 01 05", kBadAuthorityKeyId},
    {kAuthorityKeyId, "80 01 05", kBadAuthorityKeyId},
    {kAuthorityKeyId, "30 80", kBadExtensionValue},
    {kPrivate1, "30 03 01 01 FF", kBadPrivateExtension1},
    {kPrivate1, "01 01 FF", kBadPrivateExtension1},
    {kPrivate1, "30 07 02 01 01 30 02 16 00", kBadPrivateExtension1},
    {kPrivate1, "30 00", kBadPrivateExtension1},
    {kPrivate1, "30 07 01 01 FF 30 80 00 00", kBadPrivateExtension1},
    {kPrivate1, "16 03 53 31 34", kBadPrivateExtension1},
    {kPrivate2, "02 01 00", kBadPrivateExtension2},
    {kPrivate2, "01 00", kBadPrivateExtension2},
    {kPrivate3, "01 01 00", kBadExtensionValue},
    {kPrivate3, "02 00", kBadExtensionValue},
    {kPrivate3, "02 05 00 00 00 00 01", kBadExtensionValue},
    {kPrivate4, "05 00", kBadPrivateExtension4},
    {kPrivate4, "01 02 00 00", kBadPrivateExtension4},
    {kPrivate5, "", kBadExtensionValue},
    {kPrivate5, "30 02", kBadExtensionValue},
    {kUnknown, "", kBadExtensionValue},
    {kUnknown, "FF", kBadExtensionValue},
    {kTooLong, "05 00", kLongExtensionOid},
};

struct Chosen {
  Form form;
  bool critical;
};

bool isKnown(const std::string& oid) {
  static const std::set<std::string> kKnown{kSubjectKeyId,   kKeyUsage, kConstraints,
                                            kAuthorityKeyId, kPrivate1, kPrivate2,
                                            kPrivate3,       kPrivate4, kPrivate5};
  return kKnown.contains(oid);
}

// The code of the first extension that is not to be accepted; then of a missing key identifier.
int expectedCode(const std::vector<Chosen>& extensions) {
  std::set<std::string> seen;
  for (const Chosen& chosen : extensions) {
    const Form& form = chosen.form;
    if (form.code == kLongExtensionOid) return form.code;
    const bool valueCannotBeRead =
        form.code == kBadExtensionValue && std::string(form.oid) != kPrivate3;
    if (valueCannotBeRead) return form.code;
    if (!seen.insert(form.oid).second) return kDuplicateExtension;
    if (form.code != 0) return form.code;
    if (chosen.critical && !isKnown(form.oid)) return kUnknownCriticalExtension;
  }
  return seen.contains(kSubjectKeyId) && seen.contains(kAuthorityKeyId) ? 0 : kMissingKeyId;
}

// -------------------------------------------------------------------------------------------------

const TestKey& rsaKey() {
  static const TestKey key;
  return key;
}

void addExtension(X509* certificate, const Chosen& chosen) {
  const Octets value = fromHex(chosen.form.value);
  const ObjectPointer object(OBJ_txt2obj(chosen.form.oid, 1));
  const StringPointer string(ASN1_OCTET_STRING_new());
  ASN1_OCTET_STRING_set(string.get(), value.data(), static_cast<int>(value.size()));
  const ExtensionPointer extension(
      X509_EXTENSION_create_by_OBJ(nullptr, object.get(), chosen.critical ? 1 : 0, string.get()));
  ASSERT_EQ(X509_add_ext(certificate, extension.get(), -1), 1);
}

void addName(X509_NAME* name, const char* type, const std::string& value) {
  ASSERT_EQ(X509_NAME_add_entry_by_txt(name, type, MBSTRING_UTF8,
                                       reinterpret_cast<const unsigned char*>(value.data()),
                                       static_cast<int>(value.size()), -1, 0),
            1);
}

// A certificate with random content and these extensions, signed with `key`.
X509Pointer makeCertificate(RandomCases& random, const std::vector<Chosen>& extensions,
                            const TestKey& key) {
  X509Pointer certificate(X509_new());
  X509_set_version(certificate.get(), 2);
  Octets serial = random.octets(1 + random.below(20));
  serial[0] |= 1;
  ASN1_STRING_set(X509_get_serialNumber(certificate.get()), serial.data(),
                  static_cast<int>(serial.size()));
  const char* const times[] = {"500101000000Z", "491231235959Z", "20500101000000Z",
                               "21100101000000Z", "200229120000Z"};
  ASN1_TIME_set_string(X509_getm_notBefore(certificate.get()), times[random.below(5)]);
  ASN1_TIME_set_string(X509_getm_notAfter(certificate.get()), times[random.below(5)]);
  addName(X509_get_issuer_name(certificate.get()), "CN", "Issuer");
  X509_NAME* subject = X509_get_subject_name(certificate.get());
  for (const char* type : {"C", "O", "OU", "CN", "title"}) {
    if (random.oneIn(2))
      addName(subject, type, type[0] == 'C' && type[1] == 0 ? "XX" : "Some Name");
  }
  X509_set_pubkey(certificate.get(), rsaKey().get());
  for (const Chosen& chosen : extensions) addExtension(certificate.get(), chosen);
  const EVP_MD* const digests[] = {EVP_sha256(), EVP_sha1(), EVP_sha512()};
  EXPECT_GT(X509_sign(certificate.get(), key.get(), digests[random.below(3)]), 0);
  return certificate;
}

Octets encodingOf(const X509* certificate) {
  unsigned char* data = nullptr;
  const int length = i2d_X509(certificate, &data);
  const Octets octets(data, data + length);
  OPENSSL_free(data);
  return octets;
}

// Not the accessor that names, which builds on what OpenSSL accepts of the extensions.
Octets toBeSignedOf(X509* certificate) {
  unsigned char* data = nullptr;
  const int length = i2d_re_X509_tbs(certificate, &data);
  const Octets octets(data, data + length);
  OPENSSL_free(data);
  return octets;
}

// Content octets of a positive INTEGER.
Octets integerContent(Octets magnitude) {
  if (magnitude[0] >= 0x80) magnitude.insert(magnitude.begin(), 0);
  return magnitude;
}

void compareFields(X509* certificate, const CertificateRecord& record) {
  EXPECT_THAT(record.serialNumber,
              ElementsAreArray(integerContent(octetsOf(X509_get0_serialNumber(certificate)))));
  EXPECT_THAT(record.notBefore, ElementsAreArray(octetsOf(X509_get0_notBefore(certificate))));
  EXPECT_THAT(record.notAfter, ElementsAreArray(octetsOf(X509_get0_notAfter(certificate))));
  EXPECT_THAT(record.modulus, ElementsAreArray(rsaKey().modulus()));
  EXPECT_THAT(record.publicExponent, ElementsAreArray(rsaKey().exponent()));
  EXPECT_THAT(record.toBeSigned, ElementsAreArray(toBeSignedOf(certificate)));

  const ASN1_BIT_STRING* signature = nullptr;
  const X509_ALGOR* algorithm = nullptr;
  X509_get0_signature(&signature, &algorithm, certificate);
  const ASN1_OBJECT* object = nullptr;
  X509_ALGOR_get0(&object, nullptr, nullptr, algorithm);
  EXPECT_THAT(record.signature, ElementsAreArray(octetsOf(signature)));
  const unsigned char* oid = OBJ_get0_data(object);
  EXPECT_THAT(record.signatureAlgorithm, ElementsAreArray(Octets(oid, oid + OBJ_length(object))));
}

void compareExtensions(X509* certificate, const CertificateRecord& record) {
  EXPECT_THAT(record.subjectKeyId,
              ElementsAreArray(octetsOf(X509_get0_subject_key_id(certificate))));
  EXPECT_THAT(record.authorityKeyId,
              ElementsAreArray(octetsOf(X509_get0_authority_key_id(certificate))));
  const ConstraintsPointer constraints(static_cast<BASIC_CONSTRAINTS*>(
      X509_get_ext_d2i(certificate, NID_basic_constraints, nullptr, nullptr)));
  EXPECT_EQ(record.isAuthority != 0, constraints != nullptr && constraints->ca != 0);
  const bool hasLength = constraints != nullptr && constraints->pathlen != nullptr;
  EXPECT_EQ(record.pathLength.has_value(), hasLength);
  if (hasLength) {
    EXPECT_EQ(record.pathLength, ASN1_INTEGER_get(constraints->pathlen));
  }

  const BitsPointer usage(static_cast<ASN1_BIT_STRING*>(
      X509_get_ext_d2i(certificate, NID_key_usage, nullptr, nullptr)));
  for (std::size_t bit = 0; bit < kKeyUsages; ++bit) {
    const bool byDefault = bit == kDigitalSignature || bit == kKeyCertSign;
    const bool expected = usage == nullptr
                              ? byDefault
                              : ASN1_BIT_STRING_get_bit(usage.get(), static_cast<int>(bit)) != 0;
    EXPECT_EQ(record.keyUsage[bit] != 0, expected) << bit;
  }
}

void comparePrivateExtensions(const std::vector<Chosen>& extensions,
                              const CertificateRecord& record) {
  const auto valueOf = [&extensions](const std::string& oid) {
    for (const Chosen& chosen : extensions) {
      if (oid == chosen.form.oid) return fromHex(chosen.form.value);
    }
    return Octets();
  };
  const auto endsWith = [](const Octets& whole, ByteView end) {
    return whole.size() >= end.size() && std::equal(end.rbegin(), end.rend(), whole.rbegin());
  };
  const Octets permissions = valueOf(kPrivate1);
  EXPECT_EQ(record.permissions.empty(), permissions.empty());
  EXPECT_TRUE(endsWith(permissions, record.permissions));
  EXPECT_EQ(record.privateExtension2, valueOf(kPrivate2).empty() ? 1 : 0);
  EXPECT_EQ(record.privateExtension3, valueOf(kPrivate3).empty() ? 255 : 32767);
  EXPECT_EQ(record.privateExtension4, valueOf(kPrivate4).empty() ? 1 : 0);
  EXPECT_THAT(record.privateExtension5, ElementsAreArray(valueOf(kPrivate5)));
}

std::vector<Chosen> chooseExtensions(RandomCases& random) {
  std::vector<Chosen> chosen;
  const bool isSound = random.oneIn(2);
  std::set<std::string> taken;
  for (std::size_t count = 2 + random.below(10); count > 0; --count) {
    const bool breaks = !isSound && random.oneIn(6);
    const Form& form = breaks ? kBrokenForms[random.below(std::size(kBrokenForms))]
                              : kSoundForms[random.below(std::size(kSoundForms))];
    // A second copy, and what is critical and unknown, now and then only.
    if (!taken.insert(form.oid).second && (isSound || !random.oneIn(4))) continue;
    const bool critical =
        random.oneIn(isKnown(form.oid) ? 2 : 6) && (isKnown(form.oid) || !isSound);
    chosen.push_back({form, critical});
  }
  return chosen;
}

TEST(CertificateDifferential, RecordsAgreeWithOpenSsl) {
  RandomCases random(34);
  std::set<int> codes;
  int accepted = 0;
  for (std::size_t i = 0; i < randomCaseCount(500); ++i) {
    const std::vector<Chosen> extensions = chooseExtensions(random);
    const X509Pointer certificate = makeCertificate(random, extensions, rsaKey());
    const Octets der = encodingOf(certificate.get());
    CertificateRecord record;

    const int code = parseCertificate(der, record);

    codes.insert(code);
    ASSERT_EQ(code, expectedCode(extensions)) << i;
    if (code != 0) continue;
    ++accepted;
    compareFields(certificate.get(), record);
    compareExtensions(certificate.get(), record);
    comparePrivateExtensions(extensions, record);
    if (HasFailure()) FAIL() << i;
  }
  EXPECT_GT(accepted, 50);
  EXPECT_THAT(codes,
              testing::IsSupersetOf(
                  {0, static_cast<int>(kMissingKeyId), static_cast<int>(kUnknownCriticalExtension),
                   static_cast<int>(kDuplicateExtension), static_cast<int>(kLongExtensionOid),
                   static_cast<int>(kBadExtensionValue)}));
}

// Every form alone behind both key identifiers, critical and not.
TEST(CertificateDifferential, EveryFormHasItsCode) {
  RandomCases random(35);
  const Chosen subject{kSoundForms[0], false};
  const Chosen authority{{kAuthorityKeyId, "30 06 80 04 01 02 03 04", 0}, false};
  std::vector<Form> forms(std::begin(kSoundForms), std::end(kSoundForms));
  forms.insert(forms.end(), std::begin(kBrokenForms), std::end(kBrokenForms));
  for (const Form& form : forms) {
    for (const bool critical : {false, true}) {
      std::vector<Chosen> extensions{{form, critical}};
      if (std::string(form.oid) != kSubjectKeyId) extensions.push_back(subject);
      if (std::string(form.oid) != kAuthorityKeyId) extensions.push_back(authority);
      const X509Pointer certificate = makeCertificate(random, extensions, rsaKey());
      CertificateRecord record;

      EXPECT_EQ(parseCertificate(encodingOf(certificate.get()), record), expectedCode(extensions))
          << form.oid << ": " << form.value << (critical ? ", critical" : "");
    }
  }
}

TEST(CertificateDifferential, ChecksAgreeWithOpenSsl) {
  RandomCases random(36);
  const TestKey other;
  const Chosen subject{{kSubjectKeyId, "04 02 05 06", 0}, false};
  const Chosen authorityId{{kAuthorityKeyId, "30 04 80 02 05 06", 0}, false};
  const X509Pointer authority = makeCertificate(random, {subject, authorityId}, rsaKey());
  const Octets authorityDer = encodingOf(authority.get());
  int valid = 0;
  for (std::size_t i = 0; i < randomCaseCount(300); ++i) {
    const bool isOther = random.oneIn(3);
    const X509Pointer certificate =
        makeCertificate(random, {subject, authorityId}, isOther ? other : rsaKey());
    const bool isSupported =
        X509_get_signature_nid(certificate.get()) != NID_sha512WithRSAEncryption;

    const int result = checkAgainstAuthority(encodingOf(certificate.get()), authorityDer);

    const int verified = X509_verify(certificate.get(), rsaKey().get()) == 1 ? 1 : 0;
    ASSERT_EQ(result, isSupported ? verified : kCertificateRefused) << i;
    valid += result == 1 ? 1 : 0;
  }
  EXPECT_GT(valid, 50);
}

// Another algorithm's key is refused whatever else the certificate holds.
TEST(CertificateDifferential, OtherKeysAreRefused) {
  RandomCases random(37);
  const Chosen subject{kSoundForms[0], false};
  const X509Pointer certificate = makeCertificate(random, {subject}, rsaKey());
  for (const char* algorithm : {"EC", "ED25519"}) {
    EVP_PKEY* key = std::string(algorithm) == "EC"
                        ? EVP_PKEY_Q_keygen(nullptr, nullptr, algorithm, "P-256")
                        : EVP_PKEY_Q_keygen(nullptr, nullptr, algorithm);
    ASSERT_NE(key, nullptr);
    X509_set_pubkey(certificate.get(), key);
    EVP_PKEY_free(key);
    X509_sign(certificate.get(), rsaKey().get(), EVP_sha256());
    CertificateRecord record;

    EXPECT_EQ(parseCertificate(encodingOf(certificate.get()), record), kBadPublicKey) << algorithm;
  }
}

TEST(CertificateDifferential, OtherVersionsAreRefused) {
  RandomCases random(38);
  const Chosen subject{kSoundForms[0], false};
  const X509Pointer certificate = makeCertificate(random, {subject}, rsaKey());
  for (const long version : {0L, 1L, 3L}) {
    X509_set_version(certificate.get(), version);
    X509_sign(certificate.get(), rsaKey().get(), EVP_sha256());
    CertificateRecord record;

    EXPECT_EQ(parseCertificate(encodingOf(certificate.get()), record), kBadVersion) << version;
  }
}

}  // namespace
}  // namespace wzapp
