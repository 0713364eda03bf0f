#include "tests/crypto/authority_fixtures.h"

#include <algorithm>

namespace wzapp_test {
namespace {

constexpr std::size_t kRoots = 2;
constexpr std::size_t kRowOfOtherRoot = 8;

Octets makeRoot(std::size_t root) {
  const Octets id = rootId(root);
  return signedBy(rootKey(), issuedCertificate(id, id, root == 0 ? "000001" : "000002")
                                 .rsaKey(rootKey().modulus(), rootKey().exponent()));
}

Octets makeAuthority(std::size_t row) {
  const std::string serial = "20782" + std::to_string(row);
  return signedBy(
      rootKey(), issuedCertificate(rootId(row == kRowOfOtherRoot ? 1 : 0), authorityId(row), serial)
                     .rsaKey(authorityKey().modulus(), authorityKey().exponent()));
}

template <std::size_t kCount>
std::array<Octets, kCount> makeAll(Octets (*make)(std::size_t)) {
  std::array<Octets, kCount> all;
  for (std::size_t i = 0; i < kCount; ++i) all[i] = make(i);
  return all;
}

}  // namespace

const TestKey& rootKey() {
  static const TestKey key(2048);
  return key;
}

const TestKey& authorityKey() {
  static const TestKey key(2048);
  return key;
}

const TestKey& strangerKey() {
  static const TestKey key(2048);
  return key;
}

Octets rootId(std::size_t root) { return Octets(20, static_cast<std::uint8_t>(0xA0 + root)); }

Octets authorityId(std::size_t row) { return Octets(20, static_cast<std::uint8_t>(0x10 + row)); }

std::string hexOf(const Octets& octets) {
  std::string text;
  for (const std::uint8_t octet : octets) {
    text += "0123456789ABCDEF"[octet >> 4];
    text += "0123456789ABCDEF"[octet & 15];
  }
  return text;
}

CertificateBuilder issuedCertificate(const Octets& issuerId, const Octets& id,
                                     std::string_view serial) {
  Octets octets = fromText(serial);
  std::reverse(octets.begin(), octets.end());
  return CertificateBuilder()
      .serial(DerBuilder().integer(octets))
      .validity("160101000000Z", "21100101000000Z")
      .withoutExtensions()
      .authorityKeyId(issuerId)
      .subjectKeyId(id);
}

Octets signedBy(const TestKey& key, const CertificateBuilder& builder, TestKey::Digest digest) {
  return builder.signedWith([&](const Octets& octets) { return key.sign(octets, digest); });
}

const Octets& rootCertificate(std::size_t root) {
  static const std::array<Octets, kRoots> roots = makeAll<kRoots>(makeRoot);
  return roots.at(root);
}

const Octets& authorityCertificate(std::size_t row) {
  static const auto certificates = makeAll<wzapp::kAuthorityCount>(makeAuthority);
  return certificates.at(row);
}

}  // namespace wzapp_test

// Instead of a product's table.
const std::array<wzapp::Authority, wzapp::kAuthorityCount>& wzapp::authorities() {
  static const auto table = [] {
    std::array<Authority, kAuthorityCount> rows;
    for (std::size_t row = 0; row < kAuthorityCount; ++row) {
      rows[row] = {wzapp_test::kAuthorityKinds[row], wzapp_test::authorityCertificate(row)};
    }
    return rows;
  }();
  return table;
}
