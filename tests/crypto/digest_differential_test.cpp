// The digests beside OpenSSL's, over random messages in random pieces.
#include <gtest/gtest.h>

#include "crypto/digest/digest.h"
#include "tests/crypto/openssl_numbers.h"
#include "tests/crypto/random_cases.h"

namespace wzapp {
namespace {

using wzapp_test::Octets;
using wzapp_test::opensslDigest;
using wzapp_test::RandomCases;

// Short messages are the likely ones, since padding has most of its cases there.
std::size_t randomSize(RandomCases& random) {
  constexpr std::size_t kBounds[] = {70, 200, 1000, 20000};
  return random.below(kBounds[random.below(std::size(kBounds))]);
}

TEST(DigestDifferentialTest, RandomMessagesInRandomPiecesAgreeWithOpenssl) {
  RandomCases random(5);
  for (std::size_t i = 0; i < wzapp_test::randomCaseCount(10000); ++i) {
    const Octets message = random.octets(randomSize(random));
    Sha1Context sha1;
    Sha256Context sha256;
    Sha1Context bothSha1;
    Sha256Context bothSha256;
    digestStart(&sha1);
    digestStart(&sha256);
    digestStart(&bothSha1);
    digestStart(&bothSha256);

    for (ByteView rest = message; !rest.empty();) {
      const std::size_t size = 1 + random.below(rest.size());
      const ByteView piece = rest.first(size);
      digestAdd(&sha1, piece);
      digestAdd(&sha256, piece);
      digestAdd(&bothSha1, &bothSha256, piece);
      rest = rest.subspan(size);
    }

    Octets alone1(kSha1Size);
    Octets alone256(kSha256Size);
    Octets both1(kSha1Size);
    Octets both256(kSha256Size);
    digestFinish(&sha1, alone1.data());
    digestFinish(&sha256, alone256.data());
    digestFinish(&bothSha1, both1.data());
    digestFinish(&bothSha256, both256.data());
    const Octets expected1 = opensslDigest(EVP_sha1(), message);
    const Octets expected256 = opensslDigest(EVP_sha256(), message);
    ASSERT_EQ(alone1, expected1);
    ASSERT_EQ(both1, expected1);
    ASSERT_EQ(alone256, expected256);
    ASSERT_EQ(both256, expected256);
  }
}

}  // namespace
}  // namespace wzapp
