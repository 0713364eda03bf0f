// Numbers and RSA keys of OpenSSL, the independent oracle of the tests of our own arithmetic.
#ifndef WZAPP_TESTS_CRYPTO_OPENSSL_NUMBERS_H
#define WZAPP_TESTS_CRYPTO_OPENSSL_NUMBERS_H

#include <openssl/bn.h>
#include <openssl/evp.h>

#include <memory>

#include "support/byte_view.h"
#include "tests/builders/der_builder.h"

namespace wzapp_test {

struct OpensslDeleter {
  void operator()(BIGNUM* number) const { BN_free(number); }
  void operator()(BN_CTX* context) const { BN_CTX_free(context); }
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
  void operator()(EVP_PKEY_CTX* context) const { EVP_PKEY_CTX_free(context); }
};

using Number = std::unique_ptr<BIGNUM, OpensslDeleter>;

Number toNumber(wzapp::ByteView bigEndian);

// Big-endian octets, with zero octets on the left up to `size`; at least as many as it takes.
Octets toOctets(const Number& number, std::size_t size = 0);

// base to the power exponent, modulo a modulus above 1.
Number power(const Number& base, const Number& exponent, const Number& modulus);

// An RSA key of any size, for signing whatever block a test wants signed.
struct RsaKey {
  Octets modulus;
  Octets publicExponent;
  Octets privateExponent;

  // block to the power of the private exponent, in as many octets as the modulus has.
  [[nodiscard]] Octets sign(const Octets& block) const;
};

// A key with a modulus of exactly `bits` bits and the public exponent `exponent`. Random: every
// call makes another one.
RsaKey makeRsaKey(int bits, unsigned exponent);

// The block that PKCS #1 v1.5 signs with the digest of `message`: 00 01 FF ... 00 DigestInfo.
Octets paddedDigest(const EVP_MD* type, const Octets& message, std::size_t size);

// What OpenSSL makes of a signature over `digest` with a key made from these octets.
bool opensslVerifies(const Octets& modulus, const Octets& publicExponent, const EVP_MD* type,
                     const Octets& digest, const Octets& signature);

Octets opensslDigest(const EVP_MD* type, const Octets& message);

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_CRYPTO_OPENSSL_NUMBERS_H
