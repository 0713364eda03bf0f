#include "runtime/script_bridge.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <string>
#include <thread>
#include <vector>

#include "tests/runtime/stubs/lock_recorder.h"
#include "tests/runtime/stubs/recording_platform.h"

namespace wzapp {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using stubs::Notification;
using stubs::platform;
using testing::ElementsAre;
using testing::IsEmpty;
using zelipc::JSObject;

constexpr int kNoLimit = -1;
constexpr int kLong = 60000;  // milliseconds that no test uses up
constexpr int kShort = 20;

JSObject reply(const std::string& text) {
  JSObject object;
  object["answer"] = text;
  return object;
}

class ScriptBridgeTest : public testing::Test {
 protected:
  ScriptBridgeTest() { platform().reset(); }

  // Each test leaves the messaging library without registrations.
  ~ScriptBridgeTest() override {
    EXPECT_THAT(platform().replyRegistrations(), IsEmpty());
    EXPECT_THAT(platform().errorRegistrations(), IsEmpty());
  }

  // A call of the application "shop", which asks "till" for its "total".
  int askTill(int timeoutMs) {
    return onScriptNotifyAndWait(nullptr, "till", "total", "{}", 0, "shop", "total_reply",
                                 replyText, timeoutMs);
  }

  // Runs `action` on a thread of its own as soon as the caller waits for its reply.
  std::thread whenWaiting(std::function<void()> action) {
    return std::thread([count = stubs::conditionWaits() + 1, action = std::move(action)] {
      stubs::awaitConditionWaits(count);
      action();
    });
  }

  std::string replyText = "what was here before";
};

TEST_F(ScriptBridgeTest, NotifySendsWhatTheScriptGave) {
  const int result =
      onScriptNotify(nullptr, "till", "total", R"({"amount":[1,2]})", 0x80000001U, "shop");

  const std::vector<Notification> sent = platform().sent("total");
  EXPECT_EQ(result, 0);
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_EQ(sent[0].to, "till");
  EXPECT_EQ(sent[0].json, R"({"amount":[1,2]})");
  EXPECT_EQ(sent[0].flags, 0x80000001U);
  EXPECT_EQ(sent[0].from, "shop");
}

TEST_F(ScriptBridgeTest, NotifyGivesTheResultOfSending) {
  platform().answers.notify = [](const Notification&) { return 99; };

  EXPECT_EQ(onScriptNotify(nullptr, "till", "total", "{}", 0, "shop"), 99);
}

TEST_F(ScriptBridgeTest, NotifySendsNullSenderAsEmpty) {
  EXPECT_EQ(onScriptNotify(nullptr, "till", "total", "{}", 0, nullptr), 0);

  EXPECT_EQ(platform().sent("total").at(0).from, "");
}

TEST_F(ScriptBridgeTest, NotifyRefusesNullArguments) {
  EXPECT_EQ(onScriptNotify(nullptr, nullptr, "total", "{}", 0, "shop"), -1);
  EXPECT_EQ(onScriptNotify(nullptr, "till", nullptr, "{}", 0, "shop"), -1);
  EXPECT_EQ(onScriptNotify(nullptr, "till", "total", nullptr, 0, "shop"), -1);

  EXPECT_THAT(platform().calls(), IsEmpty());
}

TEST_F(ScriptBridgeTest, TextThatIsNoJsonIsSentAllTheSame) {
  EXPECT_EQ(onScriptNotify(nullptr, "till", "total", "{\"a\":", 0, "shop"), 0);
  EXPECT_EQ(onScriptNotify(nullptr, "till", "total", "", 0, "shop"), 0);
  EXPECT_EQ(onScriptNotify(nullptr, "till", "total", "[1] and more", 0, "shop"), 0);

  const std::vector<Notification> sent = platform().sent("total");
  ASSERT_EQ(sent.size(), 3U);
  EXPECT_EQ(sent[0].json, "{}");
  EXPECT_EQ(sent[1].json, "{}");
  EXPECT_EQ(sent[2].json, "[1]");
}

TEST_F(ScriptBridgeTest, NotifyAndWaitRefusesNullArgumentsAndLeavesTheReplyAlone) {
  const auto call = [&](const char* to, const char* name, const char* json, const char* replyName) {
    return onScriptNotifyAndWait(nullptr, to, name, json, 0, "shop", replyName, replyText, 0);
  };

  EXPECT_EQ(call(nullptr, "total", "{}", "total_reply"), -12);
  EXPECT_EQ(call("till", nullptr, "{}", "total_reply"), -12);
  EXPECT_EQ(call("till", "total", nullptr, "total_reply"), -12);
  EXPECT_EQ(call("till", "total", "{}", nullptr), -12);
  EXPECT_EQ(replyText, "what was here before");
  EXPECT_THAT(platform().calls(), IsEmpty());
}

TEST_F(ScriptBridgeTest, NotifyAndWaitRegistersSendsAndUnregistersInOrder) {
  askTill(0);

  EXPECT_THAT(
      platform().calls(),
      ElementsAre(R"(ipcRegisterNotificationCB "total_reply" 0 "shop")", "ipcRegisterUnicastError",
                  R"(ipcNotify "till" "total" 0 "shop")", "ipcUnregisterUnicastError",
                  R"(ipcUnregisterNotificationCB "total_reply" "shop")"));
}

TEST_F(ScriptBridgeTest, NullSenderIsRegisteredSentAndComparedAsEmpty) {
  std::thread messaging = whenWaiting([] { platform().deliverError("", "till", "total"); });

  const int result = onScriptNotifyAndWait(nullptr, "till", "total", "{}", 5, nullptr,
                                           "total_reply", replyText, kNoLimit);
  messaging.join();

  EXPECT_EQ(result, -11);
  EXPECT_EQ(platform().calls().at(0), R"(ipcRegisterNotificationCB "total_reply" 0 "")");
  EXPECT_EQ(platform().calls().at(2), R"(ipcNotify "till" "total" 5 "")");
}

class TimeoutTest : public ScriptBridgeTest, public testing::WithParamInterface<int> {};

TEST_P(TimeoutTest, ReplyDuringTheWaitIsHandedOn) {
  std::thread messaging =
      whenWaiting([] { platform().deliver("total_reply", "shop", reply("12.50")); });

  const int result = askTill(GetParam());
  messaging.join();

  EXPECT_EQ(result, 0);
  EXPECT_EQ(replyText, R"({"answer":"12.50"})");
}

TEST_P(TimeoutTest, WakingWithoutCauseDoesNotEndTheWait) {
  const int waitsBefore = stubs::conditionWaits();
  stubs::wakeWithoutCause(2);
  std::thread messaging([&] {
    EXPECT_TRUE(stubs::conditionWaitsReach(waitsBefore + 3));
    platform().deliver("total_reply", "shop", reply("12.50"));
  });

  const int result = askTill(GetParam());
  messaging.join();

  EXPECT_EQ(result, 0);
  EXPECT_EQ(replyText, R"({"answer":"12.50"})");
}

TEST_P(TimeoutTest, ReplyBeforeTheWaitBeginsIsHandedOn) {
  platform().answers.notify = [](const Notification&) {
    std::thread([] { platform().deliver("total_reply", "shop", reply("early")); }).join();
    return 0;
  };

  const int result = askTill(GetParam());

  EXPECT_EQ(result, 0);
  EXPECT_EQ(replyText, R"({"answer":"early"})");
}

TEST_P(TimeoutTest, DeliveryErrorEndsTheWait) {
  std::thread messaging = whenWaiting([] { platform().deliverError("shop", "till", "total"); });

  const int result = askTill(GetParam());
  messaging.join();

  EXPECT_EQ(result, -11);
  EXPECT_EQ(replyText, "");
}

INSTANTIATE_TEST_SUITE_P(Timeouts, TimeoutTest,
                         testing::Values(kNoLimit, INT_MIN, kLong, kLong + 999, INT_MAX));

TEST_F(ScriptBridgeTest, ReplyThatIsThereIsHandedOnWithoutAnyTime) {
  platform().answers.notify = [](const Notification&) {
    platform().deliver("total_reply", "shop", reply("early"));
    return 0;
  };

  EXPECT_EQ(askTill(0), 0);
  EXPECT_EQ(replyText, R"({"answer":"early"})");
}

TEST_F(ScriptBridgeTest, WithoutAnyTimeAMissingReplyIsNotWaitedFor) {
  EXPECT_EQ(askTill(0), -11);
  EXPECT_EQ(replyText, "");
}

TEST_F(ScriptBridgeTest, TimeoutGivesNoReplyAndNotBeforeItsTime) {
  const steady_clock::time_point start = steady_clock::now();

  const int result = askTill(kShort);

  EXPECT_EQ(result, -11);
  EXPECT_EQ(replyText, "");
  EXPECT_GE(steady_clock::now() - start, milliseconds(kShort));
}

TEST_F(ScriptBridgeTest, TimeoutIsCountedInSecondsAndMilliseconds) {
  const steady_clock::time_point start = steady_clock::now();

  const int result = askTill(1001);

  EXPECT_EQ(result, -11);
  EXPECT_GE(steady_clock::now() - start, milliseconds(1001));
}

TEST_F(ScriptBridgeTest, ReplyAfterTheDeadlineIsNotSeen) {
  const int result = askTill(0);
  platform().deliver("total_reply", "shop", reply("late"));

  EXPECT_EQ(result, -11);
  EXPECT_EQ(replyText, "");
}

TEST_F(ScriptBridgeTest, RepliesUnderAnotherNameOrToAnotherAreNotTaken) {
  platform().answers.notify = [](const Notification&) {
    platform().deliver("other_reply", "shop", reply("wrong name"));
    platform().deliver("total_reply", "bank", reply("wrong receiver"));
    return 0;
  };

  EXPECT_EQ(askTill(0), -11);
  EXPECT_EQ(replyText, "");
}

struct ErrorRow {
  const char* from;
  const char* to;
  const char* name;
};

class OtherErrorTest : public ScriptBridgeTest, public testing::WithParamInterface<ErrorRow> {};

TEST_P(OtherErrorTest, LeavesTheWaitRunning) {
  std::thread messaging = whenWaiting([] {
    platform().deliverError(GetParam().from, GetParam().to, GetParam().name);
    platform().deliver("total_reply", "shop", reply("still waiting"));
  });

  const int result = askTill(kLong);
  messaging.join();

  EXPECT_EQ(result, 0);
  EXPECT_EQ(replyText, R"({"answer":"still waiting"})");
}

INSTANTIATE_TEST_SUITE_P(Errors, OtherErrorTest,
                         testing::Values(ErrorRow{"bank", "till", "total"},
                                         ErrorRow{"shop", "bank", "total"},
                                         ErrorRow{"shop", "till", "sum"}, ErrorRow{"", "", ""},
                                         ErrorRow{"till", "shop", "total"}));

TEST_F(ScriptBridgeTest, FailedSendIsNotWaitedFor) {
  platform().answers.notify = [](const Notification&) { return 5; };

  EXPECT_EQ(askTill(kNoLimit), -11);
  EXPECT_EQ(replyText, "");
}

TEST_F(ScriptBridgeTest, FailedSendWithAReplyGivesItsOwnCodeAndTheReply) {
  platform().answers.notify = [](const Notification&) {
    platform().deliver("total_reply", "shop", reply("anyway"));
    return 5;
  };

  EXPECT_EQ(askTill(kNoLimit), 5);
  EXPECT_EQ(replyText, R"({"answer":"anyway"})");
}

TEST_F(ScriptBridgeTest, LastOfSeveralSignalsCounts) {
  platform().answers.notify = [](const Notification&) {
    platform().deliverError("shop", "till", "total");
    platform().deliver("total_reply", "shop", reply("first"));
    platform().deliver("total_reply", "shop", reply("second"));
    return 0;
  };

  EXPECT_EQ(askTill(kLong), 0);
  EXPECT_EQ(replyText, R"({"answer":"second"})");
}

TEST_F(ScriptBridgeTest, ReplyOfAnyKindIsItsJsonText) {
  platform().answers.notify = [](const Notification&) {
    platform().deliver("total_reply", "shop", JSObject("text"));
    return 0;
  };

  EXPECT_EQ(askTill(0), 0);
  EXPECT_EQ(replyText, R"("text")");
}

TEST_F(ScriptBridgeTest, LargeTextsPassBothWays) {
  const std::string large(3U << 20, 'x');
  platform().answers.notify = [&](const Notification& notification) {
    JSObject payload;
    payload.parse(notification.json.c_str());
    platform().deliver("total_reply", "shop", payload);
    return 0;
  };

  const std::string json = "{\"a\":\"" + large + "\"}";
  const int result = onScriptNotifyAndWait(nullptr, "till", "total", json.c_str(), 0, "shop",
                                           "total_reply", replyText, 0);

  EXPECT_EQ(result, 0);
  EXPECT_EQ(replyText, json);
}

TEST_F(ScriptBridgeTest, ManyCallsWaitAtOnceAndEachGetsItsOwnReply) {
  constexpr int kCalls = 24;
  platform().answers.notify = [](const Notification& notification) {
    // The last digits of the name are the sender's; answered from a thread of its own.
    std::thread([name = notification.name, from = notification.from] {
      platform().deliver(name + "_reply", from, reply(name));
    }).detach();
    return 0;
  };

  std::vector<std::thread> scripts;
  std::vector<std::string> replies(kCalls);
  std::vector<int> results(kCalls, -1);
  for (std::size_t i = 0; i < kCalls; ++i) {
    scripts.emplace_back([&, i] {
      const std::string name = "ask" + std::to_string(i);
      const std::string replyName = name + "_reply";
      results[i] = onScriptNotifyAndWait(nullptr, "till", name.c_str(), "{}", 0, "shop",
                                         replyName.c_str(), replies[i], kLong);
    });
  }
  for (std::thread& script : scripts) script.join();

  for (std::size_t i = 0; i < kCalls; ++i) {
    EXPECT_EQ(results[i], 0);
    EXPECT_EQ(replies[i], R"({"answer":"ask)" + std::to_string(i) + "\"}");
  }
}

struct ParseRow {
  std::string text;
  bool isWhole;
};

class ParseJsonTest : public testing::TestWithParam<ParseRow> {};

TEST_P(ParseJsonTest, SaysWhetherTheTextIsOneValue) {
  JSObject object;

  EXPECT_EQ(parseJson(object, GetParam().text), GetParam().isWhole);
}

INSTANTIATE_TEST_SUITE_P(Texts, ParseJsonTest,
                         testing::Values(ParseRow{"{}", true}, ParseRow{" [1, 2]\n", true},
                                         ParseRow{"null", true}, ParseRow{"", false},
                                         ParseRow{" ", false}, ParseRow{"{} {}", false},
                                         ParseRow{"{", false}, ParseRow{"{}x", false},
                                         ParseRow{std::string("{}\0", 3), false}));

}  // namespace
}  // namespace wzapp
