// What a package file may make the run do before a signature.

#include "installer/unverified_work.h"

#include <gtest/gtest.h>

#include "archive/unzip.h"

namespace wzapp {
namespace {

constexpr std::uint64_t kMega = std::uint64_t{1} << 20;
constexpr std::uint64_t kCredentials = 32 * kMaxCredentialSize;

struct WorkCase {
  std::uint64_t fileSize;
  std::uint64_t octets;  // that may come out of it, beside 32 certificates and signatures
};

class UnverifiedWorkTest : public testing::TestWithParam<WorkCase> {};

TEST_P(UnverifiedWorkTest, IsLimitedByTheSizeOfTheFile) {
  const std::uint64_t limit = GetParam().octets + kCredentials;

  EXPECT_TRUE(UnverifiedWork(GetParam().fileSize).take(limit));
  EXPECT_FALSE(UnverifiedWork(GetParam().fileSize).take(limit + 1));
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, UnverifiedWorkTest,
    testing::Values(WorkCase{0, 0}, WorkCase{1, 1032}, WorkCase{1000, 1032000},
                    WorkCase{21620, 21620 * 1032},  // the last of which all may come out
                    WorkCase{21621, 16 * kMega + 21621 * 256},  // that the format can bring
                    WorkCase{kMega, 272 * kMega},
                    WorkCase{std::uint64_t{1} << 40, 16 * kMega + (std::uint64_t{256} << 40)}));

TEST(UnverifiedWorkGivenBackTest, CanBeTakenAgain) {
  UnverifiedWork work(0);

  for (int i = 0; i < 100; ++i) {
    ASSERT_TRUE(work.take(kCredentials)) << i;
    EXPECT_FALSE(work.take(1));
    work.giveBack(kCredentials);
  }
}

// There is no such file, and all the same no wrap.
TEST(UnverifiedWorkLargestTest, OfTheLargestSizeIsNotLessThanThatOfALargeOne) {
  EXPECT_TRUE(UnverifiedWork(UINT64_MAX).take(std::uint64_t{1} << 50));
}

}  // namespace
}  // namespace wzapp
