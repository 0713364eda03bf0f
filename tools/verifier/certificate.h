/// Certificates (RFC 5280) as terminals take them.
#ifndef VERIFIER_CERTIFICATE_H
#define VERIFIER_CERTIFICATE_H

#include <string>
#include <string_view>
#include <vector>

#include "verifier/cause.h"
#include "verifier/rsa.h"

namespace verifier {

struct Certificate {
  std::string authorityKeyId;
  std::string subjectKeyId;
  std::string validFrom;  ///< YYYYMMDDhhmmss
  std::string validTo;
  std::string toBeSigned;
  std::string algorithm;  ///< dotted text of the outer one; empty when it is too long or none
  std::string signature;
  PublicKey key;
  std::vector<std::string> permissions;
};

/// Reads a certificate: good, or why it cannot be read (WZ-0210 to WZ-0232).
[[nodiscard]] Cause readCertificate(std::string_view der, Certificate& certificate);

/// Good when `issuer` has issued `certificate`; WZ-0240 when it is signed in another way than
/// terminals know, else the cause of checkSignature().
[[nodiscard]] Cause checkIssuer(const Certificate& certificate, const Certificate& issuer);

}  // namespace verifier

#endif  // VERIFIER_CERTIFICATE_H
