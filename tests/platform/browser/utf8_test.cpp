#include "workstation/browser/engine/protocol/utf8.h"

#include <gtest/gtest.h>

namespace workstation {
namespace {

constexpr char kReplaced[] = "\xEF\xBF\xBD";

std::string times(int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += kReplaced;
  return text;
}

struct Utf8Row {
  std::string text, expected;
};

class Utf8Test : public testing::TestWithParam<Utf8Row> {};

TEST_P(Utf8Test, IsMadeWellFormed) { EXPECT_EQ(wellFormed(GetParam().text), GetParam().expected); }

INSTANTIATE_TEST_SUITE_P(WellFormed, Utf8Test,
                         testing::Values(Utf8Row{"", ""}, Utf8Row{"plain", "plain"},
                                         Utf8Row{std::string("a\0b", 3), std::string("a\0b", 3)},
                                         Utf8Row{"\x7F", "\x7F"}, Utf8Row{"\xC2\x80", "\xC2\x80"},
                                         Utf8Row{"\xDF\xBF", "\xDF\xBF"},
                                         Utf8Row{"\xE0\xA0\x80", "\xE0\xA0\x80"},
                                         Utf8Row{"\xED\x9F\xBF", "\xED\x9F\xBF"},
                                         Utf8Row{"\xEE\x80\x80", "\xEE\x80\x80"},
                                         Utf8Row{"\xF0\x90\x80\x80", "\xF0\x90\x80\x80"},
                                         Utf8Row{"\xF4\x8F\xBF\xBF", "\xF4\x8F\xBF\xBF"}));

INSTANTIATE_TEST_SUITE_P(Malformed, Utf8Test,
                         testing::Values(Utf8Row{"\x80", times(1)}, Utf8Row{"\xFF", times(1)},
                                         Utf8Row{"\xC1\xBF", times(2)},          // overlong
                                         Utf8Row{"\xE0\x9F\xBF", times(3)},      // overlong
                                         Utf8Row{"\xF0\x8F\xBF\xBF", times(4)},  // overlong
                                         Utf8Row{"\xED\xA0\x80", times(3)},      // a surrogate
                                         Utf8Row{"\xF4\x90\x80\x80", times(4)},  // above U+10FFFF
                                         Utf8Row{"\xC2", times(1)},              // cut
                                         Utf8Row{"\xE2\x82", times(2)},          // cut
                                         Utf8Row{"\xE2\x82z", times(2) + "z"}));

TEST(Utf8NulTest, NulIsReplacedWhereItWouldEndTheText) {
  EXPECT_EQ(wellFormedWithoutNul(std::string("a\0b\xFF", 4)), "a" + times(1) + "b" + times(1));
}

}  // namespace
}  // namespace workstation
