// The authorities of the campaign: a root, the nine rows of the table that the library takes, and
// the signers' keys, the same in every process.
#ifndef WZAPP_TESTS_AGREE_TRUSTED_KEYS_H
#define WZAPP_TESTS_AGREE_TRUSTED_KEYS_H

#include <array>
#include <cstdint>

#include "crypto/store/authorities.h"
#include "tests/agree/fixed_key.h"
#include "tests/builders/certificate_builder.h"

namespace wzapp_test {

inline constexpr std::array<std::int32_t, wzapp::kAuthorityCount> kRowKinds = {2, 2, 3, 4, 3,
                                                                               4, 2, 2, 2};
inline constexpr std::size_t kFreeRow = 0, kApplicationRow = 2, kManifestRow = 3;

const FixedKey& authorityKey();
Octets rowId(std::size_t row);
const Octets& rowCertificate(std::size_t row);
const Octets& rootCertificate();

// Keys of signers, of which one is too short for a digest of SHA-256, and two have the exponents 3
// and 17.
enum class SignerKey { kUsual, kShort, kExponent3, kExponent17, kStranger };
inline constexpr std::size_t kSignerKeys = 5;
const FixedKey& signerKey(SignerKey which);

// A certificate of a signer below a row of the table, without its signature.
CertificateBuilder signerCertificate(std::size_t row, const Octets& id, SignerKey key);

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_AGREE_TRUSTED_KEYS_H
