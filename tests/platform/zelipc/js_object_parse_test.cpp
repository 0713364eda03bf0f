// Reading and writing of JSON texts.

#include <climits>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "zelipc/zelipc.h"

namespace {

using zelipc::JSObject;

constexpr const char* kReplacement = "\xEF\xBF\xBD";  // U+FFFD

// Parses a copy that ends exactly behind its terminator, so that a sanitizer sees a read beyond it.
int parseExact(JSObject& object, const std::string& text) {
  const auto copy = std::make_unique<char[]>(text.size() + 1);
  std::memcpy(copy.get(), text.c_str(), text.size() + 1);
  return object.parse(copy.get());
}

struct ParseCase {
  const char* text;
  int consumed;
  const char* value;  // as dump() writes it
};

class JSObjectParseTest : public ::testing::TestWithParam<ParseCase> {};

TEST_P(JSObjectParseTest, ReadsOneValue) {
  const ParseCase& row = GetParam();
  JSObject object("before");

  const int consumed = parseExact(object, row.text);

  EXPECT_EQ(consumed, row.consumed);
  EXPECT_EQ(object.dump(), row.value);
}

constexpr ParseCase kWholeTexts[] = {
    {"null", 4, "null"},
    {"true", 4, "true"},
    {"false", 5, "false"},
    {"0", 1, "0"},
    {"-0", 2, "0"},
    {"-12", 3, "-12"},
    {"1.5", 3, "1.5"},
    {"\"text\"", 6, "\"text\""},
    {"[\"\",{\"\":\"\"}]", 12, "[\"\",{\"\":\"\"}]"},
    {"[]", 2, "[]"},
    {"{}", 2, "{}"},
    {"[1,[2],{\"a\":[]}]", 16, "[1,[2],{\"a\":[]}]"},
    {" \t\n\r{ \"a\" : [ 1 , 2 ] } \t\n\r", 27, "{\"a\":[1,2]}"},
    {"{\"a\":1}\n", 8, "{\"a\":1}"},
    {"{\"a\":1,\"b\":2,\"a\":3}", 19, "{\"a\":3,\"b\":2}"},
    {"{\"a\":{\"x\":1},\"a\":[]}", 20, "{\"a\":[]}"},
};
INSTANTIATE_TEST_SUITE_P(WholeTexts, JSObjectParseTest, ::testing::ValuesIn(kWholeTexts));

constexpr ParseCase kTextsThatGoOn[] = {
    {"1 x", 2, "1"},     {"12abc", 2, "12"},    {"12 \n,", 4, "12"},        {"01", 1, "0"},
    {"-01", 2, "0"},     {"1-", 1, "1"},        {"truefalse", 4, "true"},   {"null\v", 4, "null"},
    {"{}{}", 2, "{}"},   {"[1]]", 3, "[1]"},    {"\"a\"\"b\"", 3, "\"a\""}, {"{} // end", 3, "{}"},
    {"1.5.5", 3, "1.5"}, {"1e2e3", 3, "100.0"}, {"1\xC2\xA0", 1, "1"},
};
INSTANTIATE_TEST_SUITE_P(TextsThatGoOn, JSObjectParseTest, ::testing::ValuesIn(kTextsThatGoOn));

constexpr ParseCase kNoValues[] = {
    {"", -1, "{}"},
    {" \n", -1, "{}"},
    {"nul", -1, "{}"},
    {"nulL", -1, "{}"},
    {"True", -1, "{}"},
    {"abc", -1, "{}"},
    {"-", -1, "{}"},
    {"+1", -1, "{}"},
    {".5", -1, "{}"},
    {"1.", -1, "{}"},
    {"1e", -1, "{}"},
    {"1e+", -1, "{}"},
    {"Infinity", -1, "{}"},
    {"NaN", -1, "{}"},
    {"0x", 1, "0"},
    {"\"", -1, "{}"},
    {"\"a", -1, "{}"},
    {"'a'", -1, "{}"},
    {"\"\\x\"", -1, "{}"},
    {"\"\\u12g4\"", -1, "{}"},
    {"\"\\u12", -1, "{}"},
    {"\"\\", -1, "{}"},
    {"\"a\nb\"", -1, "{}"},
    {"\"\x1f\"", -1, "{}"},
    {"[", -1, "{}"},
    {"[1", -1, "{}"},
    {"[1,", -1, "{}"},
    {"[1,]", -1, "{}"},
    {"[,1]", -1, "{}"},
    {"[1 2]", -1, "{}"},
    {"]", -1, "{}"},
    {"{", -1, "{}"},
    {"{\"a\"", -1, "{}"},
    {"{\"a\":", -1, "{}"},
    {"{\"a\":1", -1, "{}"},
    {"{\"a\":1,", -1, "{}"},
    {"{\"a\":1,}", -1, "{}"},
    {"{\"a\" 1}", -1, "{}"},
    {"{a:1}", -1, "{}"},
    {"{1:1}", -1, "{}"},
    {"[1}", -1, "{}"},
    {"{\"a\":1]", -1, "{}"},
    {"/**/1", -1, "{}"},
    {"\xEF\xBB\xBF{}", -1, "{}"},
    {"[1e400", -1, "{}"},
    {"[1e400e5]", -1, "{}"},
    {"[1e400.]", -1, "{}"},
    {"\"\\ud800", -1, "{}"},
    {"[1e400,00000000]", -1, "{}"},
};
INSTANTIATE_TEST_SUITE_P(NoValues, JSObjectParseTest, ::testing::ValuesIn(kNoValues));

// The ends of the integers and of the doubles, and what lies beyond them.
constexpr ParseCase kNumbers[] = {
    {"9223372036854775807", 19, "9223372036854775807"},
    {"9223372036854775808", 19, "9223372036854775808.0"},
    {"-9223372036854775808", 20, "-9223372036854775808"},
    {"-9223372036854775809", 20, "-9223372036854775808.0"},
    {"18446744073709551616", 20, "18446744073709551616.0"},
    {"4294967296", 10, "4294967296"},
    {"2147483648", 10, "2147483648"},
    {"0.1", 3, "0.1"},
    {"-0.0", 4, "-0.0"},
    {"1E2", 3, "100.0"},
    {"1e+2", 4, "100.0"},
    {"5e-324", 6, "5e-324"},
    {"2.2250738585072011e-308", 23, "2.225073858507201e-308"},
    {"1.7976931348623157e308", 22, "1.7976931348623157e+308"},
    {"1.7976931348623159e308", 22, "1.7976931348623157e+308"},
    {"1e400", 5, "1.7976931348623157e+308"},
    {"-1e400", 6, "-1.7976931348623157e+308"},
    {"1e99999999999999999999 ", 23, "1.7976931348623157e+308"},
    {"1e400-1e-0", 5, "1.7976931348623157e+308"},
    {"9e308x", 5, "1.7976931348623157e+308"},
    {"1e-400", 6, "0.0"},
    {"-1e-99999999999999999999", 24, "-0.0"},
    {"0e400", 5, "0.0"},
    {"0.0001e400", 10, "1.7976931348623157e+308"},
    {"0.00000000000000000001e320", 26, "1e+300"},
    {"[1e400, 2, \"1e400\", 0.25, 1e400]", 32,
     "[1.7976931348623157e+308,2,\"1e400\",0.25,1.7976931348623157e+308]"},
    {"{\"a\\\"\": 1e400,\"b\": -1234567}", 28,
     "{\"a\\\"\":1.7976931348623157e+308,\"b\":-1234567}"},
};
INSTANTIATE_TEST_SUITE_P(Numbers, JSObjectParseTest, ::testing::ValuesIn(kNumbers));

constexpr ParseCase kTexts[] = {
    {"\"\\\"\\\\\\/\\b\\f\\n\\r\\t\"", 18, "\"\\\"\\\\/\\b\\f\\n\\r\\t\""},
    {"\"\\u0041\\u00e9\\u20AC\"", 20, "\"A\xC3\xA9\xE2\x82\xAC\""},
    {"\"\\ud83d\\ude00\"", 14, "\"\xF0\x9F\x98\x80\""},
    {"\"\\u0000\"", 8, "\"\\u0000\""},
    {"\"\x7F\"", 3, "\"\x7F\""},
    // Half a pair, as scripts may send it, is no character.
    {"\"\\ud83d\"", 8, "\"\xEF\xBF\xBD\""},
    {"\"\\ude00\"", 8, "\"\xEF\xBF\xBD\""},
    {"\"\\ud83dx\\\\\"", 11, "\"\xEF\xBF\xBDx\\\\\""},
    {"\"\\ud83d\\n\"", 10, "\"\xEF\xBF\xBD\\n\""},
    {"\"\\ud83d\\ud83d\\ude00\"", 20, "\"\xEF\xBF\xBD\xF0\x9F\x98\x80\""},
    {"{\"\\udead\":[\"\\ud83d\\ude00\"]} ", 28, "{\"\xEF\xBF\xBD\":[\"\xF0\x9F\x98\x80\"]}"},
};
INSTANTIATE_TEST_SUITE_P(Texts, JSObjectParseTest, ::testing::ValuesIn(kTexts));

constexpr ParseCase kIllFormed[] = {
    {"\"\x80\"", -1, "{}"},              // a tail alone
    {"\"\xC3\"", -1, "{}"},              // a lead alone
    {"\"\xC3", -1, "{}"},                // at the end of the text
    {"\"\xE2\x82", -1, "{}"},            //
    {"\"\xF0", -1, "{}"},                //
    {"\"\xC0\xAF\"", -1, "{}"},          // overlong
    {"\"\xE0\x80\xAF\"", -1, "{}"},      //
    {"\"\xF0\x80\x80\xAF\"", -1, "{}"},  //
    {"\"\xED\xA0\x80\"", -1, "{}"},      // a surrogate
    {"\"\xED\xB0\x80\"", -1, "{}"},      //
    {"\"\xF4\x90\x80\x80\"", -1, "{}"},  // beyond U+10FFFF
    {"\"\xFF\"", -1, "{}"},              //
    {"{\"\xC3\":1}", -1, "{}"},          // in a name
};
INSTANTIATE_TEST_SUITE_P(IllFormed, JSObjectParseTest, ::testing::ValuesIn(kIllFormed));

TEST(JSObjectParseTest, ANullPointerIsNoText) {
  JSObject object("before");

  EXPECT_EQ(object.parse(nullptr), -1);
  EXPECT_EQ(object.dump(), "{}");
}

TEST(JSObjectParseTest, ATextEndsAtItsFirstNul) {
  JSObject object;

  EXPECT_EQ(object.parse("[1]\0[2]"), 3);
  EXPECT_EQ(object.dump(), "[1]");
}

TEST(JSObjectParseTest, AnIntegerOfManyDigitsIsADouble) {
  JSObject object;
  const std::string digits = "1" + std::string(300, '0');
  const std::string tooMany = "1" + std::string(400, '0');

  EXPECT_EQ(object.parse(digits.c_str()), 301);
  EXPECT_EQ(object.asDouble(), 1e300);
  EXPECT_EQ(object.parse(tooMany.c_str()), 401);
  EXPECT_EQ(object.asDouble(), std::numeric_limits<double>::max());
}

TEST(JSObjectParseTest, AFractionOfManyDigitsIsRoundedRight) {
  JSObject object;
  // Half way between 1 and the next double, and a little more at the far end.
  const std::string half = "1.00000000000000011102230246251565404236316680908203125";
  const std::string more = half + std::string(1000, '0') + "1";

  EXPECT_EQ(object.parse(half.c_str()), static_cast<int>(half.size()));
  EXPECT_EQ(object.asDouble(), 1.0);
  EXPECT_EQ(object.parse(more.c_str()), static_cast<int>(more.size()));
  EXPECT_EQ(object.asDouble(), 1.0000000000000002);
}

TEST(JSObjectParseTest, ParsingReplacesWhatWasThere) {
  JSObject object;
  object["old"] = 1;

  EXPECT_EQ(object.parse("{\"new\":2}"), 9);
  EXPECT_EQ(object.dump(), "{\"new\":2}");
  EXPECT_EQ(object.parse("{\"new\":2"), -1);
  EXPECT_EQ(object.dump(), "{}");
}

TEST(JSObjectParseTest, APartIsParsedInItsPlace) {
  JSObject object;
  object["a"] = 1;

  EXPECT_EQ(object["a"].parse("[2]"), 3);
  EXPECT_EQ(object.dump(), "{\"a\":[2]}");
  EXPECT_EQ(object["a"].parse("["), -1);
  EXPECT_EQ(object.dump(), "{\"a\":{}}");
}

struct RepairCase {
  const char* octets;
  std::string written;
};

class JSObjectRepairTest : public ::testing::TestWithParam<RepairCase> {};

TEST_P(JSObjectRepairTest, IllFormedTextIsWrittenWellFormed) {
  JSObject object;

  object[GetParam().octets] = GetParam().octets;

  EXPECT_EQ(object.dump(), "{\"" + GetParam().written + "\":\"" + GetParam().written + "\"}");
  EXPECT_EQ(object[GetParam().octets].asString(), GetParam().octets);
}

const std::string kBad = kReplacement;
INSTANTIATE_TEST_SUITE_P(
    Octets, JSObjectRepairTest,
    ::testing::Values(RepairCase{"a\xFFz", "a" + kBad + "z"}, RepairCase{"\xC3", kBad},
                      RepairCase{"\xE2\x82z", kBad + "z"}, RepairCase{"\xF0\x9F\x98", kBad},
                      RepairCase{"\xC0\xAF", kBad + kBad},
                      RepairCase{"\xED\xA0\x80", kBad + kBad + kBad},
                      RepairCase{"\xF4\x90\x80\x80", kBad + kBad + kBad + kBad},
                      RepairCase{"\xC3\xA9\xC3", "\xC3\xA9" + kBad},
                      RepairCase{"0123456789abcdef\x80", "0123456789abcdef" + kBad}));

TEST(JSObjectDumpTest, WhatJsonCannotSayIsNull) {
  EXPECT_EQ(JSObject(std::numeric_limits<double>::infinity()).dump(), "null");
  EXPECT_EQ(JSObject(-std::numeric_limits<double>::infinity()).dump(), "null");
  EXPECT_EQ(JSObject(std::numeric_limits<double>::quiet_NaN()).dump(), "null");
}

TEST(JSObjectDumpTest, ControlCharactersAreEscaped) {
  EXPECT_EQ(JSObject(std::string("\0\x01\x1f\x7f", 4)).dump(), "\"\\u0000\\u0001\\u001F\x7F\"");
}

TEST(JSObjectDumpTest, EveryDoubleReadsBackAsItself) {
  std::mt19937_64 random(20240305);
  for (int i = 0; i < 20'000; ++i) {
    const std::uint64_t bits = random();
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    if (value != value || value - value != 0) continue;
    JSObject read;

    const std::string text = JSObject(value).dump();

    ASSERT_EQ(read.parse(text.c_str()), static_cast<int>(text.size())) << text;
    ASSERT_FALSE(read.isInt()) << text;
    ASSERT_EQ(read.asDouble(), value) << text;
  }
}

TEST(JSObjectDumpTest, EveryIntegerReadsBackAsItself) {
  for (const long long value : {LLONG_MIN, LLONG_MIN + 1, -1LL, 0LL, 1LL, 1LL << 53,
                                (1LL << 53) + 1, LLONG_MAX - 1, LLONG_MAX}) {
    JSObject read;

    EXPECT_GT(read.parse(JSObject(value).dump().c_str()), 0);

    EXPECT_TRUE(read.isInt());
    EXPECT_EQ(read.asInt(), value);
  }
}

TEST(JSObjectDumpTest, EveryCharacterReadsBackAsItself) {
  std::string all;
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    if (c < 0x80) {
      all += static_cast<char>(c);
      continue;
    }
    if (c >= 0x10000) {
      all += static_cast<char>(0xF0 | (c >> 18));
      all += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    } else if (c >= 0x800) {
      all += static_cast<char>(0xE0 | (c >> 12));
    }
    all += c >= 0x800 ? static_cast<char>(0x80 | ((c >> 6) & 0x3F))
                      : static_cast<char>(0xC0 | (c >> 6));
    all += static_cast<char>(0x80 | (c & 0x3F));
  }
  JSObject read;

  EXPECT_GT(read.parse(JSObject(all).dump().c_str()), 0);

  EXPECT_TRUE(read.asString() == all);
}

}  // namespace
