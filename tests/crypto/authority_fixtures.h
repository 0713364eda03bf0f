// A small public key infrastructure: two terminal roots, and nine authorities below them that are
// what this program's authorities() gives.
//
// Real RSA keys of 2048 bits, made once a process. Several certificates share one: whose a
// certificate is, is told by the key identifiers, and the signature is what is checked.
#ifndef WZAPP_TESTS_CRYPTO_AUTHORITY_FIXTURES_H
#define WZAPP_TESTS_CRYPTO_AUTHORITY_FIXTURES_H

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "crypto/store/authorities.h"
#include "tests/builders/certificate_builder.h"
#include "tests/builders/test_key.h"

namespace wzapp_test {

const TestKey& rootKey();
const TestKey& authorityKey();
const TestKey& strangerKey();  // of nobody who is trusted

// Key identifiers of 20 octets: that of the roots, 0 and 1, and of the authorities, by row.
Octets rootId(std::size_t root = 0);
Octets authorityId(std::size_t row);

// Uppercase hexadecimal, as the store takes it.
std::string hexOf(const Octets& octets);

// A certificate without extensions other than its identifiers, valid from 2016 to 2110.
CertificateBuilder issuedCertificate(const Octets& issuerId, const Octets& id,
                                     std::string_view serial);

Octets signedBy(const TestKey& key, const CertificateBuilder& builder,
                TestKey::Digest digest = TestKey::Digest::kSha256);

// Root 0 has issued the authorities but the last one, which root 1 has. Their serials as the
// summaries write them are "000001" and "000002".
const Octets& rootCertificate(std::size_t root = 0);

// The authorities, of which the summaries write the serials "207820" to "207828" in row order.
const Octets& authorityCertificate(std::size_t row);
inline constexpr std::array<std::int32_t, wzapp::kAuthorityCount> kAuthorityKinds = {2, 2, 3, 4, 3,
                                                                                     4, 2, 2, 2};
// The first row of each kind.
inline constexpr std::size_t kSignerRow = 0;
inline constexpr std::size_t kApplicationRow = 2;
inline constexpr std::size_t kManifestRow = 3;

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_CRYPTO_AUTHORITY_FIXTURES_H
