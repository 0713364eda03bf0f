// What wz run tells: for readers, for programs, and about what went wrong.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/tools/run_fixture.h"

namespace wzapp_test {
namespace {

using rapidjson::Document;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class RunStoryTest : public RunTest {
 protected:
  // The events of a run's story. Each line is one object; what is not is a failure.
  static std::vector<Document> storyOf(const std::string& out) {
    std::vector<Document> story;
    for (const std::string& line : linesOf(out)) {
      EXPECT_TRUE(
          std::all_of(line.begin(), line.end(), [](char c) { return c >= 0x20 && c < 0x7F; }));
      Document event;
      event.Parse(line.c_str());
      EXPECT_TRUE(event.IsObject()) << line;
      if (event.IsObject()) story.push_back(std::move(event));
    }
    return story;
  }

  static std::vector<std::string> namesOf(const std::vector<Document>& story) {
    std::vector<std::string> names;
    for (const Document& event : story) names.emplace_back(event["event"].GetString());
    return names;
  }

  static const Document* find(const std::vector<Document>& story, const std::string& name) {
    for (const Document& event : story) {
      if (event["event"] == name.c_str()) return &event;
    }
    return nullptr;
  }
};

TEST_F(RunStoryTest, JsonTellsEverythingInOneOrderOnOneClock) {
  Program desk({"reply", "desk", "LOOKUP", "{\"name\": \"Zo\xC3\xAB\"}", "--count", "1",
                "--terminal", terminal_.directory()});
  ASSERT_TRUE(desk.awaitOutput("answering LOOKUP at desk"));

  const ProgramResult result = runWz(
      run(shop("console.info('caf\\u00e9', {a: 1}); wz.log('info', 'Opened', 'two');"
               "fetch('missing.json').then(() => wz.notifyAndWait('desk', 'LOOKUP', {card: 7}))"
               ".then(() => wz.exit(0, {total: '12'}));"),
          {"--json", "--param", "till=3"}));

  EXPECT_EQ(result.code, kDone) << result.errors;
  const std::vector<Document> story = storyOf(result.out);
  std::vector<std::string> names = namesOf(story);
  names.erase(std::remove(names.begin(), names.end(), "painted"), names.end());
  EXPECT_THAT(names, ElementsAre("launched", "properties", "console", "log", "requestFailed",
                                 "messageSent", "reply", "messageReceived", "exited"));
  std::int64_t last = -1;
  for (const Document& event : story) {
    EXPECT_EQ(event["schema"].GetInt(), 1);
    EXPECT_GE(event["time"].GetInt64(), last);
    last = event["time"].GetInt64();
  }
  EXPECT_STREQ((*find(story, "properties"))["properties"]["till"].GetString(), "3");
  const Document& console = *find(story, "console");
  EXPECT_STREQ(console["text"].GetString(), "caf\xC3\xA9 {a: 1}");
  EXPECT_STREQ(console["file"].GetString(), "index.html");
  EXPECT_EQ(console["line"].GetInt(), 1);
  EXPECT_EQ((*find(story, "messageSent"))["payload"]["card"].GetInt(), 7);
  EXPECT_STREQ((*find(story, "reply"))["payload"]["name"].GetString(), "Zo\xC3\xAB");
  EXPECT_STREQ((*find(story, "exited"))["properties"]["total"].GetString(), "12");
  EXPECT_EQ(desk.wait(), kDone);
}

TEST_F(RunStoryTest, LinesStandBelowOneAnotherAsInAConsole) {
  const ProgramResult result =
      runWz(run(shop("console.group('Basket'); console.log('tea\\nmilk'); console.groupEnd();"
                     "console.table([{n: 1}]); wz.exit();")));

  EXPECT_THAT(result.out, HasSubstr("shop console info: Basket (index.html:1:"));
  EXPECT_THAT(linesOf(result.out), Contains(StartsWith("shop console info:   tea (index.html:1:")));
  EXPECT_THAT(linesOf(result.out), Contains("    milk"));
  EXPECT_THAT(linesOf(result.out), Contains("  │ 0       │ 1 │"));
}

TEST_F(RunStoryTest, AnErrorFailsTheRunWhereThatIsAskedFor) {
  const std::string leaving = "setTimeout(() => wz.exit(), 200);";
  std::string all;
  for (const char* script : {"setTimeout(() => { throw new Error('x'); }); ",
                             "Promise.reject(new Error('x'));", "fetch('missing.json');"}) {
    EXPECT_EQ(runWz(run(shop(script + leaving), {"--fail-on-error"})).code, kFailed) << script;
    all += script;
  }
  EXPECT_EQ(runWz(run(shop(all + leaving))).code, kDone);
  const std::string folder = shop(
      "console.error('only said'); fetch('https://elsewhere.invalid/x').catch(() => {})"
      ".then(() => wz.exit());");
  EXPECT_EQ(runWz(run(folder, {"--fail-on-error"})).code, kDone);
}

TEST_F(RunStoryTest, ANotificationThatNobodyTakesIsToldOnceWithWhatWouldTakeIt) {
  const ProgramResult result =
      runWz(run(shop("const ask = () => wz.notifyAndWait('desk', 'LOOK UP', {}).catch(() => {});"
                     "ask().then(ask).then(() => wz.notify('printer', 'PRINT', {}))"
                     ".then(() => setTimeout(() => wz.exit(), 200));")));

  const std::string atOnce =
      " (many at once: wz host --terminal " + terminal_.directory() + " FILE)";
  EXPECT_EQ(result.code, kDone);
  EXPECT_THAT(linesOf(result.errors),
              ElementsAre("wz: nobody is there for LOOK UP at desk; this answers it: wz reply "
                          "--terminal " +
                              terminal_.directory() + " desk 'LOOK UP' '{}'" + atOnce,
                          "wz: nobody is there for PRINT at printer; this takes it: wz listen "
                          "--terminal " +
                              terminal_.directory() + " printer PRINT" + atOnce));
}

// ---- Pictures ----------------------------------------------------------------------------------

TEST_F(RunStoryTest, APictureAtTheEndShowsTheEnd) {
  const std::string picture = terminal_.directory() + "/end.png";

  const ProgramResult result = runWz(
      run(shop("setTimeout(() => { document.body.textContent = 'Goodbye'; wz.exit(); }, 300);"),
          {"--screenshot", picture, "--screenshot-at", "exit", "--json"}));

  EXPECT_EQ(result.code, kDone) << result.errors;
  EXPECT_GT(std::filesystem::file_size(picture), 100U);
  EXPECT_NE(find(storyOf(result.out), "screenshot"), nullptr);
}

TEST_F(RunStoryTest, APictureWaitsForItsElement) {
  const std::string picture = terminal_.directory() + "/element.png";
  const std::string folder = shop(
      "setTimeout(() => { document.body.innerHTML = '<b id=done>Done</b>'; }, 300);"
      "setTimeout(() => wz.exit(), 1500);");

  const ProgramResult found =
      runWz(run(folder, {"--screenshot", picture, "--screenshot-at", "#done"}));
  const ProgramResult missing =
      runWz(run(folder, {"--screenshot", picture, "--screenshot-at", "#never"}));
  const ProgramResult wrong =
      runWz(run(folder, {"--screenshot", picture, "--screenshot-at", "#[", "--timeout", "5"}));

  EXPECT_EQ(found.code, kDone) << found.errors;
  EXPECT_TRUE(std::filesystem::exists(picture));
  EXPECT_EQ(missing.code, kEnvironment);
  EXPECT_THAT(missing.errors, HasSubstr("wz: no picture: no element #never has appeared"));
  EXPECT_THAT(wrong.errors, HasSubstr("wz: no picture: #[ is no selector"));
}

// Not after the run that it was to be a picture of.
TEST_F(RunStoryTest, APictureThatCannotBeSavedIsToldAtOnce) {
  const std::string folder = shop("console.info('began'); wz.exit();");
  for (const std::string& file : {std::string("/nowhere/shot.png"), terminal_.directory()}) {
    const ProgramResult result = runWz(run(folder, {"--screenshot", file}));

    EXPECT_EQ(result.code, kEnvironment) << file;
    EXPECT_THAT(result.errors, StartsWith("wz: cannot write " + file + ": "));
    EXPECT_EQ(result.out, "");
  }
}

TEST_F(RunStoryTest, WhatAPictureCannotBeTakenAtIsAWrongCommandLine) {
  EXPECT_EQ(runWz(run(shop(""), {"--screenshot-at", "exit"})).code, kUsage);
  EXPECT_EQ(runWz(run(shop(""), {"--screenshot", "x.png", "--screenshot-at", "3 days"})).code,
            kUsage);
}

// ---- Other screens -----------------------------------------------------------------------------

TEST_F(RunStoryTest, AnotherScreenIsTriedWithoutAnotherTerminal) {
  const std::string folder = shop(
      "wz.exit(0, {size: innerWidth + 'x' + innerHeight, language: navigator.language,"
      " number: (1234.5).toLocaleString(), touch: String(matchMedia('(pointer: "
      "coarse)').matches)});");

  const ProgramResult other =
      runWz(run(folder, {"--size", "240x320", "--locale", "de", "--no-touch"}));

  EXPECT_EQ(other.code, kDone) << other.errors;
  const std::vector<std::string> lines = linesOf(other.out);
  EXPECT_THAT(lines, Contains("  size = 240x320"));
  EXPECT_THAT(lines, Contains("  language = de"));
  EXPECT_THAT(lines, Contains("  number = 1.234,5"));
  EXPECT_THAT(lines, Contains("  touch = false"));
  EXPECT_THAT(linesOf(runWz(run(folder)).out), Contains("  size = 480x800"));
}

TEST_F(RunStoryTest, AMonochromeDisplayHasNoColours) {
  const std::string folder =
      shop("wz.exit(0, {filter: getComputedStyle(document.documentElement).filter});");

  EXPECT_THAT(linesOf(runWz(run(folder, {"--monochrome"})).out),
              Contains("  filter = grayscale(1) contrast(1000)"));
  EXPECT_THAT(linesOf(runWz(run(folder)).out), Contains("  filter = none"));
}

TEST_F(RunStoryTest, AScreenThatNoTerminalHasIsAWrongCommandLine) {
  for (const Arguments& screen :
       {Arguments{"--size", "480"}, Arguments{"--size", "0x800"}, Arguments{"--size", "480x99999"},
        Arguments{"--locale", "d e"}, Arguments{"--keys", "256"}}) {
    EXPECT_EQ(runWz(run(shop(""), screen)).code, kUsage) << screen.back();
  }
}

}  // namespace
}  // namespace wzapp_test
