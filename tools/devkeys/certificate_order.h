/// Makes the certificates of a key directory (X.509 version 3, RFC 5280), by OpenSSL: RSA keys,
/// signed with sha256WithRSAEncryption, both key identifiers, basic constraints, key usage, and the
/// signing permissions where there are any.
#ifndef DEVKEYS_CERTIFICATE_ORDER_H
#define DEVKEYS_CERTIFICATE_ORDER_H

#include <string>
#include <vector>

#include "devkeys/rsa_key.h"

namespace devkeys {

enum class Role {
  kRoot,       ///< signs itself and authorities
  kAuthority,  ///< signs signers, and packages
  kSigner,     ///< signs packages
};

/// What a certificate is to say.
struct CertificateOrder {
  Role role;
  std::string name;       ///< the subject's, DER
  std::string serial;     ///< the octets of the serial number, the first one not above 0x7F
  std::string notBefore;  ///< YYYYMMDDhhmmssZ
  std::string notAfter;   ///< YYYYMMDDhhmmssZ
  std::vector<std::string> permissions;  ///< "S14", "S11"; empty: without that extension
};

/// Who signs it.
struct Issuer {
  const RsaKey& key;
  std::string name;           ///< DER
  std::string keyIdentifier;  ///< octets
};

/// A name, DER: `commonName` below names that say: development only. Throws KeyError.
[[nodiscard]] std::string developmentName(const std::string& commonName);

/// What an issuer's certificate says of it.
struct IssuerFacts {
  std::string name;           ///< the subject's, DER
  std::string keyIdentifier;  ///< octets; empty: it has none
  std::string notAfter;       ///< YYYYMMDDhhmmssZ
};

/// Reads a certificate. Throws KeyError when it is none, or is not that of `key`.
[[nodiscard]] IssuerFacts readIssuer(const std::string& der, const RsaKey& key);

/// Whether a certificate names another one as its issuer, by key identifiers. False where one of
/// them cannot be read.
[[nodiscard]] bool isNamedIssuer(const std::string& der, const std::string& issuerDer);

/// The name `name` with another common name. Throws KeyError.
[[nodiscard]] std::string withCommonName(const std::string& name, const std::string& commonName);

/// The octets of a serial number that a terminal shows as this: it does so last to first.
[[nodiscard]] std::string serialOctets(const std::string& shown);

/// The serial number of a certificate as a terminal shows it; empty: it is none.
[[nodiscard]] std::string shownSerial(const std::string& der);

/// Makes the certificate of `subject`. An issuer with that same key makes it a self-signed one.
/// The result is DER. Throws KeyError.
[[nodiscard]] std::string makeCertificate(const CertificateOrder& order, const RsaKey& subject,
                                          const Issuer& issuer);

}  // namespace devkeys

#endif  // DEVKEYS_CERTIFICATE_ORDER_H
