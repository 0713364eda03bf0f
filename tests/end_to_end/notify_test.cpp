// Pages and programs in other processes, over the terminal's bus.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/end_to_end/application.h"
#include "tests/end_to_end/child_program.h"
#include "tests/end_to_end/receiver.h"
#include "tests/end_to_end/station.h"

namespace wzapp_test {
namespace {

using testing::StartsWith;
using zelipc::JSObject;

JSObject parsed(const std::string& text) {
  JSObject value;
  EXPECT_GE(value.parse(text.c_str()), 0) << text;
  return value;
}

class NotifyTest : public EndToEndTest {
 protected:
  // Runs an application whose script makes a text and calls done(text) with it; returns that text.
  static std::string saidBy(const std::string& script, const std::string& appId = "shop") {
    Application application(appId);
    application.script("const done = (text) => wz.exit(0, {said: String(text)});\n" + script);
    ApplicationRun run(application);
    if (!run.awaitEnd() || run.result() != 0) return "the application failed";
    return run.properties().at("said");
  }
};

TEST_F(NotifyTest, ReachesAProgramInAnotherProcess) {
  Partner till("till", "PAID", Partner::kListens);

  saidBy(R"(
      (async () => {
        await wz.notify('till', 'PAID', {amount: 1250, text: '\u20ac \u0000 "'});
        await wz.notify('till', 'PAID', [1], {from: 'clerk', flags: 4294967295});
        await wz.notify('till', 'PAID');
        done('');
      })();)");

  JSObject first, second, third;
  ASSERT_TRUE(till.awaitNotification(first));
  ASSERT_TRUE(till.awaitNotification(second));
  ASSERT_TRUE(till.awaitNotification(third));
  EXPECT_EQ(first["from"].asString(), "shop");
  EXPECT_EQ(first["to"].asString(), "till");
  EXPECT_EQ(first["name"].asString(), "PAID");
  EXPECT_EQ(first["flags"].asInt(), 0);
  EXPECT_EQ(first["payload"]["amount"].asInt(), 1250);
  EXPECT_EQ(first["payload"]["text"].asString(), std::string("\xe2\x82\xac \0 \"", 7));
  EXPECT_EQ(second["from"].asString(), "clerk");
  EXPECT_EQ(second["flags"].asInt(), 4294967295LL);
  EXPECT_EQ(second["payload"].dump(), "[1]");
  EXPECT_EQ(third["payload"].dump(), "{}");
}

// The two forms differ only in how the script waits.
class WaitFormTest : public NotifyTest, public testing::WithParamInterface<const char*> {
 protected:
  // `ask(...)` is the call under test, as something to await; `timed` gives its milliseconds too.
  static std::string saidByAsking(const std::string& body) {
    return saidBy(std::string("const ask = async (...a) => wz.") + GetParam() + R"((...a);
        const timed = async (...a) => {
          const start = performance.now();
          const code = await ask(...a).then(() => 'answered', (e) => `${e.name} ${e.code}`);
          return [code, performance.now() - start];
        };
        (async () => {)" +
                  body + "})().catch((error) => done('failed: ' + error));");
  }
};

INSTANTIATE_TEST_SUITE_P(NotifyTest, WaitFormTest,
                         testing::Values("notifyAndWait", "notifyAndWaitSync"),
                         [](const auto& row) { return row.param; });

TEST_P(WaitFormTest, ProgramInAnotherProcessAnswers) {
  Partner club("club", "LOOKUP");

  const JSObject said = parsed(saidByAsking(
      "done(JSON.stringify(await ask('club', 'LOOKUP', {card: '4711', n: [1, null, 2.5]})));"));

  EXPECT_EQ(said["by"].asString(), "club");
  EXPECT_EQ(said["asked"]["card"].asString(), "4711");
  EXPECT_EQ(said["asked"]["n"].dump(), "[1,null,2.5]");
}

TEST_P(WaitFormTest, AnyJsonValueIsAnAnswer) {
  Partner club("club", "LOOKUP");

  EXPECT_EQ(saidByAsking(R"(
      const values = [null, true, 0, -1.5, 9007199254740991, '', 'a\u0000\u2028"\\', [], {},
                      [[[{a: [1]}]]], {'': {'\u20ac': null}}, 'x'.repeat(1 << 20)];
      let wrong = '';
      for (const answer of values) {
        const given = await ask('club', 'LOOKUP', {answer});
        if (JSON.stringify(given) !== JSON.stringify(answer)) wrong += JSON.stringify(answer) + ' ';
      }
      done(wrong || 'all right');)"),
            "all right");
}

TEST_P(WaitFormTest, OptionsReachTheOtherSide) {
  Partner club("club", "LOOKUP");

  const std::string said = saidByAsking(R"(
      const reply = await ask('club', 'LOOKUP', {replyName: 'FOUND', answer: 1},
                              {replyName: 'FOUND', from: 'clerk', flags: 7, timeout: 10000});
      done(reply);)");

  JSObject asked;
  EXPECT_EQ(said, "1");
  ASSERT_TRUE(club.awaitNotification(asked));
  EXPECT_EQ(asked["from"].asString(), "clerk");
  EXPECT_EQ(asked["flags"].asInt(), 7);
}

TEST_P(WaitFormTest, NobodyThereFailsAtOnce) {
  EXPECT_EQ(saidByAsking(R"(
      const [code, time] = await timed('nobody', 'LOOKUP', {}, {timeout: -1});
      done(`${code} ${time < 5000}`);)"),
            "WzError -11 true");
}

TEST_P(WaitFormTest, NoAnswerInTimeFails) {
  Partner club("club", "LOOKUP", Partner::kListens);

  EXPECT_EQ(saidByAsking(R"(
      const [code, time] = await timed('club', 'LOOKUP', {}, {timeout: 250});
      done(`${code} ${time >= 249 && time < 5000}`);)"),
            "WzError -11 true");
}

TEST_P(WaitFormTest, NoTimeAtAllFails) {
  Partner club("club", "LOOKUP", Partner::kListens);

  EXPECT_EQ(saidByAsking(R"(
      const [code, time] = await timed('club', 'LOOKUP', {}, {timeout: 0});
      done(`${code} ${time < 5000}`);)"),
            "WzError -11 true");
}

TEST_P(WaitFormTest, NegativeTimeOutWaitsForAsLongAsItTakes) {
  Partner club("club", "LOOKUP");
  Receiver clock("clock", "TICK");
  Application shop("shop"), other("other");
  shop.script(std::string("(async () => wz.exit(await wz.") + GetParam() +
              "('club', 'LOOKUP', {hold: true, answer: 5}, {timeout: -1})))();");
  other.script("setInterval(() => wz.notify('clock', 'TICK'), 20);");
  ApplicationRun run(shop);
  JSObject asked;
  ASSERT_TRUE(club.awaitNotification(asked));

  // Meanwhile another application goes on.
  ApplicationRun goingOn(other);
  ASSERT_TRUE(clock.await(5));
  ASSERT_EQ(run.timesTold(), 0);
  club.release();

  ASSERT_TRUE(run.awaitEnd());
  EXPECT_EQ(run.result(), 5);
  EXPECT_EQ(goingOn.timesTold(), 0);
}

TEST_P(WaitFormTest, FailedCallLeavesOthersWaiting) {
  Partner club("club", "LOOKUP");
  Application shop("shop");
  shop.script(std::string(R"(
      const held = wz.notifyAndWait('club', 'LOOKUP', {hold: true, answer: 'kept'});
      (async () => {
        let code = 0;
        try { await wz.)") +
              GetParam() + R"(('nobody', 'LOOKUP'); } catch (error) { code = error.code; }
        wz.log(6, 'failed');
        wz.exit(0, {said: `${code} ${await held}`});
      })();)");
  ApplicationRun run(shop);
  JSObject asked;
  ASSERT_TRUE(club.awaitNotification(asked));
  ASSERT_TRUE(awaitLogCall("shop", "failed"));

  club.release();

  ASSERT_TRUE(run.awaitEnd());
  EXPECT_EQ(run.properties().at("said"), "-11 kept");
}

TEST_F(NotifyTest, NotificationToNobodyIsSentAllTheSame) {
  EXPECT_EQ(saidBy("wz.notify('nobody', 'PAID').then(() => done('sent'), (e) => done(e.code));"),
            "sent");
}

TEST_F(NotifyTest, PromiseAndBlockingCallWaitAtTheSameTime) {
  Partner club("club", "LOOKUP"), desk("desk", "ASK");
  Application shop("shop");
  shop.script(R"(
      const held = wz.notifyAndWait('club', 'LOOKUP', {hold: true, answer: 'late'});
      const first = wz.notifyAndWaitSync('desk', 'ASK', {answer: 'early'});
      wz.log(6, first);
      held.then((second) => wz.exit(0, {said: `${first} ${second}`}));)");
  ApplicationRun run(shop);
  ASSERT_TRUE(awaitLogCall("shop", "early"));
  ASSERT_EQ(run.timesTold(), 0);

  club.release();

  ASSERT_TRUE(run.awaitEnd());
  EXPECT_EQ(run.properties().at("said"), "early late");
}

// As many as the platform lets one page have.
TEST_F(NotifyTest, ManyCallsWaitAtOnceAndEachGetsItsOwnAnswer) {
  Partner club("club", "LOOKUP");

  EXPECT_EQ(saidBy(R"(
      const ask = (answer) => wz.notifyAndWait('club', 'LOOKUP', {answer, replyName: 'R' + answer},
                                               {replyName: 'R' + answer});
      const numbers = Array.from({length: 256}, (_, i) => i);
      Promise.all(numbers.map(ask)).then((answers) => {
        done(answers.every((answer, i) => answer === i) ? 'each its own' : answers.join(' '));
      }, (error) => done('failed ' + error.code));)"),
            "each its own");
}

// 256 are as many as one page may have.
TEST_F(NotifyTest, TwoApplicationsMayHaveAllTheirCallsWaiting) {
  Partner club("club", "LOOKUP");
  Application shop("shop"), till("till");
  for (Application* application : {&shop, &till}) {
    application->script(R"(
        const ask = (answer) => wz.notifyAndWait(
            'club', 'LOOKUP', {hold: true, answer, replyName: wz.properties.wz_appId + answer},
            {replyName: wz.properties.wz_appId + answer});
        const answers = Array.from({length: 256}, (_, i) => ask(i));
        Promise.all(answers).then((all) => wz.exit(all.every((answer, i) => answer === i) ? 0 : 1),
                                  (error) => wz.exit(2, {code: String(error.code)}));)");
  }
  ApplicationRun first(shop), second(till);
  zelipc::JSObject asked;
  for (int call = 0; call < 512; ++call) ASSERT_TRUE(club.awaitNotification(asked)) << call;

  club.release();

  ASSERT_TRUE(first.awaitEnd());
  ASSERT_TRUE(second.awaitEnd());
  EXPECT_EQ(first.result(), 0);
  EXPECT_EQ(second.result(), 0);
}

TEST_F(NotifyTest, BlockingCallsFollowOneAnother) {
  Partner club("club", "LOOKUP");

  EXPECT_EQ(saidBy(R"(
      let wrong = 0;
      for (let i = 0; i < 100; ++i) {
        if (wz.notifyAndWaitSync('club', 'LOOKUP', {answer: i}) !== i) ++wrong;
      }
      done(wrong + ' wrong');)"),
            "0 wrong");
}

TEST_F(NotifyTest, TwoApplicationsGetTheirOwnAnswers) {
  Partner club("club", "LOOKUP");
  Application shop("shop"), till("till");
  for (Application* application : {&shop, &till}) {
    application->script(R"(
        (async () => {
          let wrong = 0;
          for (let i = 0; i < 50; ++i) {
            const {asked} = await wz.notifyAndWait('club', 'LOOKUP', {me: wz.properties.wz_appId, i});
            if (asked.me !== wz.properties.wz_appId || asked.i !== i) ++wrong;
          }
          wz.exit(wrong);
        })();)");
  }
  ApplicationRun first(shop), second(till);

  ASSERT_TRUE(first.awaitEnd());
  ASSERT_TRUE(second.awaitEnd());

  EXPECT_EQ(first.result(), 0);
  EXPECT_EQ(second.result(), 0);
}

TEST_F(NotifyTest, WrongArgumentsThrowAndDisturbNothing) {
  Partner club("club", "LOOKUP");

  EXPECT_EQ(saidBy(R"(
      const loop = {}; loop.loop = loop;
      const wrong = [[], ['club'], [1, 'LOOKUP'], ['club', null], ['club', {}],
                     ['club', 'LOOKUP', () => 1], ['club', 'LOOKUP', loop],
                     ['club', 'LOOKUP', 1n], ['club', 'LOOKUP', {}, 5], ['club', 'LOOKUP', {}, null],
                     ['club', 'LOOKUP', {}, {flags: -1}], ['club', 'LOOKUP', {}, {flags: 'x'}],
                     ['club', 'LOOKUP', {}, {from: 7}]];
      const wrongWait = [['club', 'LOOKUP', {}, {timeout: 'soon'}],
                         ['club', 'LOOKUP', {}, {timeout: 1e12}],
                         ['club', 'LOOKUP', {}, {replyName: 1}]];
      const passed = [];
      const tryAll = (name, rows) => rows.forEach((row, i) => {
        try { wz[name](...row); passed.push(`${name} ${i}`); } catch (error) {
          if (!(error instanceof TypeError)) passed.push(`${name} ${i} ${error}`);
        }
      });
      tryAll('notify', wrong);
      for (const name of ['notifyAndWait', 'notifyAndWaitSync']) tryAll(name, [...wrong, ...wrongWait]);
      wz.notifyAndWait('club', 'LOOKUP', {answer: 'right'}).then((answer) => {
        done([...passed, answer].join(', '));
      });)"),
            "right");

  JSObject only;
  ASSERT_TRUE(club.awaitNotification(only));
  EXPECT_EQ(only["payload"]["answer"].asString(), "right");
}

TEST_F(NotifyTest, ForeignFramesHaveNoPartInIt) {
  EXPECT_EQ(saidBy(R"(
      addEventListener('message', (event) => done(event.data));
      addEventListener('DOMContentLoaded', () => {
        const frame = document.createElement('iframe');
        frame.sandbox = 'allow-scripts';
        frame.srcdoc = `<script>parent.postMessage(typeof wz, '*')<\/script>`;
        document.body.append(frame);
      });)"),
            "undefined");
}

// ---- The published log, seen from outside ----

TEST_F(NotifyTest, LogReachesAProgramInAnotherProcess) {
  Partner collector("1", "_WZLog", Partner::kListens);

  saidBy("wz.log(6, 'a\\u0000\\ud800', '\\u20ac'); done('');");

  JSObject seen;
  ASSERT_TRUE(collector.awaitNotification(seen));
  const std::vector<Received> records = awaitRecords("shop");
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(seen["from"].asString(), "shop");
  EXPECT_EQ(seen["to"].asString(), "1");
  EXPECT_EQ(seen["flags"].asInt(), 0);
  EXPECT_EQ(seen["payload"].dump(), records[0].payload.dump());
  EXPECT_EQ(seen["payload"]["data"]["msgs"].at(1)["msg"].asString(),
            std::string("a\0\xef\xbf\xbd", 5));
}

TEST_F(NotifyTest, BigLogReachesAProgramInAnotherProcess) {
  Partner collector("1", "_WZLog", Partner::kListens);

  saidBy("for (const c of 'ab') wz.log(6, c.repeat(1 << 20)); done('');");

  for (const char letter : {'a', 'b'}) {
    JSObject seen;
    ASSERT_TRUE(collector.awaitNotification(seen));
    const JSObject& messages = std::as_const(seen)["payload"]["data"]["msgs"];
    ASSERT_GE(messages.size(), 1U);
    EXPECT_TRUE(messages.at(messages.size() - 1)["msg"].asString() == std::string(1 << 20, letter));
  }
}

}  // namespace
}  // namespace wzapp_test
