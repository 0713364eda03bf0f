// Certificates of 1,000 octets with eight extensions beside Mbed TLS: parsing one, and checking it
// against its authority from the two DER texts.
#include <mbedtls/md.h>
#include <mbedtls/pk.h>
#include <mbedtls/x509_crt.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench/side_by_side.h"
#include "crypto/certificate/certificate_check.h"
#include "crypto/certificate/certificate_record.h"
#include "crypto/cpu_features.h"
#include "crypto/digest/digest.h"
#include "crypto/rsa/rsa.h"
#include "tests/builders/certificate_builder.h"
#include "tests/builders/test_key.h"

namespace {

using wzapp_test::attribute;
using wzapp_test::CertificateBuilder;
using wzapp_test::DerBuilder;
using wzapp_test::Octets;
using wzapp_test::TestKey;

constexpr std::size_t kLength = 1000;
constexpr int kParseRepeats = 64;
constexpr int kCheckRepeats = 4;

// Of Mbed TLS's speed.
constexpr double kParseGoal = 1.85;
constexpr double kCheckGoalWithAvx2 = 1.8;
constexpr double kCheckGoalPortable = 1.25;

// A comparison of programs that disagree means nothing.
void require(bool holds) {
  if (holds) return;
  std::fputs("certificate_bench: a sound certificate was not accepted\n", stderr);
  std::exit(1);
}

CertificateBuilder certificate(const TestKey& key, const Octets& keyId, std::size_t nameLength) {
  const std::string name(nameLength, 'n');
  return CertificateBuilder()
      .serial(DerBuilder().integer(Octets{0x38, 0x32, 0x38, 0x37, 0x30, 0x32}))
      .subjectAttributes(
          DerBuilder(attribute("2.5.4.6", DerBuilder().printableString("XX")))
              .raw(attribute("2.5.4.10", DerBuilder().printableString("Development")))
              .raw(attribute("2.5.4.3", DerBuilder().printableString(name))))
      .rsaKey(key.modulus(), key.exponent())
      .withoutExtensions()
      .authorityKeyId(Octets(20, 0xAA))
      .subjectKeyId(keyId)
      .extension("2.5.29.15", DerBuilder().bitString(Octets{0x84}, 2), true)
      .extension("2.5.29.19", DerBuilder().sequence(DerBuilder().boolean(true).integer(1)), true)
      .permissions({"S11", "S14"})
      .extension("2.16.840.1.200000.1.1.2", DerBuilder().boolean(true))
      .extension("2.16.840.1.200000.1.1.3", DerBuilder().integer(3))
      .extension("2.16.840.1.200000.1.1.4", DerBuilder().boolean(true));
}

// The name of the subject brings the certificate to its length.
Octets signedCertificate(const TestKey& key, const Octets& keyId) {
  Octets der;
  for (std::size_t nameLength = 1; der.size() < kLength; ++nameLength) {
    der = certificate(key, keyId, nameLength).signedWith([&key](const Octets& toBeSigned) {
      return key.sign(toBeSigned);
    });
  }
  require(der.size() == kLength);
  return der;
}

struct Pair {
  TestKey key{2048};
  Octets certificate = signedCertificate(key, Octets(20, 0xBB));
  Octets authority = signedCertificate(key, Octets(20, 0xAA));
};

const Pair& pair() {
  static const Pair made;
  return made;
}

class MbedtlsCertificate {
 public:
  explicit MbedtlsCertificate(const Octets& der) {
    mbedtls_x509_crt_init(&certificate_);
    require(mbedtls_x509_crt_parse_der(&certificate_, der.data(), der.size()) == 0);
  }
  MbedtlsCertificate(const MbedtlsCertificate&) = delete;
  MbedtlsCertificate& operator=(const MbedtlsCertificate&) = delete;
  ~MbedtlsCertificate() { mbedtls_x509_crt_free(&certificate_); }

  mbedtls_x509_crt* operator->() { return &certificate_; }

 private:
  mbedtls_x509_crt certificate_;
};

void parseOurs(const Octets& der) {
  wzapp::CertificateRecord record;
  require(wzapp::parseCertificate(der, record) == 0);
  benchmark::DoNotOptimize(record);
}

void checkOurs() {
  const Pair& texts = pair();
  require(wzapp::checkAgainstAuthority(texts.certificate, texts.authority) ==
          wzapp::kSignatureValid);
}

void checkMbedtls() {
  MbedtlsCertificate issued(pair().certificate);
  MbedtlsCertificate authority(pair().authority);
  unsigned char digest[wzapp::kSha256Size];
  require(mbedtls_md(mbedtls_md_info_from_type(MBEDTLS_MD_SHA256), issued->tbs.p, issued->tbs.len,
                     digest) == 0);
  require(mbedtls_pk_verify(&authority->pk, MBEDTLS_MD_SHA256, digest, sizeof digest, issued->sig.p,
                            issued->sig.len) == 0);
}

void parseBesideMbedtls(benchmark::State& state) {
  const Octets& der = pair().certificate;
  bench::measureSideBySide(
      state, kParseGoal, kParseRepeats, [&der] { parseOurs(der); },
      [&der] { MbedtlsCertificate parsed(der); });
}

void checkBesideMbedtls(benchmark::State& state) {
  const double goal = wzapp::cpuFeatures().avx2 ? kCheckGoalWithAvx2 : kCheckGoalPortable;
  bench::measureSideBySide(state, goal, kCheckRepeats, checkOurs, checkMbedtls);
}

}  // namespace

BENCHMARK(parseBesideMbedtls)->Name("CertificateParse/1000/mbedtls")->UseManualTime();
BENCHMARK(checkBesideMbedtls)->Name("CertificateCheck/1000/mbedtls")->UseManualTime();
