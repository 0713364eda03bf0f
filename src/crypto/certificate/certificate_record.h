// What a certificate holds (X.509 version 3, RFC 5280, with the private extensions of this
// system), as views of its DER octets.
#ifndef WZAPP_CRYPTO_CERTIFICATE_CERTIFICATE_RECORD_H
#define WZAPP_CRYPTO_CERTIFICATE_CERTIFICATE_RECORD_H

#include <array>
#include <cstdint>
#include <optional>

#include "support/byte_view.h"

namespace wzapp {

// Why a certificate does not parse.
enum CertificateError : int {
  kBadVersion = -102,    // version missing, not [0], or not 2
  kBadPublicKey = -103,  // RSA key missing or malformed
  kMissingKeyId = -104,  // authority or subject key identifier missing or empty
  kUnknownCriticalExtension = -105,
  kBadPrivateExtension4 = -107,
  kBadAuthorityKeyId = -108,  // not in the [0] form
  kBadPrivateExtension1 = -109,
  kBadBasicConstraints = -110,
  kDuplicateExtension = -111,
  kBadExtension = -112,      // extensions missing, or an extension malformed
  kLongExtensionOid = -113,  // text of more than 30 characters
  kBadPrivateExtension2 = -114,
  kBadExtensionValue = -115,  // value does not parse, or private extension 3 malformed
  kBadKeyUsage = -116,
  kBadOuterSignature = -117,  // outer signature algorithm or signature malformed
  kNoToBeSigned = -118,
  kNoSerialNumber = -119,
  kNoValidity = -122,
};

// Bits of the key usage extension, in their order.
enum KeyUsage : std::size_t {
  kDigitalSignature,
  kNonRepudiation,
  kKeyEncipherment,
  kDataEncipherment,
  kKeyAgreement,
  kKeyCertSign,
  kCRLSign,
  kEncipherOnly,
  kDecipherOnly,
  kKeyUsages,
};

// The views are of the octets that were parsed and good as long as those. The values beside a
// field are what holds without its extension.
struct CertificateRecord {
  ByteView serialNumber;
  ByteView notBefore;
  ByteView notAfter;
  ByteView subjectUniqueLabel;  // without its unused-bits octet; empty: there is none
  ByteView modulus;             // without one leading zero octet
  ByteView publicExponent;      // without one leading zero octet
  ByteView authorityKeyId;
  ByteView subjectKeyId;
  ByteView signature;   // without its unused-bits octet
  ByteView toBeSigned;  // with its header: what the issuer signed
  std::array<std::uint8_t, kKeyUsages> keyUsage{1, 0, 0, 0, 0, 1, 0, 0, 0};
  std::int32_t isAuthority = 0;
  std::optional<std::int32_t> pathLength;
  std::int32_t privateExtension1 = 0;
  ByteView permissions;  // the element behind that flag, with its header: the signing permissions
  std::int32_t privateExtension2 = 1;
  std::int32_t privateExtension3 = 255;
  std::int32_t privateExtension4 = 1;
  ByteView privateExtension5;   // with its header
  ByteView subjectLabelValue;   // of the attribute that the unique label selects
  ByteView signatureAlgorithm;  // content of the outer OID
};

// Reads a certificate. The octets behind its outermost element are ignored.
//
// One pass over the text; nothing is allocated but for the extensions beyond the 32nd. Any thread
// may parse.
//
// `record` is filled only on success.
// Returns 0 or a CertificateError; the first that applies in the order of the text.
[[nodiscard]] int parseCertificate(ByteView der, CertificateRecord& record);

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_CERTIFICATE_CERTIFICATE_RECORD_H
