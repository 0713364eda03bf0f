// SHA-1 and SHA-256 over blocks of 8 KiB, beside OpenSSL and Mbed TLS.
#include <mbedtls/sha1.h>
#include <mbedtls/sha256.h>
#include <openssl/evp.h>

#include <memory>

#include "bench/side_by_side.h"
#include "crypto/cpu_features.h"
#include "crypto/digest/digest.h"

namespace {

constexpr std::size_t kBlockSize = 8192;
constexpr int kRepeats = 8;

// Of OpenSSL's speed with SHA instructions.
constexpr double kGoalWithInstructions = 1.5;
constexpr double kGoalPortable = 0.32;

std::vector<std::uint8_t> block() {
  std::vector<std::uint8_t> octets(kBlockSize);
  for (std::size_t i = 0; i < octets.size(); ++i) octets[i] = static_cast<std::uint8_t>(i * 167);
  return octets;
}

class OpensslDigest {
 public:
  explicit OpensslDigest(const EVP_MD* type) : context_(EVP_MD_CTX_new(), EVP_MD_CTX_free) {
    EVP_DigestInit_ex(context_.get(), type, nullptr);
  }
  void add(wzapp::ByteView data) const {
    EVP_DigestUpdate(context_.get(), data.data(), data.size());
  }

 private:
  std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> context_;
};

// OpenSSL doing one digest after the other.
class OpensslBoth {
 public:
  void add(wzapp::ByteView data) const {
    sha1_.add(data);
    sha256_.add(data);
  }

 private:
  OpensslDigest sha1_{EVP_sha1()};
  OpensslDigest sha256_{EVP_sha256()};
};

void bothDigests(benchmark::State& state) {
  const auto data = block();
  const OpensslBoth openssl;
  wzapp::Sha1Context sha1;
  wzapp::Sha256Context sha256;
  wzapp::digestStart(&sha1);
  wzapp::digestStart(&sha256);
  const double goal = wzapp::cpuFeatures().sha ? kGoalWithInstructions : kGoalPortable;

  bench::measureSideBySide(
      state, goal, kRepeats, [&] { wzapp::digestAdd(&sha1, &sha256, data); },
      [&] { openssl.add(data); });
}

void bothDigestsBesideMbedtls(benchmark::State& state) {
  const auto data = block();
  wzapp::Sha1Context sha1;
  wzapp::Sha256Context sha256;
  wzapp::digestStart(&sha1);
  wzapp::digestStart(&sha256);
  mbedtls_sha1_context peer1;
  mbedtls_sha256_context peer256;
  mbedtls_sha1_init(&peer1);
  mbedtls_sha256_init(&peer256);
  mbedtls_sha1_starts_ret(&peer1);
  mbedtls_sha256_starts_ret(&peer256, 0);

  bench::measureSideBySide(
      state, 0, kRepeats, [&] { wzapp::digestAdd(&sha1, &sha256, data); },
      [&] {
        mbedtls_sha1_update_ret(&peer1, data.data(), data.size());
        mbedtls_sha256_update_ret(&peer256, data.data(), data.size());
      });
  mbedtls_sha1_free(&peer1);
  mbedtls_sha256_free(&peer256);
}

template <class Context>
void oneDigest(benchmark::State& state, const EVP_MD* type) {
  const auto data = block();
  const OpensslDigest openssl(type);
  Context context;
  wzapp::digestStart(&context);

  bench::measureSideBySide(
      state, 0, kRepeats, [&] { wzapp::digestAdd(&context, data); }, [&] { openssl.add(data); });
}

void sha1(benchmark::State& state) { oneDigest<wzapp::Sha1Context>(state, EVP_sha1()); }
void sha256(benchmark::State& state) { oneDigest<wzapp::Sha256Context>(state, EVP_sha256()); }

}  // namespace

BENCHMARK(bothDigests)->Name("Sha1AndSha256/8192/openssl")->UseManualTime();
BENCHMARK(bothDigestsBesideMbedtls)->Name("Sha1AndSha256/8192/mbedtls")->UseManualTime();
BENCHMARK(sha1)->Name("Sha1/8192/openssl")->UseManualTime();
BENCHMARK(sha256)->Name("Sha256/8192/openssl")->UseManualTime();
