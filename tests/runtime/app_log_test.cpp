#include "runtime/app_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/runtime/host_program.h"
#include "tests/runtime/log_reader.h"
#include "tests/runtime/stubs/lock_recorder.h"

namespace wzapp {
namespace {

using stubs::platform;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using wzapp_test::LogMessage;
using wzapp_test::LogRecord;
using wzapp_test::sentRecords;

constexpr std::size_t kLimit = 40960;
constexpr std::size_t kFlatSize = 202;
constexpr std::size_t kLaunchSize =
    kFlatSize + std::string_view("Application launched").size() + std::string_view("LAUNCH").size();

// As a script processor calls that knows more levels than this library. Not checked: the level is
// not to be a valid one.
__attribute__((no_sanitize("undefined"))) void writeLine(const std::string& appId, int number,
                                                         const std::vector<std::string>& args) {
  js::JSLogLevel level;
  static_assert(sizeof level == sizeof number);
  std::memcpy(&level, &number, sizeof level);
  onScriptLog(nullptr, appId, level, args);
}

class AppLogTest : public testing::Test {
 protected:
  AppLogTest() {
    platform().reset();
    openAppLog("shop", launch);
  }

  ~AppLogTest() override { closeAppLog("shop", launch, std::nullopt); }

  void log(int level, const std::vector<std::string>& args, const std::string& appId = "shop") {
    writeLine(appId, level, args);
  }

  // Closes the log and gives what was written between its launch and its end.
  std::vector<LogMessage> lines() {
    closeAppLog("shop", launch, std::nullopt);
    std::vector<LogMessage> messages = sentRecords().back().messages;
    EXPECT_EQ(messages.front().at("aE"), "LAUNCH");
    EXPECT_EQ(messages.back().at("aE"), "EXIT");
    messages.erase(messages.begin());
    messages.pop_back();
    return messages;
  }

  LaunchData launch{"1.2.3", std::nullopt, std::nullopt, std::nullopt};
};

struct LineRow {
  const char* name;
  int level;
  std::vector<std::string> args;
  LogMessage message;
};

class ScriptLineTest : public AppLogTest, public testing::WithParamInterface<LineRow> {};

TEST_P(ScriptLineTest, BecomesAMessage) {
  log(GetParam().level, GetParam().args);

  EXPECT_THAT(lines(), ElementsAre(GetParam().message));
}

INSTANTIATE_TEST_SUITE_P(
    Lines, ScriptLineTest,
    testing::Values(
        LineRow{"Emergency", 0, {"a"}, {{"s", "0"}, {"msgT", "APP_EMERGENCY"}, {"msg", "a"}}},
        LineRow{"Alert", 1, {"a"}, {{"s", "1"}, {"msgT", "APP_ALERT"}, {"msg", "a"}}},
        LineRow{"Critical", 2, {"a"}, {{"s", "2"}, {"msgT", "APP_CRITICAL"}, {"msg", "a"}}},
        LineRow{"Warning", 4, {"a"}, {{"s", "4"}, {"msgT", "APP_WARNING"}, {"msg", "a"}}},
        LineRow{"Notice", 5, {"a"}, {{"s", "5"}, {"msgT", "APP_NOTICE"}, {"msg", "a"}}},
        LineRow{"Info", 6, {"a"}, {{"s", "6"}, {"msgT", "APP_INFO"}, {"msg", "a"}}},
        LineRow{"Debug", 7, {"a"}, {{"s", "7"}, {"msgT", "APP_DEBUG"}, {"msg", "a"}}},
        LineRow{
            "Detail", 6, {"a", "b"}, {{"s", "6"}, {"msgT", "APP_INFO"}, {"msg", "a"}, {"aD", "b"}}},
        LineRow{"MoreThanADetail",
                6,
                {"a", "b", "c"},
                {{"s", "6"}, {"msgT", "APP_INFO"}, {"msg", "a"}, {"aD", "b"}}},
        LineRow{"EmptyDetail", 6, {"a", ""}, {{"s", "6"}, {"msgT", "APP_INFO"}, {"msg", "a"}}},
        LineRow{"EmptyText", 6, {""}, {{"s", "6"}, {"msgT", "APP_INFO"}, {"msg", ""}}},
        LineRow{"ErrorCode", 3, {"e"}, {{"s", "3"}, {"msgT", "APP_ERROR"}, {"eC", "e"}}},
        LineRow{"ErrorName",
                3,
                {"e", "n"},
                {{"s", "3"}, {"msgT", "APP_ERROR"}, {"eC", "e"}, {"eN", "n"}}},
        LineRow{"ErrorText",
                3,
                {"e", "n", "m", "more"},
                {{"s", "3"}, {"msgT", "APP_ERROR"}, {"eC", "e"}, {"eN", "n"}, {"msg", "m"}}},
        LineRow{"ErrorWithEmptyTexts",
                3,
                {"", "", ""},
                {{"s", "3"}, {"msgT", "APP_ERROR"}, {"eC", ""}}},
        LineRow{"AboveAllLevels", 8, {"a", "b"}, {{"s", "8"}, {"msgT", ""}}},
        LineRow{"FarAboveAllLevels", 1000000, {"a"}, {{"s", "1000000"}, {"msgT", ""}}},
        LineRow{"BelowAllLevels", -1, {"a", "b"}, {{"s", "-1"}, {"msgT", ""}}}),
    [](const auto& row) { return row.param.name; });

TEST_F(AppLogTest, LineWithoutArgumentsIsIgnored) {
  log(6, {});

  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(AppLogTest, LinesOfUnknownApplicationsAreDropped) {
  log(6, {std::string(kLimit, 'x')}, "bank");
  log(6, {std::string(kLimit, 'x')}, "");

  EXPECT_THAT(sentRecords(), IsEmpty());
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(AppLogTest, OctetsOfALineAreKeptUpToTheMessaging) {
  const std::string odd("a\0b\xFF\xC3(", 6);
  zelipc::JSObject expected;
  expected["msg"] = odd;

  log(6, {odd});
  closeAppLog("shop", launch, std::nullopt);

  // What becomes of octets that are no UTF-8 is the messaging's affair.
  const std::string member = expected.dump().substr(1, expected.dump().size() - 2);
  EXPECT_THAT(platform().sent("_WZLog").back().json, testing::HasSubstr(member));
}

TEST_F(AppLogTest, MegabyteLineIsPublishedAtOnce) {
  const std::string large(5U << 20, 'x');

  log(6, {large});

  const std::vector<LogRecord> records = sentRecords();
  ASSERT_THAT(records, SizeIs(1));
  ASSERT_THAT(records[0].messages, SizeIs(2));
  EXPECT_EQ(records[0].messages[1].at("msg"), large);
}

// ---- the size at which a log is published

TEST_F(AppLogTest, IsNotPublishedOneOctetBelowTheLimit) {
  log(6, {std::string(kLimit - 1 - kLaunchSize - kFlatSize, 'x')});

  EXPECT_THAT(sentRecords(), IsEmpty());
}

TEST_F(AppLogTest, IsPublishedAtTheLimitWithTheLineThatReachesIt) {
  log(6, {std::string(kLimit - kLaunchSize - kFlatSize, 'x')});

  const std::vector<LogRecord> records = sentRecords();
  ASSERT_THAT(records, SizeIs(1));
  ASSERT_THAT(records[0].messages, SizeIs(2));
  EXPECT_EQ(records[0].messages[0].at("aE"), "LAUNCH");
  EXPECT_EQ(records[0].messages[1].at("msg").size(), kLimit - kLaunchSize - kFlatSize);
}

TEST_F(AppLogTest, AllTextsOfALineCount) {
  const std::size_t rest = kLimit - kLaunchSize - kFlatSize;
  log(3, {std::string(rest - 3, 'x'), "n", "m"});
  EXPECT_THAT(sentRecords(), IsEmpty());

  closeAppLog("shop", launch, std::nullopt);
  platform().reset();
  openAppLog("shop", launch);
  log(3, {std::string(rest - 2, 'x'), "n", "m"});

  EXPECT_THAT(sentRecords(), SizeIs(1));
}

TEST_F(AppLogTest, CountsAfreshAfterAPublication) {
  log(6, {std::string(kLimit, 'x')});
  ASSERT_THAT(sentRecords(), SizeIs(1));

  log(6, {std::string(kLimit - 1 - kFlatSize, 'x')});
  EXPECT_THAT(sentRecords(), SizeIs(1));
  log(6, {""});

  const std::vector<LogRecord> records = sentRecords();
  ASSERT_THAT(records, SizeIs(2));
  EXPECT_THAT(records[1].messages, SizeIs(2));
}

TEST_F(AppLogTest, LevelOutsideTheTableCountsItsFlatSizeOnly) {
  log(6, {std::string(kLimit - 2 * kFlatSize - kLaunchSize - 1, 'x')});
  log(9, {std::string(kLimit, 'x')});
  EXPECT_THAT(sentRecords(), IsEmpty());

  log(9, {"x"});

  EXPECT_THAT(sentRecords(), SizeIs(1));
}

TEST_F(AppLogTest, TenThousandLinesLoseNothing) {
  constexpr int kLines = 10000;
  for (int i = 0; i < kLines; ++i) log(6, {std::to_string(i), "detail"});
  closeAppLog("shop", launch, std::nullopt);

  std::vector<std::string> texts;
  for (const LogRecord& record : sentRecords()) {
    for (const LogMessage& message : record.messages) texts.push_back(message.at("msg"));
  }
  ASSERT_THAT(texts, SizeIs(kLines + 2));
  for (int i = 0; i < kLines; ++i) {
    ASSERT_EQ(texts[static_cast<std::size_t>(i) + 1], std::to_string(i));
  }
}

TEST_F(AppLogTest, EarlyRecordCarriesWhatTheLaunchSaid) {
  launch = {"1.2.4", "m-1", "KIOSK", "9.1"};
  openAppLog("shop", launch);

  log(6, {std::string(kLimit, 'x')});

  const LogRecord record = sentRecords().at(0);
  EXPECT_EQ(record.appId, "shop");
  EXPECT_EQ(record.version, "1.2.4");
  EXPECT_EQ(record.system, "KIOSK");
  EXPECT_THAT(record.origin, ElementsAre(testing::Pair("wz_merchantId", "m-1"),
                                         testing::Pair("wz_system", "KIOSK"),
                                         testing::Pair("wz_system_version", "9.1")));
}

TEST_F(AppLogTest, RefusedRecordIsGoneAllTheSame) {
  platform().answers.notify = [](const stubs::Notification&) { return -1; };
  log(6, {std::string(kLimit, 'x')});

  platform().answers.notify = nullptr;
  log(6, {"after"});
  closeAppLog("shop", launch, std::nullopt);

  EXPECT_THAT(sentRecords().back().messages, SizeIs(2));
}

// ---- failed requests

class TraceTest : public AppLogTest {
 protected:
  void trace(std::map<std::string, std::string>& info, js::JSTraceType type = js::JS_TRACE_PAGE,
             const std::string& appId = "shop") {
    onScriptTrace(nullptr, type, appId, info);
  }
};

TEST_F(TraceTest, FailedRequestBecomesAnError) {
  std::map<std::string, std::string> info = {{"url", "https://a.example/b"}, {"status", "404"}};

  trace(info);

  EXPECT_THAT(lines(), ElementsAre(LogMessage{{"s", "3"},
                                              {"msgT", "ERROR"},
                                              {"msg", "HTTP request failed"},
                                              {"eC", "wz_1"},
                                              {"eN", "HTTP request failed"},
                                              {"eMsg", "URL: https://a.example/b"},
                                              {"eD", "404"}}));
}

TEST_F(TraceTest, MissingStatusIsAFailureWithoutData) {
  std::map<std::string, std::string> info;

  trace(info);

  EXPECT_EQ(info, (std::map<std::string, std::string>{{"status", ""}, {"url", ""}}));
  EXPECT_THAT(lines(), ElementsAre(LogMessage{{"s", "3"},
                                              {"msgT", "ERROR"},
                                              {"msg", "HTTP request failed"},
                                              {"eC", "wz_1"},
                                              {"eN", "HTTP request failed"},
                                              {"eMsg", "URL: "}}));
}

class TraceStatusTest : public TraceTest, public testing::WithParamInterface<const char*> {};

TEST_P(TraceStatusTest, IsAFailureUnlessItIsExactly200) {
  std::map<std::string, std::string> info = {{"status", GetParam()}};

  trace(info);

  EXPECT_THAT(lines(), SizeIs(1));
}

INSTANTIATE_TEST_SUITE_P(Statuses, TraceStatusTest,
                         testing::Values("201", "204", "0200", "200 ", "301", "500", ""));

TEST_F(TraceTest, SuccessfulRequestIsNotLogged) {
  std::map<std::string, std::string> info = {{"status", "200"}};

  trace(info);

  EXPECT_EQ(info.count("url"), 0U);
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(TraceTest, OtherTracesAreNotLookedAt) {
  std::map<std::string, std::string> info;

  trace(info, js::JS_TRACE_SCRIPT);
  trace(info, js::JS_TRACE_EVENT);
  trace(info, js::JS_TRACE_PAGE, "");

  EXPECT_THAT(info, IsEmpty());
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(TraceTest, RequestOfAnUnknownApplicationIsDropped) {
  std::map<std::string, std::string> info = {{"status", "404"}};

  trace(info, js::JS_TRACE_PAGE, "bank");

  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(TraceTest, ReachesTheLimitLikeALine) {
  std::map<std::string, std::string> info = {{"url", std::string(kLimit, 'u')}, {"status", "500"}};

  trace(info);

  EXPECT_THAT(sentRecords(), SizeIs(1));
}

// ---- several applications

TEST_F(AppLogTest, EachApplicationHasItsOwn) {
  openAppLog("bank", launch);
  log(6, {"for the shop"});
  log(6, {std::string(kLimit, 'x')}, "bank");

  ASSERT_THAT(sentRecords(), SizeIs(1));
  EXPECT_EQ(sentRecords()[0].appId, "bank");
  closeAppLog("bank", launch, std::nullopt);
  EXPECT_EQ(lines().at(0).at("msg"), "for the shop");
}

TEST_F(AppLogTest, TwoApplicationsWithOneIdShareItUntilTheFirstEnds) {
  LaunchData second = launch;
  second.version = "2.0";
  second.system = "KIOSK";
  openAppLog("shop", second);
  log(6, {"of either"});

  closeAppLog("shop", launch, std::nullopt);
  log(6, {"dropped"});
  closeAppLog("shop", second, std::nullopt);

  const std::vector<LogRecord> records = sentRecords();
  ASSERT_THAT(records, SizeIs(2));
  EXPECT_EQ(records[0].version, "1.2.3");
  EXPECT_EQ(records[0].system, "ZTK");
  EXPECT_THAT(records[0].messages, SizeIs(4));
  EXPECT_EQ(records[1].version, "2.0");
  EXPECT_EQ(records[1].system, "KIOSK");
  ASSERT_THAT(records[1].messages, SizeIs(1));
  EXPECT_EQ(records[1].messages[0].at("aE"), "EXIT");
}

TEST_F(AppLogTest, SecondLaunchKeepsWhatItDoesNotSay) {
  openAppLog("shop", {"1.2.3", "m-1", "KIOSK", std::nullopt});
  openAppLog("shop", {"2.0", std::nullopt, std::nullopt, "9"});

  log(6, {std::string(kLimit, 'x')});

  const LogRecord record = sentRecords().at(0);
  EXPECT_EQ(record.version, "2.0");
  EXPECT_EQ(record.system, "KIOSK");
  EXPECT_EQ(record.origin.at("wz_merchantId"), "m-1");
  EXPECT_EQ(record.origin.at("wz_system_version"), "9");
}

TEST_F(AppLogTest, ApplicationThatStartsAgainBeginsAnew) {
  log(6, {"before"});
  closeAppLog("shop", {"1.2.3", std::nullopt, "KIOSK", std::nullopt}, std::nullopt);
  openAppLog("shop", launch);

  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(AppLogTest, CallbacksTakeNoOtherLock) {
  const std::vector<stubs::NamedMutex> mutexes = {{stubs::logMutex(), "log"}};
  std::map<std::string, std::string> info = {{"status", "500"}};
  platform().reset();

  stubs::recordLocks(true);
  onScriptLog(nullptr, "shop", js::JS_LOG_INFO, {"a line"});
  onScriptTrace(nullptr, js::JS_TRACE_PAGE, "shop", info);
  stubs::recordLocks(false);

  // Of other mutexes there would be more lines before they are named.
  EXPECT_THAT(platform().calls(), SizeIs(4));
  EXPECT_THAT(stubs::withMutexNames(platform().calls(), mutexes),
              ElementsAre("lock log", "unlock log", "lock log", "unlock log"));
}

TEST_F(AppLogTest, LinesAndEndsMayComeFromManyThreads) {
  constexpr int kThreads = 4;
  constexpr int kLines = 500;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([this, thread] {
      const std::string own = "app" + std::to_string(thread);
      openAppLog(own, launch);
      for (int line = 0; line < kLines; ++line) {
        log(6, {"own"}, own);
        log(6, {"shared"});
      }
      closeAppLog(own, launch, std::nullopt);
    });
  }
  for (std::thread& thread : threads) thread.join();
  closeAppLog("shop", launch, std::nullopt);

  std::size_t own = 0;
  std::size_t shared = 0;
  for (const LogRecord& record : sentRecords()) {
    for (const LogMessage& message : record.messages) {
      if (message.at("msg") == "own") ++own;
      if (message.at("msg") == "shared") ++shared;
    }
  }
  EXPECT_EQ(own, std::size_t{kThreads} * kLines);
  EXPECT_EQ(shared, std::size_t{kThreads} * kLines);
}

}  // namespace
}  // namespace wzapp
