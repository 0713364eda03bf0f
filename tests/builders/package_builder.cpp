#include "tests/builders/package_builder.h"

#include <openssl/evp.h>

#include <stdexcept>

#include "tests/builders/signature_file_builder.h"

namespace wzapp_test {
namespace {

constexpr std::string_view kSha1Oid = "1.3.14.3.2.26";
constexpr std::size_t kEndingSize = 4;  // of ".ZIP"

Octets digestOf(std::string_view data, const EVP_MD* algorithm) {
  Octets digest(static_cast<std::size_t>(EVP_MD_get_size(algorithm)));
  if (EVP_Digest(data.data(), data.size(), digest.data(), nullptr, algorithm, nullptr) != 1) {
    throw std::runtime_error("EVP_Digest");
  }
  return digest;
}

}  // namespace

std::string signatureOf(std::string_view archive, const Signer& signer, TestKey::Digest digest) {
  SignatureFileBuilder file;
  file.signerKeyId(signer.keyId);
  if (digest == TestKey::Digest::kSha1) {
    file.digestAlgorithm(kSha1Oid).sha1(digestOf(archive, EVP_sha1()));
  } else {
    file.sha256(digestOf(archive, EVP_sha256()));
  }
  return textOf(
      file.signedWith([&](const Octets& octets) { return signer.key->sign(octets, digest); }));
}

PackageBuilder& PackageBuilder::certificate(std::string name, const Signer& signer) {
  return file(std::move(name), textOf(signer.certificate));
}

PackageBuilder& PackageBuilder::inner(std::string name, std::string archive) {
  lastName_ = name;
  lastArchive_ = archive;
  return file(std::move(name), std::move(archive));
}

PackageBuilder& PackageBuilder::inner(std::string name, const ZipBuilder& archive) {
  return inner(std::move(name), archive.build());
}

PackageBuilder& PackageBuilder::signedBy(const Signer& signer, std::string name) {
  if (name.empty()) name = lastName_.substr(0, lastName_.size() - kEndingSize) + ".P7S";
  return file(std::move(name), signatureOf(lastArchive_, signer));
}

PackageBuilder& PackageBuilder::file(std::string name, std::string content) {
  zip_.file(std::move(name), std::move(content));
  return *this;
}

PackageBuilder& PackageBuilder::entry(ZipEntry entry) {
  zip_.entry(std::move(entry));
  return *this;
}

}  // namespace wzapp_test
