// digest_program library|vector|portable|openssl OCTETS
// Computes SHA-1 and SHA-256 of so many zero octets and prints both, for the instructions that it
// takes to be counted: with the library's kernel for this processor, with one of the others, or
// with OpenSSL, one digest after the other.
#include <openssl/evp.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "crypto/digest/digest.h"

namespace {

constexpr std::size_t kMost = std::size_t{1} << 20;
std::uint8_t octets[kMost];  // never written: filling them would be counted too

void print(const std::uint8_t* digest, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) std::printf("%02x", digest[i]);
  std::puts("");
}

void digestByLibrary(wzapp::ByteView data) {
  wzapp::Sha1Context sha1;
  wzapp::Sha256Context sha256;
  std::uint8_t digest[wzapp::kSha256Size];
  wzapp::digestStart(&sha1);
  wzapp::digestStart(&sha256);
  wzapp::digestAdd(&sha1, &sha256, data);
  wzapp::digestFinish(&sha1, digest);
  print(digest, wzapp::kSha1Size);
  wzapp::digestFinish(&sha256, digest);
  print(digest, wzapp::kSha256Size);
}

// The blocks alone; what is printed is no digest of anything, but differs where the kernels do.
void takeBlocks(const wzapp::DigestKernel& kernel, wzapp::ByteView data) {
  wzapp::Sha1Words sha1 = {};
  wzapp::Sha256Words sha256 = {};
  kernel.both(sha1, sha256, data.data(), data.size() / wzapp::kDigestBlockSize);
  std::printf("%08x%08x\n", unsigned{sha1[0]}, unsigned{sha256[0]});
}

void digestByOpenssl(wzapp::ByteView data) {
  for (const EVP_MD* const type : {EVP_sha1(), EVP_sha256()}) {
    std::uint8_t digest[EVP_MAX_MD_SIZE];
    unsigned size = 0;
    EVP_Digest(data.data(), data.size(), digest, &size, type, nullptr);
    print(digest, size);
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) return 2;
  const std::string way = arguments[1];
  const std::size_t size = std::strtoul(arguments[2], nullptr, 10);
  if (size > kMost) return 2;
  const wzapp::ByteView data(octets, size);
  if (way == "library") {
    digestByLibrary(data);
  } else if (way == "portable") {
    takeBlocks(wzapp::portableDigestKernel(), data);
  } else if (way == "vector" && wzapp::vectorDigestKernel() != nullptr) {
    takeBlocks(*wzapp::vectorDigestKernel(), data);
  } else if (way == "openssl") {
    digestByOpenssl(data);
  } else {
    return 2;
  }
  return 0;
}
