#include "tests/builders/test_key.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>

#include <stdexcept>

namespace wzapp_test {

namespace {

void require(bool condition) {
  if (!condition) throw std::runtime_error("a key for tests");
}

Octets numberOf(const EVP_PKEY* key, const char* name) {
  BIGNUM* number = nullptr;
  require(EVP_PKEY_get_bn_param(key, name, &number) == 1);
  Octets octets(static_cast<std::size_t>(BN_num_bytes(number)));
  BN_bn2bin(number, octets.data());
  BN_free(number);
  return octets;
}

}  // namespace

void TestKey::Free::operator()(evp_pkey_st* key) const { EVP_PKEY_free(key); }

TestKey::TestKey(int bits, unsigned exponent) {
  const std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)> context(
      EVP_PKEY_CTX_new_id(EVP_PKEY_RSA, nullptr), EVP_PKEY_CTX_free);
  const std::unique_ptr<BIGNUM, decltype(&BN_free)> number(BN_new(), BN_free);
  require(context != nullptr && number != nullptr && BN_set_word(number.get(), exponent) == 1);
  require(EVP_PKEY_keygen_init(context.get()) == 1);
  require(EVP_PKEY_CTX_set_rsa_keygen_bits(context.get(), bits) == 1);
  require(EVP_PKEY_CTX_set1_rsa_keygen_pubexp(context.get(), number.get()) == 1);
  EVP_PKEY* key = nullptr;
  require(EVP_PKEY_generate(context.get(), &key) == 1);
  key_.reset(key);
}

Octets TestKey::modulus() const { return numberOf(key_.get(), OSSL_PKEY_PARAM_RSA_N); }

Octets TestKey::exponent() const { return numberOf(key_.get(), OSSL_PKEY_PARAM_RSA_E); }

Octets TestKey::sign(const Octets& data, Digest digest) const {
  const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                        EVP_MD_CTX_free);
  const EVP_MD* algorithm = digest == Digest::kSha1 ? EVP_sha1() : EVP_sha256();
  std::size_t size = 0;
  require(EVP_DigestSignInit(context.get(), nullptr, algorithm, nullptr, key_.get()) == 1);
  require(EVP_DigestSign(context.get(), nullptr, &size, data.data(), data.size()) == 1);
  Octets signature(size);
  require(EVP_DigestSign(context.get(), signature.data(), &size, data.data(), data.size()) == 1);
  signature.resize(size);
  return signature;
}

}  // namespace wzapp_test
