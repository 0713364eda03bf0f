#include "tools/wz/reports/story.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "tools/wz/words/shell_word.h"

namespace wz {
namespace {

using testing::HasSubstr;

TEST(StoryTest, ALineHasItsSchemaItsTimeAndItsEventFirst) {
  EXPECT_EQ(StoryLine("log")
                .text("level", "info")
                .texts("texts", std::vector<std::string>{"a", "b"})
                .at(1500),
            R"({"schema":1,"time":1500,"event":"log","level":"info","texts":["a","b"]})");
  EXPECT_EQ(StoryLine("x")
                .number("n", -3)
                .flag("f", true)
                .json("p", "{\"a\":[1]}")
                .json("q", "")
                .texts("m", std::map<std::string, std::string>{{"k", "v"}})
                .at(0),
            R"({"schema":1,"time":0,"event":"x","n":-3,"f":true,"p":{"a":[1]},"q":null,)"
            R"("m":{"k":"v"}})");
}

TEST(StoryTest, TextsAreExactAndAsciiAlone) {
  EXPECT_EQ(StoryLine("x").text("t", "\xC3\xA9\xE2\x80\xAE\x1B\n\xF0\x9F\x98\x80").at(0),
            R"({"schema":1,"time":0,"event":"x","t":"\u00E9\u202E\u001B\n\uD83D\uDE00"})");
  EXPECT_EQ(StoryLine("x").json("p", "{\"\xC3\xA9\":\"\xE2\x80\xAE\x7F\"}").at(0),
            R"({"schema":1,"time":0,"event":"x","p":{"\u00E9":"\u202E\u007F"}})");
}

TEST(StoryTest, WhatIsNoUtf8IsShownAsForEyes) {
  EXPECT_EQ(StoryLine("x").text("t", "a\xFF").at(0),
            R"({"schema":1,"time":0,"event":"x","t":"a\\xff"})");
}

TEST(StoryTest, LinesOfManyThreadsComeInTheOrderOfTheirTimes) {
  Story story;
  std::vector<long long> times;
  story.addListener([&](const std::string& line) {
    times.push_back(std::stoll(line.substr(line.find("\"time\":") + 7)));
  });

  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 200; ++n) story.tell(StoryLine("x"));
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(times.size(), 800U);
  EXPECT_TRUE(std::is_sorted(times.begin(), times.end()));
}

TEST(ShellWordTest, IsReadBackByAShellAsItWas) {
  EXPECT_EQ(shellWord("desk"), "desk");
  EXPECT_EQ(shellWord(""), "''");
  EXPECT_EQ(shellWord("it's $HOME"), R"('it'\''s $HOME')");
}

}  // namespace
}  // namespace wz
