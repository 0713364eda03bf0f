// Verification of an RSA 2048 signature over a digest, beside OpenSSL and Mbed TLS: from the octets
// of modulus and exponent each time, as a certificate gives them, and beside an OpenSSL key made
// beforehand.
#include <mbedtls/rsa.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/rsa.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "bench/side_by_side.h"
#include "crypto/cpu_features.h"
#include "crypto/digest/digest.h"
#include "crypto/rsa/rsa.h"

namespace {

constexpr int kRepeats = 4;
constexpr double kGoalWithAvx2 = 1.0;
constexpr double kGoalPortable = 0.75;

struct Free {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
  void operator()(EVP_PKEY_CTX* context) const { EVP_PKEY_CTX_free(context); }
  void operator()(BIGNUM* number) const { BN_free(number); }
  void operator()(OSSL_PARAM_BLD* builder) const { OSSL_PARAM_BLD_free(builder); }
  void operator()(OSSL_PARAM* parameters) const { OSSL_PARAM_free(parameters); }
};

using Key = std::unique_ptr<EVP_PKEY, Free>;
using Context = std::unique_ptr<EVP_PKEY_CTX, Free>;
using Number = std::unique_ptr<BIGNUM, Free>;
using Octets = std::vector<std::uint8_t>;

// A comparison of programs that disagree means nothing.
void require(bool holds) {
  if (holds) return;
  std::fputs("rsa_bench: a valid signature was not found valid\n", stderr);
  std::exit(1);
}

Context readyFor(EVP_PKEY* key, int (*init)(EVP_PKEY_CTX*)) {
  Context context(EVP_PKEY_CTX_new(key, nullptr));
  require(init(context.get()) == 1);
  EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING);
  EVP_PKEY_CTX_set_signature_md(context.get(), EVP_sha256());
  return context;
}

Octets numberOf(EVP_PKEY* key, const char* name) {
  BIGNUM* number = nullptr;
  require(EVP_PKEY_get_bn_param(key, name, &number) == 1);
  const Number owner(number);
  Octets octets(static_cast<std::size_t>(BN_num_bytes(number)));
  BN_bn2bin(number, octets.data());
  return octets;
}

// A signed digest, with the key in octets and as OpenSSL's object.
struct Signed {
  Key key{EVP_RSA_gen(2048)};
  Octets modulus = numberOf(key.get(), OSSL_PKEY_PARAM_RSA_N);
  Octets exponent = numberOf(key.get(), OSSL_PKEY_PARAM_RSA_E);
  Octets digest = Octets(wzapp::kSha256Size, 0x5c);
  Octets signature = Octets(modulus.size());

  Signed() {
    const Context context = readyFor(key.get(), EVP_PKEY_sign_init);
    std::size_t size = signature.size();
    require(EVP_PKEY_sign(context.get(), signature.data(), &size, digest.data(), digest.size()) ==
            1);
  }

  void verifyOurs() const {
    const int verdict = wzapp::verify({.data = digest,
                                       .prehashed = true,
                                       .signature = signature,
                                       .publicExponent = exponent,
                                       .modulus = modulus,
                                       .digestOid = wzapp::kSha256Oid});
    require(verdict == wzapp::kSignatureValid);
  }

  void verifyOpenssl(EVP_PKEY* publicKey) const {
    const Context context = readyFor(publicKey, EVP_PKEY_verify_init);
    require(EVP_PKEY_verify(context.get(), signature.data(), signature.size(), digest.data(),
                            digest.size()) == 1);
  }

  [[nodiscard]] Key makeOpensslKey() const {
    const Number n(BN_bin2bn(modulus.data(), static_cast<int>(modulus.size()), nullptr));
    const Number e(BN_bin2bn(exponent.data(), static_cast<int>(exponent.size()), nullptr));
    const std::unique_ptr<OSSL_PARAM_BLD, Free> builder(OSSL_PARAM_BLD_new());
    OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_N, n.get());
    OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_E, e.get());
    const std::unique_ptr<OSSL_PARAM, Free> parameters(OSSL_PARAM_BLD_to_param(builder.get()));
    const Context context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
    EVP_PKEY* publicKey = nullptr;
    require(EVP_PKEY_fromdata_init(context.get()) == 1);
    require(EVP_PKEY_fromdata(context.get(), &publicKey, EVP_PKEY_PUBLIC_KEY, parameters.get()) ==
            1);
    return Key(publicKey);
  }

  void verifyMbedtls() const {
    mbedtls_rsa_context context;
    mbedtls_rsa_init(&context, MBEDTLS_RSA_PKCS_V15, 0);
    require(mbedtls_rsa_import_raw(&context, modulus.data(), modulus.size(), nullptr, 0, nullptr, 0,
                                   nullptr, 0, exponent.data(), exponent.size()) == 0);
    require(mbedtls_rsa_complete(&context) == 0);
    require(mbedtls_rsa_pkcs1_verify(&context, nullptr, nullptr, MBEDTLS_RSA_PUBLIC,
                                     MBEDTLS_MD_SHA256, static_cast<unsigned>(digest.size()),
                                     digest.data(), signature.data()) == 0);
    mbedtls_rsa_free(&context);
  }
};

const Signed& sample() {
  static const Signed made;
  return made;
}

void fromOctets(benchmark::State& state) {
  const double goal = wzapp::cpuFeatures().avx2 ? kGoalWithAvx2 : kGoalPortable;
  bench::measureSideBySide(
      state, goal, kRepeats, [] { sample().verifyOurs(); },
      [] { sample().verifyOpenssl(sample().makeOpensslKey().get()); });
}

void besidePreparedKey(benchmark::State& state) {
  const Key key = sample().makeOpensslKey();
  bench::measureSideBySide(
      state, 0, kRepeats, [] { sample().verifyOurs(); },
      [&] { sample().verifyOpenssl(key.get()); });
}

void besideMbedtls(benchmark::State& state) {
  bench::measureSideBySide(
      state, 0, kRepeats, [] { sample().verifyOurs(); }, [] { sample().verifyMbedtls(); });
}

}  // namespace

BENCHMARK(fromOctets)->Name("RsaVerify/2048/openssl_from_octets")->UseManualTime();
BENCHMARK(besidePreparedKey)->Name("RsaVerify/2048/openssl_prepared_key")->UseManualTime();
BENCHMARK(besideMbedtls)->Name("RsaVerify/2048/mbedtls_from_octets")->UseManualTime();
