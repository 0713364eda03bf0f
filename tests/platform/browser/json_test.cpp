#include "workstation/browser/engine/protocol/json.h"

#include <gtest/gtest.h>

namespace workstation {
namespace {

TEST(JsonTest, QuotesWhatMustNotStandInAString) {
  EXPECT_EQ(jsonQuote(std::string("a\"\\\n\0\x7F", 6)), R"("a\"\\\u000a\u0000\u007f")");
  EXPECT_EQ(jsonQuote("\xE2\x82\xAC\xFF"), "\"\xE2\x82\xAC\xEF\xBF\xBD\"");
}

TEST(JsonTest, BuildsObjects) {
  EXPECT_EQ(JsonObject().text(), "{}");
  EXPECT_EQ(JsonObject()
                .add("text", "a")
                .add("number", 5)
                .add("long", 1LL << 40)
                .add("truth", true)
                .addRaw("raw", "[1]")
                .text(),
            R"({"text":"a","number":5,"long":1099511627776,"truth":true,"raw":[1]})");
}

TEST(JsonTest, ReadsWhatItWrites) {
  const std::string text = std::string("nul \0", 5) + " \x01 \" \\ \xF0\x9F\x98\x80";
  JsonDocument document;

  ASSERT_TRUE(parseJson(JsonObject().add("a\"b", text).text(), document));

  EXPECT_EQ(jsonString(document, "a\"b"), text);
}

TEST(JsonTest, MissingAndOtherTypesReadAsNothing) {
  JsonDocument document;
  ASSERT_TRUE(parseJson(R"({"n":1.5,"s":"5","o":{},"big":3000000000})", document));

  EXPECT_EQ(jsonString(document, "n"), "");
  EXPECT_EQ(jsonString(document, "none"), "");
  EXPECT_EQ(jsonInt(document, "s", -1), -1);
  EXPECT_EQ(jsonInt(document, "n", -1), -1);
  EXPECT_EQ(jsonInt(document, "big", -1), -1);
  EXPECT_FALSE(jsonBool(document, "s"));
  EXPECT_TRUE(jsonMember(document, "none").IsNull());
  EXPECT_TRUE(jsonMember(jsonMember(document, "s"), "x").IsNull());
}

struct SurrogateRow {
  const char* text;
  const char* expected;
};

class SurrogateTest : public testing::TestWithParam<SurrogateRow> {};

TEST_P(SurrogateTest, LoneHalvesAreReplaced) {
  std::string text = GetParam().text;

  repairSurrogates(text);

  EXPECT_EQ(text, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Table, SurrogateTest,
    testing::Values(SurrogateRow{R"("\ud83d\ude00")", R"("\ud83d\ude00")"},
                    SurrogateRow{R"("\uD83D")", R"("\ufffd")"},
                    SurrogateRow{R"("\ude00\ud83d")", R"("\ufffd\ufffd")"},
                    SurrogateRow{R"("\ud83d\ud83d\ude00")", R"("\ufffd\ud83d\ude00")"},
                    SurrogateRow{R"("\ud83dx\ude00")", R"("\ufffdx\ufffd")"},
                    SurrogateRow{R"("\\ud83d")", R"("\\ud83d")"},
                    SurrogateRow{R"("\\\ud83d")", R"("\\\ufffd")"},
                    SurrogateRow{R"("\u0000\n\u20ac")", R"("\u0000\n\u20ac")"},
                    SurrogateRow{R"(\)", R"(\)"}, SurrogateRow{R"(\u)", R"(\u)"},
                    SurrogateRow{R"(\ud83)", R"(\ud83)"},
                    SurrogateRow{R"(\ud83d\u)", R"(\ufffd\u)"}, SurrogateRow{"", ""}));

TEST(JsonTest, NestingCostsNoStack) {
  const std::size_t depth = 1'000'000;
  JsonDocument document;

  EXPECT_TRUE(parseJson(std::string(depth, '[') + std::string(depth, ']'), document));
}

TEST(JsonTest, MalformedTextsAreRefused) {
  for (const char* text : {"", "{", "{\"a\":}", "nul", "\"\\x\"", "1 2"}) {
    JsonDocument document;
    EXPECT_FALSE(parseJson(text, document)) << text;
  }
}

}  // namespace
}  // namespace workstation
