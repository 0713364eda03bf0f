#include "tests/crypto/openssl_numbers.h"

#include <gtest/gtest.h>
#include <openssl/core_names.h>
#include <openssl/param_build.h>
#include <openssl/rsa.h>

namespace wzapp_test {

namespace {

Number newNumber() { return Number(BN_new()); }

// A prime p of `bits` bits, its two highest set, for which `exponent` has an inverse modulo p - 1.
Number makePrime(int bits, const Number& exponent, BN_CTX* context) {
  const Number prime = newNumber();
  const Number below = newNumber();
  const Number divisor = newNumber();
  do {
    EXPECT_EQ(BN_generate_prime_ex(prime.get(), bits, 0, nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(BN_sub(below.get(), prime.get(), BN_value_one()), 1);
    EXPECT_EQ(BN_gcd(divisor.get(), below.get(), exponent.get(), context), 1);
  } while (BN_is_one(divisor.get()) == 0);
  return Number(BN_dup(prime.get()));
}

struct ParameterDeleter {
  void operator()(OSSL_PARAM_BLD* builder) const { OSSL_PARAM_BLD_free(builder); }
  void operator()(OSSL_PARAM* parameters) const { OSSL_PARAM_free(parameters); }
};

std::unique_ptr<EVP_PKEY, OpensslDeleter> makePublicKey(const Octets& modulus,
                                                        const Octets& publicExponent) {
  const Number n = toNumber(modulus);
  const Number e = toNumber(publicExponent);
  const std::unique_ptr<OSSL_PARAM_BLD, ParameterDeleter> builder(OSSL_PARAM_BLD_new());
  OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_N, n.get());
  OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_E, e.get());
  const std::unique_ptr<OSSL_PARAM, ParameterDeleter> parameters(
      OSSL_PARAM_BLD_to_param(builder.get()));
  const std::unique_ptr<EVP_PKEY_CTX, OpensslDeleter> context(
      EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
  EVP_PKEY* key = nullptr;
  EXPECT_EQ(EVP_PKEY_fromdata_init(context.get()), 1);
  EVP_PKEY_fromdata(context.get(), &key, EVP_PKEY_PUBLIC_KEY, parameters.get());
  return std::unique_ptr<EVP_PKEY, OpensslDeleter>(key);
}

Octets digestInfo(const EVP_MD* type, const Octets& digest) {
  const char* const oid =
      EVP_MD_get_type(type) == NID_sha1 ? "1.3.14.3.2.26" : "2.16.840.1.101.3.4.2.1";
  return DerBuilder()
      .sequence(DerBuilder().sequence(DerBuilder().oid(oid).null()).octetString(digest))
      .octets();
}

}  // namespace

Number toNumber(wzapp::ByteView bigEndian) {
  return Number(BN_bin2bn(bigEndian.data(), static_cast<int>(bigEndian.size()), nullptr));
}

Octets toOctets(const Number& number, std::size_t size) {
  Octets octets(std::max(size, static_cast<std::size_t>(BN_num_bytes(number.get()))));
  EXPECT_GE(BN_bn2binpad(number.get(), octets.data(), static_cast<int>(octets.size())), 0);
  return octets;
}

Number power(const Number& base, const Number& exponent, const Number& modulus) {
  const std::unique_ptr<BN_CTX, OpensslDeleter> context(BN_CTX_new());
  Number result = newNumber();
  EXPECT_EQ(BN_mod_exp(result.get(), base.get(), exponent.get(), modulus.get(), context.get()), 1);
  return result;
}

Octets RsaKey::sign(const Octets& block) const {
  return toOctets(power(toNumber(block), toNumber(privateExponent), toNumber(modulus)),
                  modulus.size());
}

RsaKey makeRsaKey(int bits, unsigned exponent) {
  const std::unique_ptr<BN_CTX, OpensslDeleter> context(BN_CTX_new());
  const Number e = newNumber();
  BN_set_word(e.get(), exponent);
  const Number p = makePrime(bits - bits / 2, e, context.get());
  const Number q = makePrime(bits / 2, e, context.get());
  const Number n = newNumber();
  const Number order = newNumber();
  BN_mul(n.get(), p.get(), q.get(), context.get());
  BN_sub_word(p.get(), 1);
  BN_sub_word(q.get(), 1);
  BN_mul(order.get(), p.get(), q.get(), context.get());
  const Number d(BN_mod_inverse(nullptr, e.get(), order.get(), context.get()));
  EXPECT_EQ(BN_num_bits(n.get()), bits);
  return {toOctets(n), toOctets(e), toOctets(d)};
}

Octets paddedDigest(const EVP_MD* type, const Octets& message, std::size_t size) {
  const Octets info = digestInfo(type, opensslDigest(type, message));
  Octets block(size - info.size() - 1, 0xff);
  block[0] = 0x00;
  block[1] = 0x01;
  block.push_back(0x00);
  block.insert(block.end(), info.begin(), info.end());
  return block;
}

bool opensslVerifies(const Octets& modulus, const Octets& publicExponent, const EVP_MD* type,
                     const Octets& digest, const Octets& signature) {
  const auto key = makePublicKey(modulus, publicExponent);
  if (key == nullptr) return false;
  const std::unique_ptr<EVP_PKEY_CTX, OpensslDeleter> context(EVP_PKEY_CTX_new(key.get(), nullptr));
  EXPECT_EQ(EVP_PKEY_verify_init(context.get()), 1);
  EXPECT_EQ(EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING), 1);
  EXPECT_EQ(EVP_PKEY_CTX_set_signature_md(context.get(), type), 1);
  return EVP_PKEY_verify(context.get(), signature.data(), signature.size(), digest.data(),
                         digest.size()) == 1;
}

Octets opensslDigest(const EVP_MD* type, const Octets& message) {
  Octets digest(static_cast<std::size_t>(EVP_MD_get_size(type)));
  EXPECT_EQ(EVP_Digest(message.data(), message.size(), digest.data(), nullptr, type, nullptr), 1);
  return digest;
}

}  // namespace wzapp_test
