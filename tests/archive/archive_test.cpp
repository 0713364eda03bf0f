#include "tests/archive/archive_test.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <random>
#include <stdexcept>

namespace wzapp_test {
namespace {

std::string opensslDigest(const EVP_MD* type, const std::string& content) {
  std::array<std::uint8_t, EVP_MAX_MD_SIZE> digest;
  unsigned size = 0;
  if (EVP_Digest(content.data(), content.size(), digest.data(), &size, type, nullptr) != 1) {
    throw std::runtime_error("EVP_Digest");
  }
  return hexText(wzapp::ByteView(digest.data(), size));
}

}  // namespace

int openDescriptors() {
  int count = -1;  // the listing's own
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    ++count;
  }
  return count;
}

MemoryFile::MemoryFile(const std::string& content)
    : descriptor_(memfd_create("test", MFD_CLOEXEC)) {
  if (descriptor_ < 0) throw std::runtime_error("memfd_create");
  assign(content);
}

MemoryFile::~MemoryFile() { close(descriptor_); }

void MemoryFile::assign(const std::string& content) const {
  if (ftruncate(descriptor_, 0) != 0 ||
      pwrite(descriptor_, content.data(), content.size(), 0) !=
          static_cast<ssize_t>(content.size()) ||
      lseek(descriptor_, 0, SEEK_SET) != 0) {
    throw std::runtime_error("cannot fill a memory file");
  }
}

wzapp::UnZIP::FileOpener MemoryFile::opener() const {
  return [this] { return fcntl(descriptor_, F_DUPFD_CLOEXEC, 0); };
}

std::string MemoryFile::content() const {
  return contentOf("/proc/self/fd/" + std::to_string(descriptor_));
}

DigestTexts opensslDigests(const std::string& content) {
  return {opensslDigest(EVP_sha1(), content), opensslDigest(EVP_sha256(), content)};
}

std::string hexText(wzapp::ByteView octets) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t octet : octets) {
    text += kDigits[octet >> 4];
    text += kDigits[octet & 15];
  }
  return text;
}

std::string noise(std::size_t size) {
  std::mt19937 random(5);
  std::string octets(size, '\0');
  for (char& octet : octets) octet = static_cast<char>(random());
  return octets;
}

std::string letters(std::size_t size) {
  std::string octets = noise(size);
  for (char& octet : octets) octet = static_cast<char>('a' + (octet & 15));
  return octets;
}

std::vector<std::string> namesOf(const wzapp::UnZIP& archive) {
  std::vector<std::string> names;
  for (const auto& [name, position] : archive.index()) names.emplace_back(name);
  return names;
}

std::optional<std::string> readByName(wzapp::UnZIP& archive, const std::string& name) {
  std::vector<std::uint8_t> content;
  if (!archive.readEntry(archive.index().find(name), content)) return std::nullopt;
  return std::string(content.begin(), content.end());
}

std::optional<DigestTexts> digestByName(wzapp::UnZIP& archive, const std::string& name) {
  // Filled: what lies there may be the very digests, from another call.
  std::array<std::uint8_t, wzapp::kSha1Size> sha1;
  std::array<std::uint8_t, wzapp::kSha256Size> sha256;
  sha1.fill(0xA5);
  sha256.fill(0xA5);
  if (!archive.digestEntry(archive.index().find(name), sha1, sha256)) return std::nullopt;
  return DigestTexts{hexText(sha1), hexText(sha256)};
}

}  // namespace wzapp_test
