/// An RSA key that signs for tests, by OpenSSL.
#ifndef WZAPP_TESTS_BUILDERS_TEST_KEY_H
#define WZAPP_TESTS_BUILDERS_TEST_KEY_H

#include <memory>

#include "tests/builders/der_builder.h"

struct evp_pkey_st;

namespace wzapp_test {

class TestKey {
 public:
  enum class Digest { kSha1, kSha256 };

  /// Makes a key; throws when that fails.
  explicit TestKey(int bits = 1024, unsigned exponent = 65537);

  /// Big-endian, without leading zero octets.
  [[nodiscard]] Octets modulus() const;
  [[nodiscard]] Octets exponent() const;

  /// The PKCS #1 v1.5 signature of `data`.
  [[nodiscard]] Octets sign(const Octets& data, Digest digest = Digest::kSha256) const;

  [[nodiscard]] evp_pkey_st* get() const { return key_.get(); }

 private:
  struct Free {
    void operator()(evp_pkey_st* key) const;
  };
  std::unique_ptr<evp_pkey_st, Free> key_;
};

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_BUILDERS_TEST_KEY_H
