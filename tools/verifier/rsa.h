/// RSA signatures (RFC 8017, EMSA-PKCS1-v1_5) and digests (FIPS 180-4), by OpenSSL.
#ifndef VERIFIER_RSA_H
#define VERIFIER_RSA_H

#include <string>
#include <string_view>

#include "verifier/cause.h"

namespace verifier {

enum class Digest { kSha1, kSha256 };

[[nodiscard]] std::string digestOf(Digest algorithm, std::string_view octets);

/// Big-endian numbers as a certificate has them, without the zero octet that keeps one positive.
struct PublicKey {
  std::string modulus;
  std::string exponent;
};

/// Good when `signature` is that of `octets`; WZ-0311 when not, WZ-0334 and WZ-0335 when the key
/// is too long or too short to tell. Terminals know the exponents 3 and 65537 and take the first
/// for any exponent of one octet; of a signature they read as many octets as the modulus has, zeros
/// where it has fewer.
[[nodiscard]] Cause checkSignature(const PublicKey& key, Digest algorithm, std::string_view octets,
                                   std::string_view signature);

}  // namespace verifier

#endif  // VERIFIER_RSA_H
