// What a page's log lines and failed requests become on the bus.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/end_to_end/application.h"
#include "tests/end_to_end/station.h"

namespace wzapp_test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;
using testing::UnorderedElementsAre;

class LogTest : public EndToEndTest {
 protected:
  // Runs an application with this script to its end and returns its records.
  static std::vector<Received> recordsOfScript(const std::string& script,
                                               const Properties& params = {}) {
    Application shop("shop");
    shop.script(script);
    ApplicationRun run(shop, "desktop", params);
    if (!run.awaitEnd()) return {};
    EXPECT_EQ(run.result(), 0);
    return awaitRecords("shop");
  }
};

TEST_F(LogTest, EveryLevelHasItsNumberAndName) {
  const auto messages = innerMessagesIn(recordsOfScript(R"(
      for (const level of [0, 1, 2, 4, 5, 6, 7]) wz.log(level, 'text', 'detail');
      wz.exit();)"));

  const std::pair<const char*, const char*> kLevels[] = {
      {"0", "APP_EMERGENCY"}, {"1", "APP_ALERT"}, {"2", "APP_CRITICAL"}, {"4", "APP_WARNING"},
      {"5", "APP_NOTICE"},    {"6", "APP_INFO"},  {"7", "APP_DEBUG"}};
  ASSERT_EQ(messages.size(), std::size(kLevels));
  for (std::size_t index = 0; index < messages.size(); ++index) {
    EXPECT_THAT(messages[index], UnorderedElementsAre(Pair("s", kLevels[index].first),
                                                      Pair("msgT", kLevels[index].second),
                                                      Pair("msg", "text"), Pair("aD", "detail")));
  }
}

TEST_F(LogTest, ErrorLineHasCodeNameAndMessage) {
  const auto messages = innerMessagesIn(recordsOfScript(R"(
      wz.log(3, 'E7', 'NoPaper', 'The printer is out of paper');
      wz.log('error', 'E8', '', 'No name');
      wz.log('error', 'E9');
      wz.exit();)"));

  EXPECT_THAT(
      messages,
      ElementsAre(
          UnorderedElementsAre(Pair("s", "3"), Pair("msgT", "APP_ERROR"), Pair("eC", "E7"),
                               Pair("eN", "NoPaper"), Pair("msg", "The printer is out of paper")),
          UnorderedElementsAre(Pair("s", "3"), Pair("msgT", "APP_ERROR"), Pair("eC", "E8"),
                               Pair("msg", "No name")),
          UnorderedElementsAre(Pair("s", "3"), Pair("msgT", "APP_ERROR"), Pair("eC", "E9"))));
}

TEST_F(LogTest, LineWithoutDetailHasNone) {
  const auto messages = innerMessagesIn(recordsOfScript("wz.log('info', 'alone'); wz.exit();"));

  EXPECT_THAT(messages, ElementsAre(UnorderedElementsAre(Pair("s", "6"), Pair("msgT", "APP_INFO"),
                                                         Pair("msg", "alone"))));
}

TEST_F(LogTest, LineWithoutTextsIsNoLine) {
  EXPECT_THAT(innerMessagesIn(recordsOfScript("wz.log(6); wz.exit();")), IsEmpty());
}

// An entry counts as its texts and 202 octets; the launch has 26 octets of text.
constexpr int kLimit = 40960;
constexpr int kLaunch = 202 + 26;

TEST_F(LogTest, EntryThatReachesTheLimitIsPublishedWithThoseBeforeIt) {
  const std::string length = std::to_string(kLimit - kLaunch - 202);
  const auto records = recordsOfScript("wz.log(6, 'x'.repeat(" + length + R"());
      wz.log(6, 'after');
      wz.exit();)");

  ASSERT_EQ(records.size(), 2U);
  EXPECT_THAT(messagesIn({records[0]}), SizeIs(2));
  EXPECT_THAT(messagesIn({records[1]}), ElementsAre(testing::Contains(Pair("msg", "after")),
                                                    testing::Contains(Pair("aE", "EXIT"))));
}

TEST_F(LogTest, OneOctetBelowTheLimitStays) {
  const std::string length = std::to_string(kLimit - kLaunch - 202 - 1);
  const auto records = recordsOfScript("wz.log(6, 'x'.repeat(" + length + R"());
      wz.log(6, 'after');
      wz.exit();)");

  ASSERT_EQ(records.size(), 2U);
  EXPECT_THAT(messagesIn({records[0]}), SizeIs(3));
  EXPECT_THAT(messagesIn({records[1]}), ElementsAre(testing::Contains(Pair("aE", "EXIT"))));
}

TEST_F(LogTest, TextsCountInOctets) {
  // Each of these characters has three octets in UTF-8.
  const std::string length = std::to_string((kLimit - kLaunch - 202) / 3 + 1);
  const auto records = recordsOfScript("wz.log(6, '\\u20ac'.repeat(" + length + ")); wz.exit();");

  EXPECT_THAT(records, SizeIs(2));
}

TEST_F(LogTest, TenThousandLinesArriveInOrder) {
  constexpr int kLines = 10000;
  const auto messages =
      innerMessagesIn(recordsOfScript("for (let i = 0; i < " + std::to_string(kLines) +
                                      "; ++i) wz.log(7, `line ${i}`, 'detail'); wz.exit();"));

  ASSERT_EQ(messages.size(), static_cast<std::size_t>(kLines));
  for (int line = 0; line < kLines; ++line) {
    ASSERT_EQ(messages[static_cast<std::size_t>(line)].at("msg"), "line " + std::to_string(line));
  }
}

TEST_F(LogTest, MegabyteLinesArriveWhole) {
  const auto messages = innerMessagesIn(recordsOfScript(R"(
      for (const c of 'abc') wz.log(6, c.repeat(1 << 20), c.repeat(3));
      wz.exit();)"));

  ASSERT_EQ(messages.size(), 3U);
  for (std::size_t index = 0; index < 3; ++index) {
    const char letter = static_cast<char>('a' + index);
    EXPECT_TRUE(messages[index].at("msg") == std::string(1 << 20, letter));
    EXPECT_EQ(messages[index].at("aD"), std::string(3, letter));
  }
}

TEST_F(LogTest, AnyTextArrives) {
  const auto messages = innerMessagesIn(recordsOfScript(R"(
      wz.log(6, 'a\u0000b', '\u0000');
      wz.log(6, 'lone \ud800 end', '\udfff');
      wz.log(6, '"\\\u001f\u007f\u2028', '\u{1f600}');
      wz.log(6, '', 'only a detail');
      wz.exit();)"));

  ASSERT_EQ(messages.size(), 4U);
  EXPECT_EQ(messages[0].at("msg"), std::string("a\0b", 3));
  EXPECT_EQ(messages[0].at("aD"), std::string("\0", 1));
  EXPECT_EQ(messages[1].at("msg"), "lone \xef\xbf\xbd end");
  EXPECT_EQ(messages[1].at("aD"), "\xef\xbf\xbd");
  EXPECT_EQ(messages[2].at("msg"), "\"\\\x1f\x7f\xe2\x80\xa8");
  EXPECT_EQ(messages[2].at("aD"), "\xf0\x9f\x98\x80");
  EXPECT_EQ(messages[3].at("msg"), "");
  EXPECT_EQ(messages[3].at("aD"), "only a detail");
}

TEST_F(LogTest, PropertyThatIsNoUtf8DoesNoHarm) {
  const auto records =
      recordsOfScript("wz.log(6, wz.properties.name); wz.exit();",
                      {{"name", "caf\xe9."}, {"wz_system", "P\xffS"}, {"wz_system_version", "1"}});

  ASSERT_THAT(records, SizeIs(1));
  EXPECT_EQ(innerMessagesIn(records).at(0).at("msg"), "caf\xef\xbf\xbd.");
  EXPECT_THAT(records[0].payload.dump(), HasSubstr("\"sys\":\"P\xef\xbf\xbdS\""));
}

TEST_F(LogTest, WrongLevelsAndTextsThrowAndLogNothing) {
  const auto messages = innerMessagesIn(recordsOfScript(R"(
      let thrown = 0;
      for (const line of [[8, 'x'], [-1, 'x'], ['loud', 'x'], [1.5, 'x'], [6, 1], [6, null]]) {
        try { wz.log(...line); } catch (error) { if (error instanceof TypeError) ++thrown; }
      }
      wz.log(6, `${thrown} thrown`);
      wz.exit();)"));

  EXPECT_THAT(messages, ElementsAre(testing::Contains(Pair("msg", "6 thrown"))));
}

// ---- Failed requests ----

// The failed requests among the messages, which must be like this one but for URL and status.
void expectFailedRequest(const LogMessage& message, const std::string& urlEnd,
                         const std::string& status) {
  EXPECT_THAT(message,
              UnorderedElementsAre(Pair("s", "3"), Pair("msgT", "ERROR"),
                                   Pair("msg", "HTTP request failed"), Pair("eC", "wz_1"),
                                   Pair("eN", "HTTP request failed"),
                                   Pair("eMsg", testing::AllOf(testing::StartsWith("URL: https://"),
                                                               testing::EndsWith(urlEnd))),
                                   Pair("eD", status)));
}

TEST_F(LogTest, MissingFileIsAFailedRequest) {
  const auto messages = innerMessagesIn(recordsOfScript(R"(
      fetch('data/none.json?a=b').then((response) => {
        wz.log(6, String(response.status));
        wz.exit();
      });)"));

  ASSERT_THAT(messages, SizeIs(2));
  EXPECT_THAT(messages, testing::Contains(testing::Contains(Pair("msg", "404"))));
  const bool isFirst = messages[0].at("msgT") == "ERROR";
  expectFailedRequest(messages[isFirst ? 0 : 1], "/data/none.json?a=b", "404");
}

TEST_F(LogTest, HostOutsideIsAFailedRequest) {
  const auto messages = innerMessagesIn(recordsOfScript(R"(
      fetch('https://outside.example/x').catch(() => fetch('here.txt')).then(() => wz.exit());)"));

  ASSERT_THAT(messages, SizeIs(2));
  EXPECT_EQ(messages[0].at("eMsg"), "URL: https://outside.example/x");
  EXPECT_THAT(messages[0].at("eD"), HasSubstr("ERR_"));
  expectFailedRequest(messages[1], "/here.txt", "404");
}

TEST_F(LogTest, RequestsThatSucceedAreNotLogged) {
  Application shop("shop");
  shop.file("here.txt", "x").file("style.css", "p {}").file("a.js", "1");
  shop.file("index.html",
            "<link rel=stylesheet href=style.css><script src=a.js></script><script>"
            "fetch('here.txt').then(() => wz.exit())</script>");
  ApplicationRun run(shop);

  ASSERT_TRUE(run.awaitEnd());

  EXPECT_THAT(innerMessagesIn(awaitRecords("shop")), IsEmpty());
}

}  // namespace
}  // namespace wzapp_test
