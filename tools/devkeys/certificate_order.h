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
  std::string commonName;
  std::string serial;     ///< the octets of the serial number, the first one not above 0x7F
  std::string notBefore;  ///< YYYYMMDDhhmmssZ
  std::string notAfter;   ///< YYYYMMDDhhmmssZ
  std::vector<std::string> permissions;  ///< "S14", "S11"; empty: without that extension
};

/// Who signs it.
struct Issuer {
  const RsaKey& key;
  std::string commonName;
};

/// Makes the certificate of `subject`. An issuer with that same key makes it a self-signed one.
/// The subject's name is `commonName` below names that say: development only. The result is DER.
/// Throws KeyError.
[[nodiscard]] std::string makeCertificate(const CertificateOrder& order, const RsaKey& subject,
                                          const Issuer& issuer);

}  // namespace devkeys

#endif  // DEVKEYS_CERTIFICATE_ORDER_H
