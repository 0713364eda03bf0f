#include "crypto/digest/digest_kernel.h"

#include <gtest/gtest.h>

#include "crypto/cpu_features.h"
#include "tests/crypto/random_cases.h"
#include "tests/crypto/system_features.h"

namespace wzapp {
namespace {

using wzapp_test::Octets;
using wzapp_test::RandomCases;

struct States {
  Sha1Words sha1;
  Sha256Words sha256;
};

States randomStates(RandomCases& random) {
  States states;
  for (std::uint32_t& word : states.sha1) word = random.word();
  for (std::uint32_t& word : states.sha256) word = random.word();
  return states;
}

// The one block that "abc" is padded to, and the digests of it (FIPS 180-4's examples).
Octets paddedAbc() {
  Octets block = {'a', 'b', 'c', 0x80};
  block.resize(kDigestBlockSize);
  block.back() = 24;
  return block;
}

constexpr Sha1Words kSha1Start = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476, 0xc3d2e1f0};
constexpr Sha1Words kSha1OfAbc = {0xa9993e36, 0x4706816a, 0xba3e2571, 0x7850c26c, 0x9cd0d89d};
constexpr Sha256Words kSha256Start = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                      0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
constexpr Sha256Words kSha256OfAbc = {0xba7816bf, 0x8f01cfea, 0x414140de, 0x5dae2223,
                                      0xb00361a3, 0x96177a9c, 0xb410ff61, 0xf20015ad};

using KernelChoice = const DigestKernel* (*)();

// What the system, asked by another way than the library's, says that there must be.
struct TestedKernel {
  const char* name;
  KernelChoice choice;
  bool isExpected;
};

class DigestKernelTest : public testing::TestWithParam<TestedKernel> {
 protected:
  void SetUp() override {
    ASSERT_EQ(GetParam().choice() != nullptr, GetParam().isExpected);
    if (!GetParam().isExpected) GTEST_SKIP() << "this processor has no such instructions";
  }

  static const DigestKernel& kernel() { return *GetParam().choice(); }
};

TEST_P(DigestKernelTest, GivesTheStandardsExample) {
  const Octets block = paddedAbc();
  States alone = {kSha1Start, kSha256Start};
  States together = alone;

  kernel().sha1(alone.sha1, block.data(), 1);
  kernel().sha256(alone.sha256, block.data(), 1);
  kernel().both(together.sha1, together.sha256, block.data(), 1);

  EXPECT_EQ(alone.sha1, kSha1OfAbc);
  EXPECT_EQ(alone.sha256, kSha256OfAbc);
  EXPECT_EQ(together.sha1, kSha1OfAbc);
  EXPECT_EQ(together.sha256, kSha256OfAbc);
}

TEST_P(DigestKernelTest, NoBlocksLeaveTheWordsAlone) {
  States states = {kSha1Start, kSha256Start};

  kernel().sha1(states.sha1, nullptr, 0);
  kernel().sha256(states.sha256, nullptr, 0);
  kernel().both(states.sha1, states.sha256, nullptr, 0);

  EXPECT_EQ(states.sha1, kSha1Start);
  EXPECT_EQ(states.sha256, kSha256Start);
}

// From any state, over any number of blocks at any address, alone and together.
TEST_P(DigestKernelTest, AgreesWithThePortableOne) {
  RandomCases random(4);
  for (std::size_t i = 0; i < wzapp_test::randomCaseCount(2000); ++i) {
    const std::size_t count = random.below(9);
    const std::size_t offset = random.below(16);
    const Octets data = random.octets(offset + count * kDigestBlockSize);
    const std::uint8_t* const blocks = data.data() + offset;
    const States start = randomStates(random);
    States expected = start;
    portableDigestKernel().sha1(expected.sha1, blocks, count);
    portableDigestKernel().sha256(expected.sha256, blocks, count);

    States alone = start;
    States together = start;
    kernel().sha1(alone.sha1, blocks, count);
    kernel().sha256(alone.sha256, blocks, count);
    kernel().both(together.sha1, together.sha256, blocks, count);

    ASSERT_EQ(alone.sha1, expected.sha1);
    ASSERT_EQ(alone.sha256, expected.sha256);
    ASSERT_EQ(together.sha1, expected.sha1);
    ASSERT_EQ(together.sha256, expected.sha256);
  }
}

#if defined(__SSE2__) || defined(__ARM_NEON)
constexpr bool kHasVectors = true;
#else
constexpr bool kHasVectors = false;
#endif

const DigestKernel* portable() { return &portableDigestKernel(); }

INSTANTIATE_TEST_SUITE_P(Kernels, DigestKernelTest,
                         testing::Values(TestedKernel{"Portable", portable, true},
                                         TestedKernel{"Vector", vectorDigestKernel, kHasVectors},
                                         TestedKernel{"ShaInstructions",
                                                      shaInstructionsDigestKernel,
                                                      wzapp_test::systemHasSha()}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(DigestKernelChoiceTest, TakesTheFastestThatThereIs) {
  const DigestKernel* const withoutInstructions =
      kHasVectors ? vectorDigestKernel() : &portableDigestKernel();

  EXPECT_EQ(&digestKernel(),
            wzapp_test::systemHasSha() ? shaInstructionsDigestKernel() : withoutInstructions);
}

}  // namespace
}  // namespace wzapp
