// RSA keys that are the same in every process: they are made from a number, so that a package can
// be made again octet by octet.
#ifndef WZAPP_TESTS_AGREE_FIXED_KEY_H
#define WZAPP_TESTS_AGREE_FIXED_KEY_H

#include <cstdint>
#include <memory>

#include "tests/builders/der_builder.h"

struct evp_pkey_st;

namespace wzapp_test {

class FixedKey {
 public:
  // `bits` is even. Throws when OpenSSL refuses.
  explicit FixedKey(std::uint64_t seed, int bits = 1024, unsigned exponent = 65537);

  // Big-endian, without leading zero octets.
  [[nodiscard]] const Octets& modulus() const { return modulus_; }
  [[nodiscard]] const Octets& exponent() const { return exponent_; }

  // The PKCS #1 v1.5 signature of `data` over SHA-1 or SHA-256; empty when the key is too short.
  [[nodiscard]] Octets sign(const Octets& data, bool isSha1 = false) const;

 private:
  struct Free {
    void operator()(evp_pkey_st* key) const;
  };
  Octets modulus_;
  Octets exponent_;
  std::unique_ptr<evp_pkey_st, Free> key_;
};

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_AGREE_FIXED_KEY_H
