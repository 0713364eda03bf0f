#include "devkeys/rsa_key.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/sha.h>

#include <cstddef>

namespace devkeys {
namespace {

constexpr int kKeyBits = 2048;

}  // namespace

void require(bool succeeded, const char* what) {
  if (succeeded) return;
  std::string text = std::string("cannot make ") + what;
  if (const char* const reason = ERR_reason_error_string(ERR_get_error())) {
    text += std::string(": ") + reason;
  }
  ERR_clear_error();
  throw KeyError(text);
}

void RsaKey::Free::operator()(evp_pkey_st* key) const { EVP_PKEY_free(key); }

// OpenSSL's own choice of the exponent is 65537.
RsaKey::RsaKey() : key_(EVP_RSA_gen(kKeyBits)) { require(key_ != nullptr, "an RSA key"); }

RsaKey::RsaKey(const std::string& pem) {
  // Without a question for a password, which would wait for the user.
  const auto noPassword = [](char*, int, int, void*) { return -1; };
  const std::unique_ptr<BIO, decltype(&BIO_free)> text(
      BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())), BIO_free);
  key_.reset(PEM_read_bio_PrivateKey(text.get(), nullptr, noPassword, nullptr));
  ERR_clear_error();
  if (key_ == nullptr || EVP_PKEY_get_base_id(key_.get()) != EVP_PKEY_RSA) {
    throw KeyError("it is no RSA key as PEM text that is not encrypted");
  }
}

std::string RsaKey::identifier() const {
  unsigned char* octets = nullptr;
  const int size = i2d_PublicKey(key_.get(), &octets);
  require(size > 0, "a public key");
  std::string digest(SHA_DIGEST_LENGTH, '\0');
  SHA1(octets, static_cast<std::size_t>(size), reinterpret_cast<unsigned char*>(digest.data()));
  OPENSSL_free(octets);
  return digest;
}

std::string RsaKey::sign(std::string_view octets) const {
  const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                        EVP_MD_CTX_free);
  const auto* const data = reinterpret_cast<const unsigned char*>(octets.data());
  std::size_t size = static_cast<std::size_t>(EVP_PKEY_get_size(key_.get()));
  std::string signature(size, '\0');
  require(context != nullptr &&
              EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, key_.get()) == 1 &&
              EVP_DigestSign(context.get(), reinterpret_cast<unsigned char*>(signature.data()),
                             &size, data, octets.size()) == 1,
          "a signature");
  signature.resize(size);
  return signature;
}

std::string RsaKey::privatePem() const {
  const std::unique_ptr<BIO, decltype(&BIO_free)> text(BIO_new(BIO_s_mem()), BIO_free);
  require(text != nullptr && PEM_write_bio_PKCS8PrivateKey(text.get(), key_.get(), nullptr, nullptr,
                                                           0, nullptr, nullptr) == 1,
          "the text of a private key");
  const char* octets = nullptr;
  const long size = BIO_ctrl(text.get(), BIO_CTRL_INFO, 0, static_cast<void*>(&octets));
  return std::string(octets, static_cast<std::size_t>(size));
}

}  // namespace devkeys
