// What the application's thread asks of the platform, in which order and under which locks.
#include "runtime/run_loop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "support/terminal_identity.h"
#include "tests/runtime/host_program.h"
#include "tests/runtime/log_reader.h"
#include "tests/runtime/stubs/failing_parser.h"
#include "tests/runtime/stubs/lock_recorder.h"

namespace wzapp_test {
namespace {

using stubs::platform;
using testing::Contains;
using testing::ElementsAre;
using testing::Pair;

class RunLoopTest : public RuntimeTest {
 protected:
  RunLoopTest() {
    // Looked up once per process; not a part of what is compared here.
    std::string id;
    std::string text;
    wzapp::getTerminalSponsor(id, text);
    logMutex = stubs::logMutex();
    platform().reset();
  }

  // The calls of the application's thread, with its locks.
  std::vector<std::string> run(HostProgram& host) {
    std::size_t callsBefore = 0;
    platform().answers.localProperties = [&](bool local) {
      if (!local) return;
      callsBefore = platform().calls().size() - 1;
      stubs::recordLocks(true);
    };
    EXPECT_EQ(host.run(), 0);
    host.awaitEnd();
    std::vector<std::string> calls = platform().calls();
    calls.erase(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(callsBefore));
    return stubs::withMutexNames(calls,
                                 {{host.manager().mutex.native(), "mutex"}, {logMutex, "log"}});
  }

  // Runs an application whose page ends at once.
  void runToEnd(HostProgram& host, const Properties& params = {}) {
    platform().answers.wait = [](int, zelgui::UIProperties&) { return 0; };
    ASSERT_EQ(host.run(kShopManifest, "desktop", params), 0);
    host.awaitEnd();
  }

  const void* logMutex;
};

// Whether another thread could have the mutex now.
bool isFree(wzapp::Mutex& mutex) {
  bool result = false;
  std::thread([&] {
    result = pthread_mutex_trylock(mutex.native()) == 0;
    if (result) mutex.unlock();
  }).join();
  return result;
}

TEST_F(RunLoopTest, CallsOfARunFollowOneAnotherAsTheyShould) {
  HostProgram host;
  platform().answers.invoke = [](const zelgui::UIProperties&, const std::string&) { return 8; };
  platform().answers.wait = [](int, zelgui::UIProperties&) { return 5; };

  const std::vector<std::string> calls = run(host);

  const std::vector<std::string> expected = {
      "uiSetLocalProperties true",
      R"(uiSetPropertyString 1 2003 "/mnt/flash/etc/config/wzapp/wz/shop/t30")",
      R"(uiSetPropertyString 1 2007 "/mnt/flash/etc/config/wzapp/wz/shop/default")",
      "uiReadConfig 1",
      R"(uiSetPropertyString 1 2010 "/mnt/flash/etc/config/wzapp/wz/shop")",
      R"(uiSetPropertyString 1 2012 "/mnt/flash/etc/config/wzapp/fsroot/shop")",
      R"(uiSetPropertyString 1 2015 "/mnt/flash/etc/config/wzapp/fsroot")",
      "platforminfo_get 39 16",
      "uiSetPropertyInt 1 20 71680",
      R"(uiSetPropertyString 1 2013 "/mnt/flash/etc/config/wzapp/wz/shop/print")",
      R"(uiSetPropertyString 1 2006 "app.css")",
      "uiSetPropertyInt 1 15 1",
      "lock log",
      "unlock log",
      "lock mutex",
      R"(uiInvokeURLAsync 1 3 "index.html")",
      "unlock mutex",
      "uiInvokeWait 8 -1",
      "lock mutex",
      "lock log",
      "platforminfo_get 35 17",
      R"(ipcNotify "1" "_WZLog" 0 "shop")",
      "unlock log",
      "uiSetLocalProperties false",
      "onExit 5",
      "unlock mutex",
  };
  EXPECT_EQ(calls, expected);
}

TEST_F(RunLoopTest, InvocationThatFailsIsNotWaitedFor) {
  HostProgram host;
  platform().answers.invoke = [](const zelgui::UIProperties&, const std::string&) { return -3; };
  platform().answers.scriptError = "no such page";

  std::vector<std::string> calls = run(host);

  calls.erase(calls.begin(), std::find(calls.begin(), calls.end(), "unlock log") + 1);
  EXPECT_THAT(
      calls, ElementsAre("lock mutex", R"(uiInvokeURLAsync 1 3 "index.html")", "uiScriptError",
                         "lock log", "platforminfo_get 35 17", R"(ipcNotify "1" "_WZLog" 0 "shop")",
                         "unlock log", "uiSetLocalProperties false", "onExit -3", "unlock mutex"));
  EXPECT_EQ(host.result(), -3);
}

TEST_F(RunLoopTest, InvocationZeroIsAnInvocation) {
  HostProgram host;
  platform().answers.invoke = [](const zelgui::UIProperties&, const std::string&) { return 0; };
  platform().answers.wait = [](int invocation, zelgui::UIProperties&) { return invocation + 4; };

  ASSERT_EQ(host.run(), 0);
  host.awaitEnd();

  EXPECT_EQ(host.result(), 4);
}

TEST_F(RunLoopTest, ApplicationIsMarkedAsEndedWithItsResult) {
  HostProgram host;
  platform().answers.wait = [](int, zelgui::UIProperties&) { return 12; };

  ASSERT_EQ(host.run(), 0);
  host.awaitEnd();

  EXPECT_FALSE(host.manager().running);
  EXPECT_EQ(host.manager().invocation, 12);
}

TEST_F(RunLoopTest, MutexIsHeldDuringTheInvocationAndWhileTheHostIsTold) {
  HostProgram host;
  bool freeInInvoke = true;
  bool freeInWait = false;
  bool freeInExit = true;
  std::mutex handleSet;
  handleSet.lock();
  platform().answers.invoke = [&](const zelgui::UIProperties&, const std::string&) {
    const std::lock_guard<std::mutex> started(handleSet);
    freeInInvoke = isFree(host.manager().mutex);
    return 1;
  };
  platform().answers.wait = [&](int, zelgui::UIProperties&) {
    freeInWait = isFree(host.manager().mutex);
    return 0;
  };
  host.whenTold = [&] { freeInExit = isFree(host.manager().mutex); };

  ASSERT_EQ(host.run(), 0);
  handleSet.unlock();
  host.awaitEnd();

  EXPECT_FALSE(freeInInvoke);
  EXPECT_TRUE(freeInWait);
  EXPECT_FALSE(freeInExit);
}

TEST_F(RunLoopTest, PropertiesGoToThePageAndComeBackFromIt) {
  HostProgram host;
  Properties given;
  platform().answers.invoke = [&](const zelgui::UIProperties& properties, const std::string&) {
    given = properties;
    return 1;
  };
  platform().answers.wait = [](int, zelgui::UIProperties& properties) {
    properties.erase("amount");
    properties["receipt"] = "17";
    return 0;
  };

  ASSERT_EQ(host.run(kShopManifest, "desktop", {{"amount", "250"}}), 0);
  host.awaitEnd();

  const Properties expected = {{"amount", "250"},
                               {"wz_appId", "shop"},
                               {"wz_appVersion", "1.2.3"},
                               {"wz_sponsorId", "004242"},
                               {"wz_terminalModel", "T30 m"},
                               {"wz_terminalSerialNo", "4711-0815"}};
  EXPECT_EQ(given, expected);
  EXPECT_EQ(host.properties().count("amount"), 0U);
  EXPECT_THAT(host.properties(), Contains(Pair("receipt", "17")));
  EXPECT_THAT(host.properties(), Contains(Pair("wz_appId", "shop")));
}

TEST_F(RunLoopTest, LibraryOverwritesWhatTheHostGivesUnderItsNames) {
  HostProgram host;

  runToEnd(host, {{"wz_appId", "forged"}, {"wz_sponsorId", "forged"}, {"wz_other", "kept"}});

  EXPECT_THAT(host.properties(), Contains(Pair("wz_appId", "shop")));
  EXPECT_THAT(host.properties(), Contains(Pair("wz_sponsorId", "004242")));
  EXPECT_THAT(host.properties(), Contains(Pair("wz_other", "kept")));
}

TEST_F(RunLoopTest, UnknownTerminalHasZerosForANumberAndNoModel) {
  HostProgram host;
  platform().answers.information.clear();

  runToEnd(host);

  EXPECT_THAT(host.properties(), Contains(Pair("wz_terminalSerialNo", "00000000000")));
  EXPECT_THAT(host.properties(), Contains(Pair("wz_terminalModel", "")));
}

TEST_F(RunLoopTest, ConfigurationDocumentsComeFromTheApplicationAndFromItsMarketplace) {
  HostProgram host;
  const std::string application("{\"a\":\0}\n", 8);
  terminal.writeFile("/mnt/flash/etc/config/wzapp/wz/shop/confApp.json", application);
  terminal.writeFile("/mnt/flash/etc/config/wzapp/mp/shop/confOwner.json", "owner's");
  // Neither is looked for in the other's place.
  terminal.writeFile("/mnt/flash/etc/config/wzapp/wz/shop/confOwner.json", "wrong");
  terminal.writeFile("/mnt/flash/etc/config/wzapp/mp/shop/confApp.json", "wrong");

  runToEnd(host);

  EXPECT_THAT(host.properties(), Contains(Pair("wz_confApp", application)));
  EXPECT_THAT(host.properties(), Contains(Pair("wz_confOwner", "owner's")));
}

TEST_F(RunLoopTest, HostsDocumentStaysWhereTheApplicationHasNone) {
  HostProgram host;

  runToEnd(host, {{"wz_confApp", "the host's"}});

  EXPECT_THAT(host.properties(), Contains(Pair("wz_confApp", "the host's")));
}

class MemoryPropertyTest : public RunLoopTest,
                           public testing::WithParamInterface<std::tuple<std::uint32_t, int>> {};

TEST_P(MemoryPropertyTest, FollowsTheMemorySize) {
  const auto [octets, value] = GetParam();
  HostProgram host;
  platform().answers.information[39] = stubs::memoryRecord(octets);

  runToEnd(host);

  EXPECT_THAT(platform().calls(), Contains("uiSetPropertyInt 1 20 " + std::to_string(value)));
}

constexpr std::uint32_t kKB = 1024;
INSTANTIATE_TEST_SUITE_P(
    Sizes, MemoryPropertyTest,
    testing::Values(std::tuple(UINT32_MAX, 256000), std::tuple(524288 * kKB, 256000),
                    std::tuple(524288 * kKB - 1, 71680), std::tuple(262144 * kKB, 71680),
                    std::tuple(262144 * kKB - 1, 10240), std::tuple(kKB, 10240),
                    std::tuple(kKB - 1, 0), std::tuple(0U, 0)));

TEST_F(RunLoopTest, UnknownMemorySizeGivesZero) {
  HostProgram host;
  platform().answers.information.erase(39);

  runToEnd(host);

  EXPECT_THAT(platform().calls(), Contains("uiSetPropertyInt 1 20 0"));
}

TEST_F(RunLoopTest, LogHoldsLaunchAndExit) {
  HostProgram host;

  runToEnd(host);

  const std::vector<LogRecord> records = sentRecords();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].appId, "shop");
  EXPECT_EQ(records[0].version, "1.2.3");
  EXPECT_EQ(records[0].system, "ZTK");
  EXPECT_EQ(records[0].sponsorId, "004242");
  EXPECT_EQ(records[0].serialNumber, "4711-0815");
  EXPECT_FALSE(records[0].hasPrivate);
  EXPECT_THAT(records[0].messages, ElementsAre(LogMessage{{"s", "5"},
                                                          {"msgT", "APPLICATION"},
                                                          {"msg", "Application launched"},
                                                          {"aE", "LAUNCH"}},
                                               LogMessage{{"s", "5"},
                                                          {"msgT", "APPLICATION"},
                                                          {"msg", "Application ended"},
                                                          {"aE", "EXIT"}}));
}

class FailedRunTest
    : public RunLoopTest,
      public testing::WithParamInterface<std::tuple<int, const char*, const char*>> {};

TEST_P(FailedRunTest, LogsResultAndScriptError) {
  const auto [result, message, code] = GetParam();
  HostProgram host;
  platform().answers.scriptError = "x is undefined";
  platform().answers.wait = [value = result](int, zelgui::UIProperties&) { return value; };

  ASSERT_EQ(host.run(), 0);
  host.awaitEnd();

  const std::vector<LogRecord> records = sentRecords();
  ASSERT_EQ(records.size(), 1U);
  ASSERT_EQ(records[0].messages.size(), 3U);
  EXPECT_EQ(
      records[0].messages[1],
      (LogMessage{{"s", "3"}, {"msgT", "ERROR"}, {"msg", message}, {"eC", code}, {"eN", ""}}));
  EXPECT_EQ(host.result(), result);
}

INSTANTIATE_TEST_SUITE_P(
    Results, FailedRunTest,
    testing::Values(std::tuple(-1, "Error -1 x is undefined\n", "wz_2\n"),
                    std::tuple(-1000, "Error -1000 x is undefined\n", "wz_1001\n"),
                    std::tuple(INT_MIN + 2, "Error -2147483646 x is undefined\n",
                               "wz_2147483647\n"),
                    std::tuple(INT_MIN, "Error -2147483648 x is undefined\n", "wz_-2147483647\n")));

TEST_F(RunLoopTest, FailedInvocationLogsItsCode) {
  HostProgram host;
  platform().answers.scriptError = "";
  platform().answers.invoke = [](const zelgui::UIProperties&, const std::string&) { return -7; };

  ASSERT_EQ(host.run(), 0);
  host.awaitEnd();

  const std::vector<LogRecord> records = sentRecords();
  ASSERT_EQ(records.size(), 1U);
  ASSERT_EQ(records[0].messages.size(), 3U);
  EXPECT_EQ(records[0].messages[1].at("msg"), "Error -7 \n");
  EXPECT_EQ(records[0].messages[1].at("eC"), "wz_8\n");
}

struct ParameterRow {
  const char* name;
  Properties params;
  const char* system;                         // expected "sys"
  std::map<std::string, std::string> origin;  // expected "wz_private"
};

class HostParameterTest : public RunLoopTest, public testing::WithParamInterface<ParameterRow> {};

TEST_P(HostParameterTest, GoesIntoTheRecord) {
  HostProgram host;

  runToEnd(host, GetParam().params);

  const std::vector<LogRecord> records = sentRecords();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].system, GetParam().system);
  EXPECT_EQ(records[0].origin, GetParam().origin);
  EXPECT_EQ(records[0].hasPrivate, !GetParam().origin.empty());
}

INSTANTIATE_TEST_SUITE_P(
    Rows, HostParameterTest,
    testing::Values(
        ParameterRow{"None", {}, "ZTK", {}},
        ParameterRow{"Merchant",
                     {{"wz_parameters", R"({"wz_merchantId":"m-1"})"}},
                     "ZTK",
                     {{"wz_merchantId", "m-1"}}},
        ParameterRow{"MerchantWithWhiteSpace",
                     {{"wz_parameters", " {\"wz_merchantId\":\"m-1\"}\n"}},
                     "ZTK",
                     {{"wz_merchantId", "m-1"}}},
        ParameterRow{"MerchantIsANumber", {{"wz_parameters", R"({"wz_merchantId":1})"}}, "ZTK", {}},
        ParameterRow{"ParametersAreNoJson", {{"wz_parameters", "{"}}, "ZTK", {}},
        ParameterRow{
            "ParametersAreAnArray", {{"wz_parameters", R"(["wz_merchantId"])"}}, "ZTK", {}},
        // Parsing is not examined: what stands before the rest counts.
        ParameterRow{"ParametersWithMoreBehind",
                     {{"wz_parameters", R"({"wz_merchantId":"m-1"} x)"}},
                     "ZTK",
                     {{"wz_merchantId", "m-1"}}},
        ParameterRow{"System", {{"wz_system", "KIOSK"}}, "KIOSK", {{"wz_system", "KIOSK"}}},
        ParameterRow{"EmptySystem", {{"wz_system", ""}}, "ZTK", {}},
        ParameterRow{
            "SystemVersion", {{"wz_system_version", "9.1"}}, "ZTK", {{"wz_system_version", "9.1"}}},
        ParameterRow{
            "All",
            {{"wz_parameters", R"({"wz_merchantId":"m-1"})"},
             {"wz_system", "KIOSK"},
             {"wz_system_version", "9.1"}},
            "KIOSK",
            {{"wz_merchantId", "m-1"}, {"wz_system", "KIOSK"}, {"wz_system_version", "9.1"}}}),
    [](const auto& row) { return row.param.name; });

TEST_F(RunLoopTest, LaunchIsLoggedAlthoughTheParametersCannotBeRead) {
  HostProgram host;
  platform().answers.localProperties = [](bool local) { stubs::failParsing(local); };

  runToEnd(host, {{"wz_parameters", R"({"wz_merchantId":"m-1"})"},
                  {"wz_system", "KIOSK"},
                  {"wz_system_version", "9.1"}});

  const std::vector<LogRecord> records = sentRecords();
  ASSERT_EQ(records.size(), 1U);
  ASSERT_EQ(records[0].messages.size(), 2U);
  EXPECT_EQ(records[0].messages[0].at("aE"), "LAUNCH");
  EXPECT_EQ(records[0].version, "1.2.3");
  EXPECT_EQ(records[0].origin, (std::map<std::string, std::string>{{"wz_system", "KIOSK"},
                                                                   {"wz_system_version", "9.1"}}));
}

TEST_F(RunLoopTest, MerchantIdThatIsNoStringLeavesThatOfASharedLog) {
  HostProgram first;
  HostProgram second;
  std::mutex lineWritten;
  lineWritten.lock();
  platform().answers.wait = [&](int, zelgui::UIProperties&) {
    const std::lock_guard<std::mutex> written(lineWritten);
    return 0;
  };
  ASSERT_EQ(first.run(kShopManifest, "desktop", {{"wz_parameters", R"({"wz_merchantId":"m-1"})"}}),
            0);
  platform().awaitInvocations(1);
  ASSERT_EQ(second.run(kShopManifest, "desktop", {{"wz_parameters", R"({"wz_merchantId":1})"}}), 0);
  platform().awaitInvocations(2);

  platform().script.log(nullptr, "shop", js::JS_LOG_INFO, {std::string(50000, 'x')});
  lineWritten.unlock();
  first.awaitEnd();
  second.awaitEnd();

  const LogRecord record = sentRecords().at(0);
  EXPECT_EQ(record.messages.size(), 3U);
  EXPECT_EQ(record.origin, (std::map<std::string, std::string>{{"wz_merchantId", "m-1"}}));
}

TEST_F(RunLoopTest, RecordSpeaksOfTheParametersAsTheyWereAtTheLaunch) {
  HostProgram host;
  platform().answers.wait = [](int, zelgui::UIProperties& properties) {
    properties.clear();
    return 0;
  };

  ASSERT_EQ(host.run(kShopManifest, "desktop", {{"wz_system", "KIOSK"}}), 0);
  host.awaitEnd();

  EXPECT_EQ(sentRecords().at(0).system, "KIOSK");
}

TEST_F(RunLoopTest, LogIsClosedWhenTheHostIsTold) {
  HostProgram host;
  host.whenTold = [] {
    platform().script.log(nullptr, "shop", js::JS_LOG_INFO, {std::string(50000, 'x')});
  };

  runToEnd(host);

  EXPECT_EQ(sentRecords().size(), 1U);
}

TEST_F(RunLoopTest, RefusedPublicationChangesNothing) {
  HostProgram host;
  platform().answers.notify = [](const stubs::Notification&) { return -1; };

  runToEnd(host);

  EXPECT_EQ(host.timesTold(), 1);
  EXPECT_EQ(host.result(), 0);
}

TEST_F(RunLoopTest, ManifestWithoutApplicationRunsWithEmptyIdAndVersion) {
  HostProgram host;
  terminal.writeFile("/mnt/flash/manifest.json", R"({"desktop":{"file":"index.html"}})");
  platform().answers.wait = [](int, zelgui::UIProperties&) { return 0; };

  ASSERT_EQ(host.run("/mnt/flash/manifest.json"), 0);
  host.awaitEnd();

  EXPECT_THAT(host.properties(), Contains(Pair("wz_appId", "")));
  EXPECT_THAT(host.properties(), Contains(Pair("wz_appVersion", "")));
  EXPECT_EQ(sentRecords().at(0).appId, "");
}

TEST_F(RunLoopTest, ExceptionOfTheHostDoesNotLeaveTheThread) {
  HostProgram host;
  host.whenTold = [&] {
    stubs::platform().note("thrown");
    // Tell first: nothing behind this line would be reached.
    HostProgram& self = host;
    const auto again = std::move(self.whenTold);
    self.whenTold = nullptr;
    HostProgram::onExit(&self, 0, {});
    throw std::runtime_error("a host's mistake");
  };

  runToEnd(host);

  EXPECT_EQ(host.timesTold(), 1);
  EXPECT_FALSE(host.manager().running);
}

}  // namespace
}  // namespace wzapp_test
