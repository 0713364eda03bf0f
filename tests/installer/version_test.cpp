#include "installer/version.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace wzapp {
namespace {

struct VersionCase {
  const char* name;
  std::string left;
  int order;  // of `left` to `right`: -1, 0 or 1
  std::string right;
};

void PrintTo(const VersionCase& row, std::ostream* out) { *out << row.name; }

int signOf(std::strong_ordering order) {
  if (order == std::strong_ordering::equal) return 0;
  return order == std::strong_ordering::less ? -1 : 1;
}

class VersionTest : public testing::TestWithParam<VersionCase> {};

TEST_P(VersionTest, ComparesByComponents) {
  const VersionCase& row = GetParam();
  const Version left(row.left);
  const Version right(row.right);

  EXPECT_EQ(signOf(left <=> right), row.order);
  EXPECT_EQ(signOf(right <=> left), -row.order);
  EXPECT_EQ(left == right, row.order == 0);
  EXPECT_EQ(left.text(), row.left);
}

INSTANTIATE_TEST_SUITE_P(
    All, VersionTest,
    testing::Values(
        VersionCase{"Equal", "1.2.3", 0, "1.2.3"}, VersionCase{"LastDecides", "1.2.3", -1, "1.2.4"},
        VersionCase{"FirstDecides", "2.0.0", 1, "1.9.9"},
        VersionCase{"NumbersNotText", "1.10", 1, "1.9"},
        VersionCase{"FewerComponentsAreLess", "1.2", -1, "1.2.0"},
        VersionCase{"FewerButGreater", "1.3", 1, "1.2.0"},
        VersionCase{"OneAgainstThree", "2", -1, "2.0.0"},
        VersionCase{"LeadingZeros", "1.02", 0, "1.2"},
        VersionCase{"SpaceAroundComponents", " 1 .\t2\n", 0, "1.2"},
        VersionCase{"SpaceInsideEndsTheNumber", "1 5.2", 0, "1.2"},
        VersionCase{"TextIsZero", "1.x", 0, "1.0"},
        VersionCase{"TextAfterDigits", "1.2b", 0, "1.2"},
        VersionCase{"TextBeforeDigits", "1.b2", 0, "1.0"},
        VersionCase{"PlusSign", "+1.+2", 0, "1.2"}, VersionCase{"MinusSign", "1.-1", -1, "1.0"},
        VersionCase{"TwoSigns", "1.+-2", 0, "1.0"}, VersionCase{"MinusPlus", "1.-+2", 0, "1.0"},
        VersionCase{"SignAlone", "1.-", 0, "1.+"}, VersionCase{"SpaceBehindSign", "- 3", 0, "0"},
        VersionCase{"EmptyIsZero", "", 0, "0"}, VersionCase{"EmptyIsShort", "", -1, "0.0"},
        VersionCase{"EmptyComponents", "1..2", 0, "1.0.2"},
        VersionCase{"DotAtTheEnd", "1.", 0, "1.0"}, VersionCase{"DotAlone", ".", 0, "0.0"},
        VersionCase{"Hexadecimal", "0x10", 0, "0"}, VersionCase{"Exponent", "1e3", 0, "1"},
        VersionCase{"ZeroOctet", std::string("1\0002", 3), 0, "1"},
        VersionCase{"HighOctets", "\xB2.\xC2\xB2", 0, "0.0"},
        VersionCase{"Beyond32Bits", "4294967297", 1, "2"},
        VersionCase{"LargestNumber", "9223372036854775807", 1, "9223372036854775806"},
        VersionCase{"OverflowSaturates", "9223372036854775808", 0, "9223372036854775807"},
        VersionCase{"OverflowNeverWraps", "18446744073709551617", 1, "2"},
        VersionCase{"OverflowBehindZeros", "00000000000000000000000000003", 0, "3"},
        VersionCase{"UnderflowSaturates", "-99999999999999999999", 0, "-9223372036854775808"},
        VersionCase{"ThousandDigits", std::string(1000, '9'), 1, "9223372036854775806"}),
    [](const testing::TestParamInfo<VersionCase>& row) { return row.param.name; });

TEST(DefaultVersionTest, IsTheEmptyOne) { EXPECT_EQ(Version(), Version("")); }

}  // namespace
}  // namespace wzapp
