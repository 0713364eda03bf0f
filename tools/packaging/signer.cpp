#include "packaging/signer.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>

#include "crypto/certificate/certificate_record.h"
#include "crypto/certificate/certificate_summary.h"
#include "crypto/digest/digest.h"
#include "crypto/rsa/rsa.h"
#include "crypto/signature/package_signature.h"
#include "packaging/sign_command.h"
#include "packaging/signature_writer.h"
#include "support/file_system.h"

namespace packaging {
namespace {

using wzapp::ByteView;
using wzapp::viewOf;

template <typename T, void (*release)(T*)>
struct Release {
  void operator()(T* object) const { release(object); }
};
using Key = std::unique_ptr<EVP_PKEY, Release<EVP_PKEY, EVP_PKEY_free>>;
using DigestContext = std::unique_ptr<EVP_MD_CTX, Release<EVP_MD_CTX, EVP_MD_CTX_free>>;

// Terminals know these two exponents, by their lengths.
constexpr std::size_t kExponentSizes[] = {1, 3};

std::string stringOf(ByteView octets) { return {octets.begin(), octets.end()}; }

ByteView withoutLeadingZeros(ByteView number) {
  while (!number.empty() && number[0] == 0) number = number.subspan(1);
  return number;
}

std::string openSslReason() {
  const char* const reason = ERR_reason_error_string(ERR_get_error());
  ERR_clear_error();
  return reason == nullptr ? "OpenSSL does not say why" : reason;
}

// Without a question for a password, which would wait for the user in the middle of a build.
int noPassword(char*, int, int, void*) { return -1; }

Key readKey(const std::string& pem) {
  const std::unique_ptr<BIO, decltype(&BIO_free)> text(
      BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())), BIO_free);
  return Key(PEM_read_bio_PrivateKey(text.get(), nullptr, noPassword, nullptr));
}

struct Digests {
  std::array<std::uint8_t, wzapp::kSha1Size> sha1;
  std::array<std::uint8_t, wzapp::kSha256Size> sha256;
};

bool digestFile(const std::string& path, Digests& digests) {
  const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(std::fopen(path.c_str(), "rbe"),
                                                                std::fclose);
  if (file == nullptr) return false;
  wzapp::Sha1Context sha1;
  wzapp::Sha256Context sha256;
  wzapp::digestStart(&sha1);
  wzapp::digestStart(&sha256);
  std::array<std::uint8_t, 65536> block;
  while (const std::size_t count = std::fread(block.data(), 1, block.size(), file.get())) {
    wzapp::digestAdd(&sha1, &sha256, ByteView(block).first(count));
  }
  wzapp::digestFinish(&sha1, digests.sha1.data());
  wzapp::digestFinish(&sha256, digests.sha256.data());
  return std::ferror(file.get()) == 0;
}

}  // namespace

const char* signerName(SignerRole role) {
  return role == SignerRole::kApplication ? "application" : "manifest";
}

bool Signer::load(const std::string& keyDirectory, SignerRole role, const std::string& signCommand,
                  std::string& error) {
  role_ = role;
  signCommand_ = signCommand;
  const std::string base = keyDirectory + "/signers/" + signerName(role);
  certificateFile_ = base + ".der";
  keyFile_ = base + ".key";
  if (!readCertificate(error)) return false;
  if (!signCommand_.empty()) return true;
  if (!wzapp::readFile(keyFile_.c_str(), key_)) {
    error = "cannot read the key " + keyFile_ +
            "; put it there, or name a program that signs with --sign-command";
    return false;
  }
  return true;
}

bool Signer::readCertificate(std::string& error) {
  if (!wzapp::readFile(certificateFile_.c_str(), certificate_)) {
    error = "cannot read the certificate " + certificateFile_ +
            "; wz keys init DIR makes a folder of development keys";
    return false;
  }
  wzapp::CertificateRecord record;
  wzapp::CertificateSummary summary;
  if (wzapp::parseCertificate(viewOf(certificate_), record) != 0 ||
      wzapp::summariseCertificate(viewOf(certificate_), summary) != 0) {
    error = certificateFile_ + " is no certificate that a terminal reads; see wz keys show";
    return false;
  }
  const std::size_t modulus = withoutLeadingZeros(record.modulus).size();
  if (modulus > wzapp::kMaxModulusSize) {
    error = certificateFile_ + " has a key of " + std::to_string(8 * modulus) +
            " bits, and terminals verify at most " + std::to_string(8 * wzapp::kMaxModulusSize) +
            "; sign with a shorter key";
    return false;
  }
  const std::size_t exponent = withoutLeadingZeros(record.publicExponent).size();
  if (exponent != kExponentSizes[0] && exponent != kExponentSizes[1]) {
    error = certificateFile_ +
            " has a public exponent that terminals do not know; sign with a key of the exponent "
            "65537";
    return false;
  }
  keyIdentifier_ = stringOf(record.subjectKeyId);
  return true;
}

bool Signer::sign(std::string_view octets, std::string& signature, std::string& error) const {
  if (!signCommand_.empty()) {
    return runSignCommand(signCommand_, name(), octets, signature, error);
  }
  const Key key = readKey(key_);
  if (key == nullptr || EVP_PKEY_get_base_id(key.get()) != EVP_PKEY_RSA) {
    error = keyFile_ + " is no RSA key as PEM text without a password" +
            (key == nullptr ? ": " + openSslReason() : "");
    return false;
  }
  const DigestContext context(EVP_MD_CTX_new());
  std::size_t size = 0;
  const unsigned char* const data = viewOf(octets).data();
  if (context == nullptr ||
      EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, key.get()) != 1 ||
      EVP_DigestSign(context.get(), nullptr, &size, data, octets.size()) != 1) {
    error = "cannot sign with " + keyFile_ + ": " + openSslReason();
    return false;
  }
  signature.resize(size);
  if (EVP_DigestSign(context.get(), reinterpret_cast<unsigned char*>(signature.data()), &size, data,
                     octets.size()) != 1) {
    error = "cannot sign with " + keyFile_ + ": " + openSslReason();
    return false;
  }
  signature.resize(size);
  return true;
}

bool Signer::signArchive(const std::string& path, std::string& signatureFile,
                         std::string& error) const {
  Digests digests;
  if (!digestFile(path, digests)) {
    error = "cannot read " + path;
    return false;
  }
  const std::string octets = octetsToSign(stringOf(digests.sha256));
  std::string signature;
  if (!sign(octets, signature, error)) return false;
  signatureFile = packaging::signatureFile(octets, keyIdentifier_, signature);
  if (wzapp::verifyPackage(viewOf(signatureFile), digests.sha1, digests.sha256,
                           viewOf(certificate_)) == wzapp::kSignatureValid) {
    return true;
  }
  error = (signCommand_.empty() ? keyFile_ + " signs" : "the sign command signs") +
          std::string(" what ") + certificateFile_ +
          " does not verify; the key must be that certificate's, and the signature RSA (PKCS #1 "
          "v1.5) over SHA-256";
  return false;
}

}  // namespace packaging
