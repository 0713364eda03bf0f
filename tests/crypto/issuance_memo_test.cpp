#include "crypto/certificate/issuance_memo.h"

#include <gtest/gtest.h>

#include <vector>

namespace wzapp {
namespace {

using Octets = std::vector<std::uint8_t>;

const Octets kIssuer = {1, 2, 3};
const Octets kCertificate = {4, 5, 6};

TEST(IssuanceMemoTest, KnowsNothingAtFirst) {
  IssuanceMemo memo;

  EXPECT_FALSE(memo.knows(kIssuer, kCertificate));
}

TEST(IssuanceMemoTest, KnowsWhatItWasTold) {
  IssuanceMemo memo;
  memo.remember(kIssuer, kCertificate);

  EXPECT_TRUE(memo.knows(kIssuer, kCertificate));
}

struct OtherPair {
  const char* name;
  Octets issuer;
  Octets certificate;
};

class IssuanceMemoOther : public testing::TestWithParam<OtherPair> {};

TEST_P(IssuanceMemoOther, IsNotKnown) {
  IssuanceMemo memo;
  memo.remember(kIssuer, kCertificate);

  EXPECT_FALSE(memo.knows(GetParam().issuer, GetParam().certificate));
}

INSTANTIATE_TEST_SUITE_P(Pairs, IssuanceMemoOther,
                         testing::Values(OtherPair{"AnotherIssuer", {1, 2, 9}, kCertificate},
                                         OtherPair{"AnotherCertificate", kIssuer, {4, 5, 9}},
                                         OtherPair{"TheTwoExchanged", kCertificate, kIssuer},
                                         OtherPair{"TheBorderMovedForward", {1, 2, 3, 4}, {5, 6}},
                                         OtherPair{"TheBorderMovedBack", {1, 2}, {3, 4, 5, 6}},
                                         OtherPair{"AllInTheIssuer", {1, 2, 3, 4, 5, 6}, {}},
                                         OtherPair{"AllInTheCertificate", {}, {1, 2, 3, 4, 5, 6}}),
                         [](const auto& param) { return std::string(param.param.name); });

TEST(IssuanceMemoTest, KeepsThroughTheNextRound) {
  IssuanceMemo memo;
  memo.remember(kIssuer, kCertificate);

  memo.startRound();

  EXPECT_TRUE(memo.knows(kIssuer, kCertificate));
}

TEST(IssuanceMemoTest, KeepsForAsLongAsEveryRoundAsks) {
  IssuanceMemo memo;
  memo.remember(kIssuer, kCertificate);

  for (int round = 0; round < 5; ++round) {
    memo.startRound();
    EXPECT_TRUE(memo.knows(kIssuer, kCertificate)) << round;
  }
}

TEST(IssuanceMemoTest, ForgetsAfterARoundInWhichNobodyAsked) {
  IssuanceMemo memo;
  memo.remember(kIssuer, kCertificate);

  memo.startRound();
  memo.startRound();

  EXPECT_FALSE(memo.knows(kIssuer, kCertificate));
}

}  // namespace
}  // namespace wzapp
