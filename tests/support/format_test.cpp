#include "support/format.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <limits>
#include <ostream>
#include <string>

namespace wzapp {
namespace {

int formatHtml(std::string& out, const char* formatText, ...) {
  va_list arguments;
  va_start(arguments, formatText);
  const int length = formatImpl(true, out, formatText, arguments);
  va_end(arguments);
  return length;
}

struct FormatCase {
  std::string expected;
  const char* formatText;
  std::function<int(std::string& out)> run;
};

void PrintTo(const FormatCase& row, std::ostream* out) { *out << row.formatText; }

template <class... Args>
FormatCase plain(const std::string& expected, const char* formatText, Args... arguments) {
  return {expected, formatText,
          [=](std::string& out) { return format(out, formatText, arguments...); }};
}

template <class... Args>
FormatCase html(const std::string& expected, const char* formatText, Args... arguments) {
  return {expected, formatText,
          [=](std::string& out) { return formatHtml(out, formatText, arguments...); }};
}

class FormatTest : public testing::TestWithParam<FormatCase> {};

TEST_P(FormatTest, Writes) {
  std::string out = "before";

  const int length = GetParam().run(out);

  EXPECT_EQ(out, GetParam().expected);
  EXPECT_EQ(length, static_cast<int>(GetParam().expected.size()));
}

constexpr std::int32_t kMinInt = std::numeric_limits<std::int32_t>::min();
const char* const kNoText = nullptr;
const char* const kDump = "\xde\xad\xbe\xef";

INSTANTIATE_TEST_SUITE_P(Text, FormatTest,
                         testing::Values(plain("", ""), plain("", nullptr), html("", nullptr),
                                         plain("plain text\n", "plain text\n"),
                                         plain("100%", "100%%"), plain("%d", "%%d"),
                                         plain("%%", "%%%%"), plain("a1b2c", "a%db%dc", 1, 2)));

INSTANTIATE_TEST_SUITE_P(Signed, FormatTest,
                         testing::Values(plain("0", "%d", 0), plain("-42", "%i", -42),
                                         plain("42", "%d", 42), plain("-2147483648", "%d", kMinInt),
                                         plain("2147483647", "%d", 2147483647),
                                         plain("  -42", "%5d", -42), plain("-0042", "%05d", -42),
                                         plain("-42  ", "%-5d", -42), plain("-42  ", "%-05d", -42),
                                         plain("00042", "%05i", 42), plain("-42", "%3d", -42),
                                         plain("-42", "%2d", -42), plain("-42", "%1d", -42),
                                         plain("-042", "%04d", -42), plain("7", "%.5d", 7),
                                         plain("  7", "%3.9d", 7), plain("007", "%03.1d", 7),
                                         plain("00007", "%005d", 7)));

INSTANTIATE_TEST_SUITE_P(
    Unsigned, FormatTest,
    testing::Values(plain("4294967295", "%u", -1), plain("0", "%u", 0), plain("ffffffff", "%x", -1),
                    plain("FFFFFFFF", "%X", -1), plain("ABCDEF0", "%p", 0xabcdef0),
                    plain("abc", "%x", 0xabc), plain("37777777777", "%o", -1),
                    plain("17", "%o", 15), plain("0", "%x", 0), plain("    7", "%5u", 7),
                    plain("00007", "%05u", 7), plain("7    ", "%-5u", 7),
                    plain("7    ", "%-05u", 7), plain("0000abcd", "%08x", 0xabcd),
                    plain("0000ABCD", "%08X", 0xabcd), plain("0000ABCD", "%08p", 0xabcd),
                    plain("  17", "%4o", 15), plain("0017", "%04o", 15), plain("a", "%.4x", 10)));

INSTANTIATE_TEST_SUITE_P(
    Doubles, FormatTest,
    testing::Values(plain("1.500000", "%f", 1.5), plain("1.5", "%.1f", 1.5),
                    plain("2", "%.0f", 1.5), plain("2", "%.f", 1.5),
                    plain("-0001.50", "%08.2f", -1.5), plain("   -1.50", "%8.2f", -1.5),
                    plain("-1.50   ", "%-8.2f", -1.5), plain("-1.50   ", "%-08.2f", -1.5),
                    plain("1.500000e+00", "%e", 1.5), plain("1.50e+100", "%.2e", 1.5e100),
                    plain("1.5", "%g", 1.5), plain("1e+10", "%g", 1e10), plain("1e-05", "%g", 1e-5),
                    plain("0.0001", "%g", 1e-4), plain("2", "%.0g", 1.5), plain("2", "%.1g", 1.5),
                    plain("000001.5", "%08g", 1.5), plain("-001e+10", "%08g", -1e10),
                    plain("1.500000", "%.*f", -1, 1.5), plain("1.500000", "%.*f", kMinInt, 1.5),
                    plain("-0.000000", "%f", -0.0), plain("-0", "%g", -0.0),
                    plain("inf", "%f", std::numeric_limits<double>::infinity()),
                    plain("-inf", "%e", -std::numeric_limits<double>::infinity()),
                    plain("nan", "%g", std::fabs(std::numeric_limits<double>::quiet_NaN())),
                    plain("1.5", "%,1f", 1.5)));

INSTANTIATE_TEST_SUITE_P(
    CutDoubles, FormatTest,
    testing::Values(
        plain("1." + std::string(61, '0'), "%.61f", 1.0),
        plain("1." + std::string(61, '0'), "%.62f", 1.0),
        plain("1." + std::string(61, '0'), "%.2147483647f", 1.0),
        plain("1." + std::string(61, '0'), "%.99999999999999999999f", 1.0),
        plain("-1." + std::string(60, '0'), "%.100f", -1.0),
        plain("100000000000000003502199685943161173046080317798311825604870144", "%.0f", 1e62),
        plain("-99999999999999999209038626283633850822756121694230455365568299", "%.0f", -1e65),
        plain("  1." + std::string(61, '0'), "%65.80f", 1.0),
        plain("1." + std::string(61, '0'), "%63.80f", 1.0)));

INSTANTIATE_TEST_SUITE_P(
    Texts, FormatTest,
    testing::Values(plain("text", "%s", "text"), plain("", "%s", ""),
                    plain("<null>", "%s", kNoText), plain("tex", "%.3s", "text"),
                    plain("text", "%.4s", "text"), plain("text", "%.9s", "text"),
                    plain("", "%.0s", "text"), plain("", "%.s", "text"),
                    plain("text", "%.*s", -1, "text"), plain("te", "%.*s", 2, "text"),
                    plain("   text", "%7s", "text"), plain("   text", "%07s", "text"),
                    plain("text   ", "%-7s", "text"), plain("text   ", "%-07s", "text"),
                    plain("text", "%4s", "text"), plain("text", "%3s", "text"),
                    plain("     te", "%7.2s", "text"), plain("  <null>", "%8s", kNoText),
                    plain("<nu", "%.3s", kNoText), plain("<b>\n", "%s", "<b>\n"),
                    html("<b>", "%s", "<b>")));

INSTANTIATE_TEST_SUITE_P(Characters, FormatTest,
                         testing::Values(plain("x", "%c", 'x'),
                                         plain(std::string(1, '\0'), "%c", 0),
                                         plain("\xe4", "%c", 0xe4), plain("A", "%c", 0x141),
                                         plain("  x", "%3c", 'x'), plain("  x", "%03c", 'x'),
                                         plain("x  ", "%-3c", 'x'), plain("x", "%1c", 'x'),
                                         plain("x", "%.0c", 'x'), html("<", "%c", '<')));

INSTANTIATE_TEST_SUITE_P(
    HtmlConversions, FormatTest,
    testing::Values(html("&lt;b&gt;", "%S", "<b>"), html("&lt;null&gt;", "%S", kNoText),
                    html("&lt;b", "%.2S", "<b>"), html("  &lt;b&gt;", "%5S", "<b>"),
                    html("  &lt;b&gt;", "%05S", "<b>"), html("&lt;b&gt;  ", "%-5S", "<b>"),
                    html("&lt;b&gt;", "%3S", "<b>"), html("&amp;", "%C", '&'),
                    html("  &amp;", "%3C", '&'), html("&amp;  ", "%-3C", '&'),
                    html("  &amp;", "%03C", '&'), html(" ", "%C", 0), html("<br>", "%C", '\n'),
                    html("<a> &lt;a&gt; 1", "<a> %S %d", "<a>", 1)));

INSTANTIATE_TEST_SUITE_P(HtmlConversionsInPlainMode, FormatTest,
                         testing::Values(plain("S", "%S"), plain("C", "%C"),
                                         plain("S 1", "%S %d", 1), plain("C 1", "%C %d", 1),
                                         plain("S", "%5.2S"), plain("S 7", "%*S %d", 5, 7)));

INSTANTIATE_TEST_SUITE_P(
    Dumps, FormatTest,
    testing::Values(plain("DEADBEEF", "%[4m", kDump), plain("DEAD", "%[2m", kDump),
                    plain("", "%m", kDump), plain("", "%[m", kDump), plain("", "%[0m", kDump),
                    plain("DEADBE", "%[*m", 3, kDump), plain("", "%[*m", -3, kDump),
                    plain("  DEAD", "%6[2m", kDump), plain("  DEAD", "%06[2m", kDump),
                    plain("DEAD  ", "%-6[2m", kDump), plain("DEAD", "%4[2m", kDump),
                    plain("DEAD", "%.1[2m", kDump), plain("", "%[4m", kNoText),
                    plain("000A", "%[2m", "\0\n")));

INSTANTIATE_TEST_SUITE_P(
    PackedDecimals, FormatTest,
    testing::Values(plain("123", "%[2b", "\x01\x23"), plain("1.23", "%.2[2b", "\x01\x23"),
                    plain("1,23", "%,2[2b", "\x01\x23"), plain("-0.5", "%.1[2b", "\xd0\x05"),
                    plain("-0,5", "%,1[2b", "\xd0\x05"), plain("-5", "%[2b", "\xd0\x05"),
                    plain("0", "%[1b", "\0"), plain("0", "%[2b", "\0\0"),
                    plain("-0", "%[1b", "\xd0"), plain("0.00", "%.2[1b", "\0"),
                    plain("0.05", "%.2[1b", "\x05"), plain("0.050", "%.3[1b", "\x50"),
                    plain("0.50", "%.2[1b", "\x50"), plain("5.0", "%.1[1b", "\x50"),
                    plain("0.0123", "%.4[2b", "\x01\x23"), plain("0.00123", "%.5[2b", "\x01\x23"),
                    plain("123", "%.0[2b", "\x01\x23"), plain("123", "%.*[2b", -2, "\x01\x23"),
                    plain("1.23", "%.*[*b", 2, 2, "\x01\x23"), plain("100", "%[2b", "\x01\x00"),
                    plain("", "%b", "\x12"), plain("", "%[*b", -1, "\x12"),
                    plain("0.00", "%.2b", "\x12"), plain("ABC", "%[2b", "\x0a\xbc"),
                    plain("-EAD", "%[2b", "\xde\xad"), plain("1D", "%[1b", "\x1d"),
                    plain("-D", "%[1b", "\xdd")));

INSTANTIATE_TEST_SUITE_P(
    PaddedPackedDecimals, FormatTest,
    testing::Values(plain("   123", "%6[2b", "\x01\x23"), plain("000123", "%06[2b", "\x01\x23"),
                    plain("123   ", "%-6[2b", "\x01\x23"), plain("123   ", "%-06[2b", "\x01\x23"),
                    plain("  -0.5", "%6.1[2b", "\xd0\x05"), plain("00-0.5", "%06.1[2b", "\xd0\x05"),
                    plain("-0.5  ", "%-6.1[2b", "\xd0\x05"), plain("123", "%3[2b", "\x01\x23")));

const std::string kLongNumber(32, '\x11');

INSTANTIATE_TEST_SUITE_P(PackedDecimalOverflow, FormatTest,
                         testing::Values(plain(std::string(62, '1'), "%[31b", kLongNumber.c_str()),
                                         plain("<OVERFLOW> next", "%[32b %s", "next"),
                                         plain("<OVERFLOW> next", "%[2147483647b %s", "next"),
                                         plain("0." + std::string(58, '0') + "12", "%.60[1b",
                                               "\x12"),
                                         plain("<OVERFLOW> next", "%.61[1b %s", "next"),
                                         plain("<OVERFLOW> next", "%.2147483647[1b %s", "next"),
                                         plain("<OVERFLOW> next", "%.*[*b %s", 61, 1, "next"),
                                         plain("<OVERFLOW>", "%20[32b")));

INSTANTIATE_TEST_SUITE_P(
    Arguments, FormatTest,
    testing::Values(plain("   42", "%*d", 5, 42), plain("00042", "%0*d", 5, 42),
                    plain("42   ", "%-*d", 5, 42), plain("42", "%*d", -5, 42),
                    plain("42", "%*d", kMinInt, 42), plain("  1.50", "%*.*f", 6, 2, 1.5),
                    plain("  DEAD", "%*.*[*m", 6, 1, 2, kDump), plain("1 2", "%hd %ld", 1, 2),
                    plain("3", "%hld", 3), plain("FF 7", "%[1lm %d", "\xff", 7)));

// The parts of a directive have one order; what does not fit it ends the directive.
INSTANTIATE_TEST_SUITE_P(
    OtherLetters, FormatTest,
    testing::Values(plain("y", "%y"), plain("y 1", "%-05.3[2hly %d", 1), plain("%", "%5%"),
                    plain("ld 1", "%lld %d", 1), plain("hd 1", "%hhd %d", 1),
                    plain("hd 1", "%lhd %d", 1), plain("-5d", "%0-5d"), plain("-d", "%--d"),
                    plain(".2f", "%.1.2f"), plain("[4m", "%[2[4m"), plain("]m", "%[2]m"),
                    plain(" d", "% d"), plain("+d", "%+d"), plain("#x", "%#x"),
                    plain("\xff", "%\xff"), plain("\n", "%5\n"), plain("n", "%n"), plain("E", "%E"),
                    plain("G", "%G"), plain("*d", "%**d", 5)));

INSTANTIATE_TEST_SUITE_P(UnfinishedDirectives, FormatTest,
                         testing::Values(plain("", "%"), plain("a", "a%"), plain("a", "a%-0"),
                                         plain("a", "a%5"), plain("a", "a%5."), plain("a", "a%.7"),
                                         plain("a", "a%["), plain("a", "a%[3"), plain("a", "a%hl"),
                                         plain("a", "a%*", 3)));

TEST(FormatArgumentTest, TakesNoOctetBehindTheLimitOfAText) {
  const char text[3] = {'a', 'b', 'c'};  // without an end
  std::string out;

  EXPECT_EQ(format(out, "%.3s", text), 3);

  EXPECT_EQ(out, "abc");
}

TEST(FormatArgumentTest, MayReadTheOutput) {
  std::string out = "a text long enough to stand on the heap";

  format(out, "%s, %s", out.c_str(), "twice");

  EXPECT_EQ(out, "a text long enough to stand on the heap, twice");
}

TEST(FormatArgumentTest, ReadsManyValuesOfAllKinds) {
  std::string out;

  format(out, "%d %f %s %d %f %s %d %f %s %d %f %d %f %d %f %d %f %d %f %d %f", 1, 1.5, "a", 2, 2.5,
         "b", 3, 3.5, "c", 4, 4.5, 5, 5.5, 6, 6.5, 7, 7.5, 8, 8.5, 9, 9.5);

  EXPECT_EQ(out,
            "1 1.500000 a 2 2.500000 b 3 3.500000 c 4 4.500000 5 5.500000 6 6.500000 7 7.500000 "
            "8 8.500000 9 9.500000");
}

int formatTwice(std::string& first, std::string& second, const char* formatText, ...) {
  va_list arguments;
  va_start(arguments, formatText);
  const int length = vformat(first, formatText, arguments);
  formatImpl(true, second, formatText, arguments);
  va_end(arguments);
  return length;
}

TEST(VformatTest, IsPlainAndLeavesTheArgumentsToTheCaller) {
  std::string first;
  std::string second;

  EXPECT_EQ(formatTwice(first, second, "%d %S", 12, "<"), 4);

  EXPECT_EQ(first, "12 S");
  EXPECT_EQ(second, "12 &lt;");
}

// --- Against printf, in the "C" locale ---------------------------------------------------------

class FormatDoubleTest : public testing::TestWithParam<const char*> {};

TEST_P(FormatDoubleTest, WritesWhatPrintfWrites) {
  const double values[] = {0.0,     -0.0,   1.0,      -1.0,    0.1,   0.5,  1.5,   2.5,
                           1e-5,    1e-4,   123456.0, 1234567, 1e15,  1e16, 1e17,  9.995,
                           0.09995, 1e-300, 5e-324,   1e300,   1e308, M_PI, -M_E,  999999.5,
                           1e22,    1e23,   4.35,     0.045,   1e-10, 1e9,  1e100, 2e-308};
  for (const double value : values) {
    char expected[64];
    std::string out;

    std::snprintf(expected, sizeof expected, GetParam(), value);
    format(out, GetParam(), value);

    EXPECT_EQ(out, expected) << GetParam() << ' ' << value;
  }
}

INSTANTIATE_TEST_SUITE_P(All, FormatDoubleTest,
                         testing::Values("%f", "%e", "%g", "%.0f", "%.0e", "%.0g", "%.1f", "%.1e",
                                         "%.1g", "%.3f", "%.3e", "%.3g", "%.17g", "%.20f", "%.30e",
                                         "%.60g", "%.300f", "%.400e", "%.1100f", "%.1500g", "%20f",
                                         "%020f", "%-20f", "%020e", "%020g"));

}  // namespace
}  // namespace wzapp
