#include "tools/wz/reports/story_difference.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace wz {
namespace {

using rapidjson::Document;
using testing::ElementsAre;
using testing::IsEmpty;

Document parsed(const std::string& text) {
  Document document;
  document.Parse(text.c_str());
  EXPECT_FALSE(document.HasParseError()) << text;
  return document;
}

Document console(const std::string& text) {
  return parsed(R"({"at":1.5,"event":"console","text":")" + text + "\"}");
}

Document message(const std::string& name) {
  return parsed(R"({"at":9,"event":"messageSent","name":")" + name + "\"}");
}

class StoryDifferenceTest : public testing::Test {
 protected:
  void record(Document line) {
    recording_.lines.push_back({static_cast<int>(recording_.lines.size()) + 2, 0, std::move(line)});
  }

  std::vector<std::string> differencesOf(std::vector<Document> seen) const {
    StoryDifference story(recording_);
    for (Document& line : seen) story.add(std::move(line));
    return story.differences(recording_.lines.size());
  }

  template <typename... Lines>
  static std::vector<Document> lines(Lines&&... all) {
    std::vector<Document> list;
    (list.push_back(std::move(all)), ...);
    return list;
  }

  Recording recording_;
};

TEST_F(StoryDifferenceTest, TimesAndTheOrderAmongKindsDoNotCount) {
  record(console("a"));
  record(message("PAY"));
  record(console("b"));

  EXPECT_THAT(differencesOf(lines(message("PAY"), console("a"), console("b"))), IsEmpty());
}

TEST_F(StoryDifferenceTest, NamesWhatIsMissingNewOrChanged) {
  record(console("a"));
  record(console("b"));
  record(console("c"));

  EXPECT_THAT(differencesOf(lines(console("a"), console("c"))),
              ElementsAre(R"(line 3: missing {"event":"console","text":"b"})"));
  EXPECT_THAT(differencesOf(lines(console("a"), console("x"), console("b"), console("c"))),
              ElementsAre(R"(not recorded {"event":"console","text":"x"})"));
  EXPECT_THAT(differencesOf(lines(console("a"), console("B"), console("c"), message("NEW"))),
              ElementsAre(R"(line 3: recorded {"event":"console","text":"b"}, )"
                          R"(now {"event":"console","text":"B"})",
                          R"(not recorded {"event":"messageSent","name":"NEW"})"));
}

TEST_F(StoryDifferenceTest, AStarStandsForAnyValue) {
  const Document expected = parsed(R"({"at":1,"a":"*","b":[1,"*"],"c":{"x":"*"}})");

  EXPECT_TRUE(isAsExpected(expected, parsed(R"({"at":2,"c":{"x":{}},"b":[1,{}],"a":null})")));
  EXPECT_FALSE(isAsExpected(expected, parsed(R"({"a":1,"b":[2,1],"c":{"x":1}})")));
  EXPECT_FALSE(isAsExpected(expected, parsed(R"({"a":1,"b":[1,1]})")));
  EXPECT_FALSE(isAsExpected(expected, parsed(R"({"a":1,"b":[1,1],"c":{"x":1},"d":1})")));
}

TEST_F(StoryDifferenceTest, KnowsHowFarARunHasCome) {
  record(console("a"));
  record(message("PAY"));
  record(parsed(R"({"at":1,"event":"click","target":"#pay"})"));
  record(console("b"));
  StoryDifference story(recording_);

  EXPECT_TRUE(story.hasComeTo(0));
  EXPECT_FALSE(story.hasComeTo(2));
  story.add(message("PAY"));
  story.add(console("something else"));
  EXPECT_TRUE(story.hasComeTo(2));
  EXPECT_TRUE(story.hasComeTo(3));
  EXPECT_FALSE(story.hasComeTo(4));
}

TEST_F(StoryDifferenceTest, AFloodIsNotCompared) {
  std::vector<Document> flood;
  for (int i = 0; i < 3000; ++i) flood.push_back(console("x"));

  EXPECT_THAT(differencesOf(std::move(flood)),
              ElementsAre("there are 3000 events \"console\", too many to compare"));
}

}  // namespace
}  // namespace wz
