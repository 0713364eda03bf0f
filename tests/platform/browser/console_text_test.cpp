#include "workstation/browser/engine/page/console_text.h"

#include <gtest/gtest.h>

namespace wzapp_test {
namespace {

using workstation::consoleText;
using workstation::JsonDocument;

std::string textOf(const std::string& type, const std::string& args,
                   const std::map<std::size_t, std::string>& expanded = {}) {
  JsonDocument document;
  EXPECT_TRUE(workstation::parseJson(args, document)) << args;
  return consoleText(type, document, expanded);
}

TEST(ConsoleTextTest, PreviewsStandInWhereThePageHasNotAnswered) {
  const std::string object =
      R"({"type":"object","objectId":"1","preview":{"type":"object","description":"Till",)"
      R"("overflow":true,"properties":[{"name":"open","type":"boolean","value":"true"},)"
      R"({"name":"name","type":"string","value":"a\"b"},)"
      R"({"name":"at","type":"object","value":"Object"}]}})";

  EXPECT_EQ(textOf("log", "[" + object + "]"), R"(Till {open: true, name: "a\"b", at: {…}, …})");
  EXPECT_EQ(textOf("log", "[" + object + "]", {{0, "better"}}), "better");
}

TEST(ConsoleTextTest, FormatCharactersWithoutArgumentStayWhatTheyAre) {
  EXPECT_EQ(textOf("log", R"([{"type":"string","value":"%s %d %x %%"},)"
                          R"({"type":"string","value":"a"}])"),
            "a %d %x %");
  EXPECT_EQ(textOf("log", R"([{"type":"string","value":"100%"},{"type":"number","value":1,)"
                          R"("description":"1"}])"),
            "100% 1");
}

TEST(ConsoleTextTest, NothingOfWhatAPageSendsMakesItFail) {
  for (const char* args : {"null", "[]", "[null]", "[1]", R"([{}])", R"([{"type":"string"}])",
                           R"([{"preview":{"properties":[null,{"entries":5}]}}])",
                           R"([{"preview":{"subtype":"map","entries":[null,{}]}}])"}) {
    for (const char* type : {"log", "table", "dir", "assert", "trace"}) (void)textOf(type, args);
  }
}

TEST(ConsoleTextTest, ATableWithTooManyRowsAndTooWideCellsIsCut) {
  std::string rows;
  for (int i = 0; i < 300; ++i) {
    rows += (i > 0 ? "," : "") + std::string(R"({"name":")") + std::to_string(i) +
            R"(","type":"string","value":")" + std::string(500, 'x') + "\"}";
  }

  const std::string text =
      textOf("table", R"([{"type":"object","preview":{"properties":[)" + rows + "]}}]");

  EXPECT_LT(text.size(), 300U * 150);
  EXPECT_EQ(text.substr(text.size() - 4), "\n…");
}

TEST(ConsoleTextTest, PlacesAndStacksAreRelativeToTheApplication) {
  JsonDocument stack;
  ASSERT_TRUE(workstation::parseJson(
      R"({"callFrames":[{"functionName":"pay","url":"https://shop.invalid/a/b.js","lineNumber":2,)"
      R"("columnNumber":0},{"functionName":"","url":"https://shop.invalid.evil/x.js",)"
      R"("lineNumber":0,"columnNumber":4}]})",
      stack));

  EXPECT_EQ(workstation::stackText(stack, "https://shop.invalid"),
            "\n    at pay (a/b.js:3:1)\n    at https://shop.invalid.evil/x.js:1:5");
  const workstation::SourcePlace place = workstation::placeOf(stack, "https://shop.invalid");
  EXPECT_EQ(place.file, "a/b.js");
  EXPECT_EQ(place.line, 3);
}

}  // namespace
}  // namespace wzapp_test
