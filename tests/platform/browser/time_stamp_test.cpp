#include <gtest/gtest.h>

#include <climits>

#include "zelhtml/zelhtml.h"

namespace wzapp_test {
namespace {

using zelhtml::TimeStamp;

struct Normalisation {
  long seconds, nanoseconds, expectedSeconds, expectedNanoseconds;
};

class TimeStampTest : public testing::TestWithParam<Normalisation> {};

TEST_P(TimeStampTest, IsNormalised) {
  const TimeStamp stamp(GetParam().seconds, GetParam().nanoseconds);

  EXPECT_EQ(stamp.seconds(), GetParam().expectedSeconds);
  EXPECT_EQ(stamp.nanoseconds(), GetParam().expectedNanoseconds);
}

INSTANTIATE_TEST_SUITE_P(
    Table, TimeStampTest,
    testing::Values(Normalisation{0, 0, 0, 0}, Normalisation{1, 999999999, 1, 999999999},
                    Normalisation{1, 1000000000, 2, 0}, Normalisation{1, 2500000000, 3, 500000000},
                    Normalisation{1, -1, 0, 999999999}, Normalisation{0, -1000000000, -1, 0},
                    Normalisation{0, -1000000001, -2, 999999999}));

TEST(TimeStampSumTest, CarriesNanoseconds) {
  const TimeStamp sum = TimeStamp(1, 600000000) + TimeStamp(2, 600000000);

  EXPECT_EQ(sum.seconds(), 4);
  EXPECT_EQ(sum.nanoseconds(), 200000000);
}

TEST(TimeStampSumTest, DefaultIsZero) {
  const TimeStamp zero;

  EXPECT_EQ(zero.seconds(), 0);
  EXPECT_EQ(zero.nanoseconds(), 0);
}

TEST(TimeStampSumTest, MonotonicGoesForward) {
  const TimeStamp first = TimeStamp::Monotonic();
  const TimeStamp second = TimeStamp::Monotonic();

  EXPECT_GE(second.seconds() * 1000000000 + second.nanoseconds(),
            first.seconds() * 1000000000 + first.nanoseconds());
  EXPECT_GT(first.seconds() + first.nanoseconds(), 0);
}

}  // namespace
}  // namespace wzapp_test
