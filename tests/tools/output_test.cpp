#include "tools/wz/reports/output.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <string_view>

namespace wz {
namespace {

struct Row {
  const char* name;
  std::string_view text;
  const char* shown;
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

class EscapedTest : public testing::TestWithParam<Row> {};

TEST_P(EscapedTest, ShowsOnlyWhatCannotAct) {
  EXPECT_EQ(escaped(GetParam().text), GetParam().shown);
}

using std::string_view_literals::operator""sv;

INSTANTIATE_TEST_SUITE_P(
    Rows, EscapedTest,
    testing::Values(Row{"Plain", "Shop 1 \\ ~", "Shop 1 \\ ~"}, Row{"Empty", "", ""},
                    Row{"Umlaut", "Caf\xC3\xA9", "Caf\xC3\xA9"},
                    Row{"Emoji", "\xF0\x9F\x9B\x92", "\xF0\x9F\x9B\x92"},
                    Row{"Lines", "a\nb\r\tc", "a\\nb\\r\\tc"}, Row{"Escape", "\x1b[2J", "\\x1b[2J"},
                    Row{"Zero", "a\0b"sv, "a\\x00b"}, Row{"Delete", "\x7f", "\\x7f"},
                    Row{"LastControl", "\x1f ", "\\x1f "}, Row{"C1First", "\xC2\x80", "\\u{0080}"},
                    Row{"C1Last", "\xC2\x9F", "\\u{009f}"}, Row{"AfterC1", "\xC2\xA0", "\xC2\xA0"},
                    Row{"RightToLeft", "\xE2\x80\xAE", "\\u{202e}"},
                    Row{"Isolate", "\xE2\x81\xA6", "\\u{2066}"},
                    Row{"LineSeparator", "\xE2\x80\xA8", "\\u{2028}"},
                    Row{"Dash", "\xE2\x80\x93", "\xE2\x80\x93"},
                    Row{"LoneContinuation", "\x80", "\\x80"},
                    Row{"CutSequence", "\xE2\x82", "\\xe2\\x82"},
                    Row{"BrokenSequence", "\xC3(", "\\xc3("},
                    Row{"Overlong", "\xC0\xAF", "\\xc0\\xaf"},
                    Row{"OverlongThree", "\xE0\x80\x9b", "\\xe0\\x80\\x9b"},
                    Row{"Surrogate", "\xED\xA0\x80", "\\xed\\xa0\\x80"},
                    Row{"TooLarge", "\xF4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},
                    Row{"NoLead", "\xFF", "\\xff"}),
    [](const testing::TestParamInfo<Row>& row) { return row.param.name; });

TEST(JoinedTest, EveryTextKeepsItsPlace) {
  EXPECT_EQ(joined({}), "");
  EXPECT_EQ(joined({"a"}), "a");
  EXPECT_EQ(joined({"a", "b"}), "a, b");
  EXPECT_EQ(joined({"", "a", ""}, " "), " a ");
}

}  // namespace
}  // namespace wz
