#include "tools/wz/reports/output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <ostream>
#include <string>
#include <string_view>

#include "tools/wz/reports/screen.h"

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

using std::chrono::milliseconds;

TEST(ProgressTest, SaysHowFarItIsAndHowMuchIsLeft) {
  EXPECT_EQ(progressText("making keys", 5, 0, milliseconds(2600)), "making keys: 3 s");
  EXPECT_EQ(progressText("making keys", 4, 12, milliseconds(2000)),
            "making keys: 4 of 12, about 4 s left");
  EXPECT_EQ(progressText("making keys", 12, 12, milliseconds(6000)), "making keys: 12 of 12, 6 s");
}

// In a process of its own, whose outputs are a terminal.
TEST(ProgressTest, ShowsItselfBelowAllElseAndIsGone) {
  const int screen = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_TRUE(screen >= 0 && grantpt(screen) == 0 && unlockpt(screen) == 0);
  const int held = open(ptsname(screen), O_RDWR | O_NOCTTY | O_CLOEXEC);
  const pid_t child = fork();
  if (child == 0) {
    for (const int file : {STDOUT_FILENO, STDERR_FILENO}) dup2(held, file);
    setenv("TERM", "xterm", 1);
    Progress progress("making keys", 13, milliseconds(0));
    progress.step();
    printLine("done");
    _exit(0);
  }
  ASSERT_EQ(waitpid(child, nullptr, 0), child);
  close(held);  // so that reading ends behind the last octet
  std::string shown;
  char block[64];
  for (ssize_t count = 0; (count = read(screen, block, sizeof(block))) > 0;) {
    shown.append(block, static_cast<std::size_t>(count));
  }
  close(screen);

  EXPECT_EQ(shown, "\r\033[2Kmaking keys: 1 of 13, about 0 s left\r\033[2Kdone\r\n");
}

TEST(PaintedTest, WhatIsNoScreenGetsNoColour) {
  int pipe[2];
  ASSERT_EQ(::pipe(pipe), 0);
  EXPECT_FALSE(isScreen(pipe[1]));
  EXPECT_EQ(painted(pipe[1], "refused: shop.zip"), "refused: shop.zip");
  for (const int end : pipe) close(end);
}

TEST(JoinedTest, EveryTextKeepsItsPlace) {
  EXPECT_EQ(joined({}), "");
  EXPECT_EQ(joined({"a"}), "a");
  EXPECT_EQ(joined({"a", "b"}), "a, b");
  EXPECT_EQ(joined({"", "a", ""}, " "), " a ");
}

}  // namespace
}  // namespace wz
