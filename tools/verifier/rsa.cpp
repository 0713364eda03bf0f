#include "verifier/rsa.h"

#include <openssl/bn.h>
#include <openssl/evp.h>

#include <memory>
#include <stdexcept>

namespace verifier {
namespace {

constexpr std::size_t kLongestModulus = 256;
constexpr std::size_t kLeastPadding = 11;
constexpr int kWordBits = 32;

using Number = std::unique_ptr<BIGNUM, decltype(&BN_free)>;

Number numberOf(std::string_view octets) {
  Number number(BN_bin2bn(reinterpret_cast<const unsigned char*>(octets.data()),
                          static_cast<int>(octets.size()), nullptr),
                BN_free);
  if (!number) throw std::bad_alloc();
  return number;
}

// DigestInfo ::= SEQUENCE { SEQUENCE { OBJECT IDENTIFIER, NULL }, OCTET STRING }
std::string digestInfo(Digest algorithm, std::string_view octets) {
  using namespace std::string_literals;
  static const std::string sha1 = "\x30\x21\x30\x09\x06\x05\x2B\x0E\x03\x02\x1A\x05\x00\x04\x14"s;
  static const std::string sha256 =
      "\x30\x31\x30\x0D\x06\x09\x60\x86\x48\x01\x65\x03\x04\x02\x01\x05\x00\x04\x20"s;
  return (algorithm == Digest::kSha1 ? sha1 : sha256) + digestOf(algorithm, octets);
}

// `input` to the power of the exponent, as many octets as the modulus has; empty where there is no
// such thing.
std::string power(const PublicKey& key, std::string_view input) {
  const std::unique_ptr<BN_CTX, decltype(&BN_CTX_free)> context(BN_CTX_new(), BN_CTX_free);
  const Number modulus = numberOf(key.modulus);
  const Number base = numberOf(input);
  const Number exponent(BN_new(), BN_free);
  const Number result(BN_new(), BN_free);
  if (BN_is_zero(modulus.get())) return "";
  // Terminals compute with as many words as the modulus fills.
  const int bits = (BN_num_bits(modulus.get()) + kWordBits - 1) / kWordBits * kWordBits;
  if (BN_num_bits(base.get()) > bits) BN_mask_bits(base.get(), bits);
  if (BN_cmp(base.get(), modulus.get()) > 0) return "";
  BN_set_word(exponent.get(), key.exponent.size() == 1 ? 3 : 65537);
  std::string octets(key.modulus.size(), '\0');
  if (BN_mod_exp(result.get(), base.get(), exponent.get(), modulus.get(), context.get()) != 1 ||
      BN_bn2binpad(result.get(), reinterpret_cast<unsigned char*>(octets.data()),
                   static_cast<int>(octets.size())) < 0) {
    return "";
  }
  return octets;
}

}  // namespace

std::string digestOf(Digest algorithm, std::string_view octets) {
  const EVP_MD* const type = algorithm == Digest::kSha1 ? EVP_sha1() : EVP_sha256();
  std::string digest(static_cast<std::size_t>(EVP_MD_get_size(type)), '\0');
  if (EVP_Digest(octets.data(), octets.size(), reinterpret_cast<unsigned char*>(digest.data()),
                 nullptr, type, nullptr) != 1) {
    throw std::runtime_error("EVP_Digest");
  }
  return digest;
}

Cause checkSignature(const PublicKey& key, Digest algorithm, std::string_view octets,
                     std::string_view signature) {
  const std::size_t size = key.modulus.size();
  const std::string info = digestInfo(algorithm, octets);
  if (info.size() + kLeastPadding > size) return "WZ-0335";
  if (size > kLongestModulus) return "WZ-0334";
  std::string input(signature.substr(0, size));
  input.resize(size, '\0');
  std::string expected(size - info.size(), '\xFF');
  expected.front() = '\0';
  expected[1] = '\1';
  expected.back() = '\0';
  expected += info;
  return power(key, input) == expected ? kGood : "WZ-0311";
}

}  // namespace verifier
