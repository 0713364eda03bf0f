#include "tests/agree/fixed_key.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>

#include <random>
#include <stdexcept>

namespace wzapp_test {
namespace {

using Number = std::unique_ptr<BIGNUM, decltype(&BN_free)>;
using Context = std::unique_ptr<BN_CTX, decltype(&BN_CTX_free)>;

void require(bool condition) {
  if (!condition) throw std::runtime_error("a fixed key");
}

Number newNumber() { return Number(BN_new(), BN_free); }

Octets octetsOf(const Number& number) {
  Octets octets(static_cast<std::size_t>(BN_num_bytes(number.get())));
  BN_bn2bin(number.get(), octets.data());
  return octets;
}

// The next prime from random octets on, one below which is prime to the exponent. Its two highest
// bits are set, so that the product of two has all its bits.
Number primeFrom(std::mt19937_64& random, int bits, const Number& exponent, BN_CTX* context) {
  Octets octets(static_cast<std::size_t>(bits) / 8);
  for (std::uint8_t& octet : octets) octet = static_cast<std::uint8_t>(random());
  Number prime(BN_bin2bn(octets.data(), static_cast<int>(octets.size()), nullptr), BN_free);
  BN_set_bit(prime.get(), bits - 1);
  BN_set_bit(prime.get(), bits - 2);
  BN_set_bit(prime.get(), 0);
  const Number less = newNumber();
  const Number common = newNumber();
  while (true) {
    require(BN_sub(less.get(), prime.get(), BN_value_one()) == 1 &&
            BN_gcd(common.get(), less.get(), exponent.get(), context) == 1);
    if (BN_is_one(common.get()) && BN_check_prime(prime.get(), context, nullptr) == 1) return prime;
    BN_add_word(prime.get(), 2);
  }
}

}  // namespace

void FixedKey::Free::operator()(evp_pkey_st* key) const { EVP_PKEY_free(key); }

FixedKey::FixedKey(std::uint64_t seed, int bits, unsigned exponent) {
  std::mt19937_64 random(seed);
  const Context context(BN_CTX_new(), BN_CTX_free);
  const Number e = newNumber();
  BN_set_word(e.get(), exponent);
  const Number p = primeFrom(random, bits / 2, e, context.get());
  const Number q = primeFrom(random, bits / 2, e, context.get());
  const Number n = newNumber(), d = newNumber(), phi = newNumber();
  BN_mul(n.get(), p.get(), q.get(), context.get());
  const Number less = newNumber();
  BN_sub(less.get(), p.get(), BN_value_one());
  BN_sub(phi.get(), q.get(), BN_value_one());
  BN_mul(phi.get(), phi.get(), less.get(), context.get());
  require(BN_mod_inverse(d.get(), e.get(), phi.get(), context.get()) != nullptr);

  const std::unique_ptr<OSSL_PARAM_BLD, decltype(&OSSL_PARAM_BLD_free)> build(OSSL_PARAM_BLD_new(),
                                                                              OSSL_PARAM_BLD_free);
  OSSL_PARAM_BLD_push_BN(build.get(), OSSL_PKEY_PARAM_RSA_N, n.get());
  OSSL_PARAM_BLD_push_BN(build.get(), OSSL_PKEY_PARAM_RSA_E, e.get());
  OSSL_PARAM_BLD_push_BN(build.get(), OSSL_PKEY_PARAM_RSA_D, d.get());
  const std::unique_ptr<OSSL_PARAM, decltype(&OSSL_PARAM_free)> parameters(
      OSSL_PARAM_BLD_to_param(build.get()), OSSL_PARAM_free);
  const std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)> maker(
      EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr), EVP_PKEY_CTX_free);
  EVP_PKEY* key = nullptr;
  require(EVP_PKEY_fromdata_init(maker.get()) == 1 &&
          EVP_PKEY_fromdata(maker.get(), &key, EVP_PKEY_KEYPAIR, parameters.get()) == 1);
  key_.reset(key);
  modulus_ = octetsOf(n);
  exponent_ = octetsOf(e);
}

Octets FixedKey::sign(const Octets& data, bool isSha1) const {
  const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                        EVP_MD_CTX_free);
  std::size_t size = modulus_.size();
  Octets signature(size);
  require(EVP_DigestSignInit(context.get(), nullptr, isSha1 ? EVP_sha1() : EVP_sha256(), nullptr,
                             key_.get()) == 1);
  if (EVP_DigestSign(context.get(), signature.data(), &size, data.data(), data.size()) != 1) {
    return {};
  }
  signature.resize(size);
  return signature;
}

}  // namespace wzapp_test
