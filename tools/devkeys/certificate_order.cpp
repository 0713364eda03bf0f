#include "devkeys/certificate_order.h"

#include <openssl/asn1.h>
#include <openssl/bn.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <cstddef>
#include <ctime>
#include <memory>

namespace devkeys {
namespace {

constexpr char kOrganisation[] = "Development keys";
constexpr char kUnit[] = "Not for terminals";
constexpr char kPermissionsOid[] = "2.16.840.1.200000.1.1.1";

template <auto release>
struct Freed {
  template <typename Object>
  void operator()(Object* object) const {
    release(object);
  }
};

template <typename Object, auto release>
using Handle = std::unique_ptr<Object, Freed<release>>;

using OctetString = Handle<ASN1_OCTET_STRING, ASN1_OCTET_STRING_free>;

OctetString octetString(const std::string& octets) {
  OctetString string(ASN1_OCTET_STRING_new());
  require(
      string != nullptr &&
          ASN1_OCTET_STRING_set(string.get(), reinterpret_cast<const unsigned char*>(octets.data()),
                                static_cast<int>(octets.size())) == 1,
      "an octet string");
  return string;
}

void addExtension(X509* certificate, int nid, void* value, bool critical) {
  require(X509_add1_ext_i2d(certificate, nid, value, critical ? 1 : 0, X509V3_ADD_DEFAULT) == 1,
          "an extension");
}

// ---- The parts, in the order of a certificate --------------------------------------------------

void setSerial(X509* certificate, const std::string& serial) {
  const Handle<BIGNUM, BN_free> number(
      BN_bin2bn(reinterpret_cast<const unsigned char*>(serial.data()),
                static_cast<int>(serial.size()), nullptr));
  require(number != nullptr && BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate)),
          "a serial number");
}

using Name = Handle<X509_NAME, X509_NAME_free>;

Name readName(const std::string& der) {
  const auto* octets = reinterpret_cast<const unsigned char*>(der.data());
  Name name(d2i_X509_NAME(nullptr, &octets, static_cast<long>(der.size())));
  require(name != nullptr, "a name");
  return name;
}

void addToName(X509_NAME* name, const char* type, const std::string& text) {
  require(name != nullptr &&
              X509_NAME_add_entry_by_txt(name, type, MBSTRING_UTF8,
                                         reinterpret_cast<const unsigned char*>(text.data()),
                                         static_cast<int>(text.size()), -1, 0) == 1,
          "a name");
}

std::string derOf(const X509_NAME* name) {
  unsigned char* octets = nullptr;
  const int size = i2d_X509_NAME(name, &octets);
  require(size > 0, "a name");
  std::string der(reinterpret_cast<const char*>(octets), static_cast<std::size_t>(size));
  OPENSSL_free(octets);
  return der;
}

using Certificate = Handle<X509, X509_free>;

Certificate readCertificate(const std::string& der) {
  const auto* octets = reinterpret_cast<const unsigned char*>(der.data());
  Certificate certificate(d2i_X509(nullptr, &octets, static_cast<long>(der.size())));
  ERR_clear_error();
  return certificate;
}

// As UTCTime until 2049 and GeneralizedTime from then on, as RFC 5280 has it.
void setValidity(X509* certificate, const CertificateOrder& order) {
  require(ASN1_TIME_set_string_X509(X509_getm_notBefore(certificate), order.notBefore.c_str()) &&
              ASN1_TIME_set_string_X509(X509_getm_notAfter(certificate), order.notAfter.c_str()),
          "a time of validity");
}

void addBasicConstraints(X509* certificate, Role role) {
  const Handle<BASIC_CONSTRAINTS, BASIC_CONSTRAINTS_free> constraints(BASIC_CONSTRAINTS_new());
  require(constraints != nullptr, "basic constraints");
  constraints->ca = role == Role::kSigner ? 0 : 0xFF;
  if (role == Role::kAuthority) {  // below it are signers only
    constraints->pathlen = ASN1_INTEGER_new();
    require(constraints->pathlen != nullptr && ASN1_INTEGER_set(constraints->pathlen, 0) == 1,
            "basic constraints");
  }
  addExtension(certificate, NID_basic_constraints, constraints.get(), true);
}

void addKeyUsage(X509* certificate, Role role) {
  constexpr int kDigitalSignature = 0, kCertSign = 5, kCrlSign = 6;  // bits, by RFC 5280
  const Handle<ASN1_BIT_STRING, ASN1_BIT_STRING_free> usage(ASN1_BIT_STRING_new());
  const auto allow = [&usage](int bit) {
    require(usage != nullptr && ASN1_BIT_STRING_set_bit(usage.get(), bit, 1) == 1, "a key usage");
  };
  if (role != Role::kRoot) allow(kDigitalSignature);
  if (role != Role::kSigner) {
    allow(kCertSign);
    allow(kCrlSign);
  }
  addExtension(certificate, NID_key_usage, usage.get(), true);
}

void addKeyIdentifiers(X509* certificate, const RsaKey& subject, const Issuer& issuer) {
  const OctetString subjectId = octetString(subject.identifier());
  addExtension(certificate, NID_subject_key_identifier, subjectId.get(), false);
  const Handle<AUTHORITY_KEYID, AUTHORITY_KEYID_free> authorityId(AUTHORITY_KEYID_new());
  require(authorityId != nullptr, "a key identifier");
  authorityId->keyid = octetString(issuer.keyIdentifier).release();
  addExtension(certificate, NID_authority_key_identifier, authorityId.get(), false);
}

std::string element(char identifier, const std::string& content) {
  require(content.size() < 0x80, "an element of more than 127 octets");
  return std::string{identifier, static_cast<char>(content.size())} + content;
}

// SEQUENCE { BOOLEAN TRUE, SEQUENCE OF IA5String }
std::string permissionList(const std::vector<std::string>& permissions) {
  constexpr char kBoolean = 0x01, kIA5String = 0x16, kSequence = 0x30;
  std::string texts;
  for (const std::string& permission : permissions) texts += element(kIA5String, permission);
  return element(kSequence, element(kBoolean, "\xFF") + element(kSequence, texts));
}

void addPermissions(X509* certificate, const std::vector<std::string>& permissions) {
  if (permissions.empty()) return;
  const Handle<ASN1_OBJECT, ASN1_OBJECT_free> type(OBJ_txt2obj(kPermissionsOid, 1));
  require(type != nullptr, "an object identifier");
  const OctetString value = octetString(permissionList(permissions));
  const Handle<X509_EXTENSION, X509_EXTENSION_free> extension(
      X509_EXTENSION_create_by_OBJ(nullptr, type.get(), 0, value.get()));
  require(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1,
          "the extension of permissions");
}

std::string derOf(const X509* certificate) {
  unsigned char* octets = nullptr;
  const int size = i2d_X509(certificate, &octets);
  require(size > 0, "the octets of a certificate");
  std::string der(reinterpret_cast<const char*>(octets), static_cast<std::size_t>(size));
  OPENSSL_free(octets);
  return der;
}

// As orders have it.
std::string timeText(const ASN1_TIME* time) {
  std::tm utc{};
  require(ASN1_TIME_to_tm(time, &utc) == 1, "a time of validity");
  char text[32];
  return std::string(text, std::strftime(text, sizeof(text), "%Y%m%d%H%M%SZ", &utc));
}

}  // namespace

std::string developmentName(const std::string& commonName) {
  const Name name(X509_NAME_new());
  addToName(name.get(), "O", kOrganisation);
  addToName(name.get(), "OU", kUnit);
  addToName(name.get(), "CN", commonName);
  return derOf(name.get());
}

std::string withCommonName(const std::string& name, const std::string& commonName) {
  const Name changed = readName(name);
  for (int i = X509_NAME_get_index_by_NID(changed.get(), NID_commonName, -1); i >= 0;
       i = X509_NAME_get_index_by_NID(changed.get(), NID_commonName, -1)) {
    X509_NAME_ENTRY_free(X509_NAME_delete_entry(changed.get(), i));
  }
  addToName(changed.get(), "CN", commonName);
  return derOf(changed.get());
}

IssuerFacts readIssuer(const std::string& der, const RsaKey& key) {
  const Certificate certificate = readCertificate(der);
  if (certificate == nullptr) throw KeyError("the authority's file is no certificate");
  if (X509_check_private_key(certificate.get(), key.get()) != 1) {
    ERR_clear_error();
    throw KeyError("the key beside the authority's certificate is that of another one");
  }
  IssuerFacts facts;
  facts.name = derOf(X509_get_subject_name(certificate.get()));
  if (const ASN1_OCTET_STRING* const id = X509_get0_subject_key_id(certificate.get())) {
    facts.keyIdentifier.assign(reinterpret_cast<const char*>(ASN1_STRING_get0_data(id)),
                               static_cast<std::size_t>(ASN1_STRING_length(id)));
  }
  facts.notAfter = timeText(X509_get0_notAfter(certificate.get()));
  return facts;
}

bool isNamedIssuer(const std::string& der, const std::string& issuerDer) {
  const Certificate certificate = readCertificate(der), issuer = readCertificate(issuerDer);
  if (certificate == nullptr || issuer == nullptr) return false;
  const ASN1_OCTET_STRING* const named = X509_get0_authority_key_id(certificate.get());
  const ASN1_OCTET_STRING* const own = X509_get0_subject_key_id(issuer.get());
  return named != nullptr && own != nullptr && ASN1_OCTET_STRING_cmp(named, own) == 0;
}

std::string serialOctets(const std::string& shown) { return {shown.rbegin(), shown.rend()}; }

std::string shownSerial(const std::string& der) {
  const Certificate certificate = readCertificate(der);
  if (certificate == nullptr) return {};
  const ASN1_INTEGER* const serial = X509_get0_serialNumber(certificate.get());
  const auto* const octets = ASN1_STRING_get0_data(serial);
  const std::string text(reinterpret_cast<const char*>(octets),
                         static_cast<std::size_t>(ASN1_STRING_length(serial)));
  return {text.rbegin(), text.rend()};
}

std::string makeCertificate(const CertificateOrder& order, const RsaKey& subject,
                            const Issuer& issuer) {
  const Handle<X509, X509_free> certificate(X509_new());
  require(certificate != nullptr && X509_set_version(certificate.get(), X509_VERSION_3) == 1,
          "a certificate");
  setSerial(certificate.get(), order.serial);
  require(X509_set_issuer_name(certificate.get(), readName(issuer.name).get()) == 1,
          "the issuer's name");
  setValidity(certificate.get(), order);
  require(X509_set_subject_name(certificate.get(), readName(order.name).get()) == 1,
          "the subject's name");
  require(X509_set_pubkey(certificate.get(), subject.get()) == 1, "a public key");
  addBasicConstraints(certificate.get(), order.role);
  addKeyUsage(certificate.get(), order.role);
  addKeyIdentifiers(certificate.get(), subject, issuer);
  addPermissions(certificate.get(), order.permissions);
  require(X509_sign(certificate.get(), issuer.key.get(), EVP_sha256()) > 0, "a signature");
  return derOf(certificate.get());
}

}  // namespace devkeys
