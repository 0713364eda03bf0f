#include "tests/agree/trusted_keys.h"

#include <string>

namespace wzapp_test {
namespace {

constexpr std::uint8_t kRootId = 0xA0;
constexpr int kShortBits = 480;

CertificateBuilder issued(const Octets& issuer, const Octets& id, const std::string& serial,
                          const FixedKey& key) {
  return CertificateBuilder()
      .serial(DerBuilder().integer(fromText(serial)))
      .validity("160101000000Z", "21100101000000Z")
      .rsaKey(key.modulus(), key.exponent())
      .withoutExtensions()
      .authorityKeyId(issuer)
      .subjectKeyId(id);
}

const FixedKey& rootKey() {
  static const FixedKey key(1);
  return key;
}

Octets makeRow(std::size_t row) {
  return issued(Octets(20, kRootId), rowId(row), "82870" + std::to_string(row), authorityKey())
      .signedWith([](const Octets& octets) { return rootKey().sign(octets); });
}

}  // namespace

const FixedKey& authorityKey() {
  static const FixedKey key(2);
  return key;
}

Octets rowId(std::size_t row) { return Octets(20, static_cast<std::uint8_t>(0x10 + row)); }

const Octets& rowCertificate(std::size_t row) {
  static const auto all = [] {
    std::array<Octets, wzapp::kAuthorityCount> rows;
    for (std::size_t i = 0; i < rows.size(); ++i) rows[i] = makeRow(i);
    return rows;
  }();
  return all.at(row);
}

const Octets& rootCertificate() {
  static const Octets root =
      issued(Octets(20, kRootId), Octets(20, kRootId), "100000", rootKey())
          .signedWith([](const Octets& octets) { return rootKey().sign(octets); });
  return root;
}

const FixedKey& signerKey(SignerKey which) {
  static const FixedKey usual(3), exponent3(5, 1024, 3), exponent17(6, 1024, 17), stranger(7);
  static const FixedKey tooShort(4, kShortBits);
  switch (which) {
    case SignerKey::kShort:
      return tooShort;
    case SignerKey::kExponent3:
      return exponent3;
    case SignerKey::kExponent17:
      return exponent17;
    case SignerKey::kStranger:
      return stranger;
    default:
      return usual;
  }
}

CertificateBuilder signerCertificate(std::size_t row, const Octets& id, SignerKey key) {
  return issued(rowId(row), id, "100001", signerKey(key));
}

}  // namespace wzapp_test

// Instead of a product's table.
const std::array<wzapp::Authority, wzapp::kAuthorityCount>& wzapp::authorities() {
  static const auto table = [] {
    std::array<Authority, kAuthorityCount> rows;
    for (std::size_t row = 0; row < kAuthorityCount; ++row) {
      rows[row] = {wzapp_test::kRowKinds[row], wzapp_test::rowCertificate(row)};
    }
    return rows;
  }();
  return table;
}
