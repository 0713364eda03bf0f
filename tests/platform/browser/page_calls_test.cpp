// What a page reaches through its `wz`.

#include <atomic>
#include <chrono>
#include <map>
#include <set>
#include <thread>

#include "js/jsproc.h"
#include "tests/platform/browser/browser_fixture.h"
#include "workstation/browser/engine/page/page_call.h"
#include "zelhtml/zelhtml.h"

namespace wzapp_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class PageCallsTest : public BrowserTest {};

TEST_F(PageCallsTest, PropertiesAreStringsThatCannotBeChanged) {
  const TestApplication application(R"(
    wz.properties.a = 'changed';
    finish([Object.getOwnPropertyNames(wz.properties), wz.properties['__proto__'],
            wz.properties.a, wz.properties.text]))");

  const Ended ended = run(application, "index.html",
                          {{"a", "1"}, {"__proto__", "odd"}, {"text", "quote\" \n \xE2\x82\xAC"}});

  EXPECT_EQ(
      ended.value(),
      "[[\"__proto__\",\"a\",\"text\",\"wz_appId\"],\"odd\",\"1\",\"quote\\\" \\n \xE2\x82\xAC\"]");
}

TEST_F(PageCallsTest, OctetsThatAreNoTextArriveReplaced) {
  const TestApplication application("finish([wz.properties.bad, wz.properties.nul])");

  const Ended ended = run(application, "index.html",
                          {{"bad", "a\xFF\xED\xA0\x80z"}, {"nul", std::string("a\0b", 3)}});

  EXPECT_EQ(ended.value(),
            "[\"a\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBDz\",\"a\\u0000b\"]");
}

TEST_F(PageCallsTest, WzIsThereBeforeTheFirstScriptOfEveryDocument) {
  TestApplication application("");
  application.file("first.html",
                   "<script>window.early = typeof wz;</script>"
                   "<script>location.href = 'second.html#' + early</script>");
  application.file(
      "second.html",
      "<iframe src='inner.html'></iframe><script>onmessage = (e) => wz.exit(0, {value: "
      "[location.hash, typeof wz, e.data].join()})</script>");
  application.file("inner.html", "<script>parent.postMessage(wz.properties.wz_appId)</script>");

  EXPECT_EQ(run(application, "first.html").value(), "#object,object,shop");
}

TEST_F(PageCallsTest, ReloadKeepsWz) {
  const std::string value = valueOf(R"(
    if (location.hash) finish(typeof wz);
    else { location.hash = 'again'; location.reload(); })");

  EXPECT_EQ(value, R"("object")");
}

TEST_F(PageCallsTest, DocumentsOfOtherOriginsHaveNoWz) {
  const std::string value = valueOf(R"JS(
    onmessage = (event) => finish(event.data);
    const frame = document.createElement('iframe');
    frame.src = 'data:text/html,<script>parent.postMessage([typeof wz, ' +
                'Object.getOwnPropertyNames(self).filter((n) => n.startsWith("wz"))], "*")</' +
                'script>';
    document.body.append(frame);)JS");

  EXPECT_EQ(value, R"(["undefined",[]])");
}

TEST_F(PageCallsTest, BindingIsNotLeftForThePage) {
  const std::string value = valueOf(R"JS(
    const frame = document.createElement('iframe');
    document.body.append(frame);
    const callable = (w) => Object.getOwnPropertyNames(w).filter((n) => n.startsWith('wzCall'));
    finish([callable(self), callable(frame.contentWindow)]);)JS");

  EXPECT_EQ(value, "[[],[]]");
}

TEST_F(PageCallsTest, NotifyHasDefaults) {
  valueOf("wz.notify('1', 'greet').then(finish)");

  ASSERT_EQ(host.notifications.size(), 1U);
  const Notification& seen = host.notifications[0];
  EXPECT_EQ(seen.to, "1");
  EXPECT_EQ(seen.name, "greet");
  EXPECT_EQ(seen.json, "{}");
  EXPECT_EQ(seen.from, "shop");
  EXPECT_EQ(seen.flags, 0U);
}

TEST_F(PageCallsTest, NotifyTakesEverything) {
  valueOf(
      "wz.notify('1', 'greet', {n: [1, null, 'x']}, {from: 'me', flags: 4294967295}).then(finish)");

  ASSERT_EQ(host.notifications.size(), 1U);
  EXPECT_EQ(host.notifications[0].json, R"({"n":[1,null,"x"]})");
  EXPECT_EQ(host.notifications[0].from, "me");
  EXPECT_EQ(host.notifications[0].flags, 4294967295U);
}

TEST_F(PageCallsTest, NotifyFailsWithTheBridgesNumber) {
  host.notifyResult = -1;

  const std::string value =
      valueOf("wz.notify('1', 'x').catch((e) => finish([e.name, e.code, e instanceof WzError]))");

  EXPECT_EQ(value, R"(["WzError",-1,true])");
}

TEST_F(PageCallsTest, NotifyAndWaitGivesTheReply) {
  host.onNotifyAndWait = [](const Notification&, std::string& reply) {
    reply = "{\"text\":\"\xE2\x82\xAC \\u0000 \\\" \xE2\x80\xA8\"}";
    return 0;
  };

  const std::string value = valueOf(
      "wz.notifyAndWait('1', 'ask', 5, {replyName: 'r', timeout: -1, flags: 3}).then(finish)");

  EXPECT_EQ(value, "{\"text\":\"\xE2\x82\xAC \\u0000 \\\" \xE2\x80\xA8\"}");
  ASSERT_EQ(host.notifications.size(), 1U);
  EXPECT_EQ(host.notifications[0].json, "5");
  EXPECT_EQ(host.notifications[0].replyName, "r");
  EXPECT_EQ(host.notifications[0].timeoutMs, -1);
  EXPECT_EQ(host.notifications[0].flags, 3U);
}

TEST_F(PageCallsTest, NotifyAndWaitHasDefaults) {
  EXPECT_EQ(valueOf("wz.notifyAndWait('1', 'ask').then(finish)"), R"({"ok":true})");

  EXPECT_EQ(host.notifications.at(0).replyName, "ask_reply");
  EXPECT_EQ(host.notifications.at(0).timeoutMs, 30000);
  EXPECT_EQ(host.notifications.at(0).from, "shop");
}

TEST_F(PageCallsTest, FailuresCarryTheirCode) {
  host.onNotifyAndWait = [](const Notification&, std::string&) { return -11; };

  const std::string value = valueOf(R"(
    let sync;
    try { wz.notifyAndWaitSync('1', 'x') } catch (error) { sync = [error.name, error.code] }
    wz.notifyAndWait('1', 'x').catch((error) => finish([sync, error.name, error.code]))
  )");

  EXPECT_EQ(value, R"([["WzError",-11],"WzError",-11])");
}

TEST_F(PageCallsTest, BlockingCallReturnsTheReply) {
  EXPECT_EQ(valueOf("finish([wz.notifyAndWaitSync('1', 'a'), wz.notifyAndWaitSync('1', 'b')])"),
            R"([{"ok":true},{"ok":true}])");
}

TEST_F(PageCallsTest, ReplyThatIsNoJsonIsAnError) {
  host.onNotifyAndWait = [](const Notification&, std::string& reply) {
    reply = "{\xFF";
    return 0;
  };

  EXPECT_EQ(valueOf(R"(
    try { wz.notifyAndWaitSync('1', 'x') } catch (e) {
      wz.notifyAndWait('1', 'x').catch((f) => finish([e.name, f.name])) })"),
            R"(["WzError","WzError"])");
}

TEST_F(PageCallsTest, BlockedPageHoldsUpNobodyElse) {
  Gate go;
  host.onNotifyAndWait = [go](const Notification& call, std::string& reply) {
    reply = "{}";
    return call.name != "wait" || go.wait() ? 0 : -11;
  };
  const TestApplication held("wz.log('info','held'); wz.notifyAndWaitSync('1','wait'); wz.exit(1)");
  const TestApplication free(
      "wz.notifyAndWaitSync('1','pass'); wz.notify('1','n').then(() => wz.exit(2))", "free");
  const int heldId = open(held);
  ASSERT_TRUE(waitForLog("held"));

  EXPECT_EQ(run(free).result, 2);
  std::string error;
  EXPECT_FALSE(workstation::takeScreenshot(heldId, "/dev/null", error));
  EXPECT_NE(error, "");
  go.open();

  EXPECT_EQ(wait(heldId).result, 1);
}

TEST_F(PageCallsTest, WaitingCallsOfOnePageRunBesideEachOther) {
  const Meeting meeting(20);
  host.onNotifyAndWait = [meeting](const Notification&, std::string& reply) {
    reply = "1";
    return meeting.wait() ? 0 : -11;
  };

  const std::string value = valueOf(R"(
    Promise.all(Array.from({length: 20}, () => wz.notifyAndWait('1', 'x')))
      .then((all) => finish(all.length)))");

  EXPECT_EQ(value, "20");
}

TEST_F(PageCallsTest, TooManyWaitingCallsAreRefused) {
  Gate go;
  host.onNotifyAndWait = [go](const Notification&, std::string&) { return go.wait() ? -11 : -12; };
  const TestApplication application(R"(
    for (let i = 0; i < 300; ++i) {
      wz.notifyAndWait('1', 'x').catch((e) => { if (e.code === -101) wz.exit(5) });
    })");

  const Ended ended = run(application);

  EXPECT_EQ(ended.result, 5);
  // All that were not refused have come and go now, after their page.
  EXPECT_TRUE(
      host.waitUntil([](const HostRecord& record) { return record.notifications.size() == 256; }));
  go.open();
}

TEST_F(PageCallsTest, StringsOfAllKindsPassSafely) {
  const TestApplication application(R"(
    wz.log('info', 'a\u0000b', '\ud800x\udc00');
    wz.notifyAndWaitSync('to\u0000o', 'n\udfffame', {'k\ud800': '\u0000\ud83d\ude00\udc00'},
                         {from: 'f\u0000'});
    wz.exit(0, {'key\u0000': 'v\u0000\ud800'}))");

  const Ended ended = run(application);

  const std::string replacement = "\xEF\xBF\xBD";
  ASSERT_EQ(host.logLines.size(), 1U);
  EXPECT_THAT(host.logLines[0].texts,
              ElementsAre(std::string("a\0b", 3), replacement + "x" + replacement));
  ASSERT_EQ(host.notifications.size(), 1U);
  EXPECT_EQ(host.notifications[0].to, "to" + replacement + "o");
  EXPECT_EQ(host.notifications[0].name, "n" + replacement + "ame");
  EXPECT_EQ(host.notifications[0].from, "f" + replacement);
  EXPECT_EQ(host.notifications[0].json, "{\"k\\ufffd\":\"\\u0000\xF0\x9F\x98\x80\\ufffd\"}");
  EXPECT_EQ(ended.properties.at(std::string("key\0", 4)), std::string("v\0", 2) + replacement);
}

TEST_F(PageCallsTest, WrongTypesThrowTypeErrorsAndReachNobody) {
  const std::string value = valueOf(R"JS(
    const wrong = [
      () => wz.notify(), () => wz.notify(1, 'n'), () => wz.notify('1', {}),
      () => wz.notify('1', 'n', () => 1), () => wz.notify('1', 'n', 1n),
      () => wz.notify('1', 'n', {}, 5), () => wz.notify('1', 'n', {}, {flags: -1}),
      () => wz.notify('1', 'n', {}, {flags: 1.5}), () => wz.notify('1', 'n', {}, {from: 7}),
      () => wz.notifyAndWait('1', 'n', {}, {replyName: 1}),
      () => wz.notifyAndWait('1', 'n', {}, {timeout: '5'}),
      () => wz.notifyAndWaitSync('1', 'n', {}, {timeout: NaN}),
      () => wz.notifyAndWaitSync(null, 'n'),
      () => wz.log(), () => wz.log(8, 'x'), () => wz.log('loud', 'x'), () => wz.log('info', 5),
      () => wz.log('toString', 'x'), () => wz.exit('1'), () => wz.exit(1.5),
      () => wz.exit(2147483648), () => wz.exit(0, {a: 1}), () => wz.exit(0, 'a'),
      () => wz.exit(0, {[Symbol()]: 'a'}),
    ];
    finish(wrong.map((call) => {
      try { call(); return String(call); } catch (e) { return e instanceof TypeError; }
    }).filter((threw) => threw !== true));)JS");

  EXPECT_EQ(value, "[]");
  EXPECT_THAT(host.notifications, testing::IsEmpty());
  EXPECT_THAT(host.logLines, testing::IsEmpty());
}

TEST_F(PageCallsTest, PageThatReplacesTheLanguageStillCalls) {
  const std::string value = valueOf(R"JS(
    Array.prototype.toJSON = () => 'hijacked';
    String.prototype.toWellFormed = () => 'hijacked';
    JSON.stringify = JSON.parse = () => { throw new Error('hijacked') };
    XMLHttpRequest.prototype.open = XMLHttpRequest.prototype.send = () => { throw 1 };
    Map = Promise = Reflect = Object.defineProperty = null;
    wz.notifyAndWait('1', 'a').then((r) => wz.exit(0, {value: String(r.ok) +
      wz.notifyAndWaitSync('1', 'b').ok}));)JS");

  EXPECT_EQ(value, "truetrue");
}

TEST_F(PageCallsTest, LevelsHaveNames) {
  valueOf(R"(
    for (const level of ['emergency', 'alert', 'critical', 'error', 'warning', 'notice', 'info',
                         'debug', 0, 7]) wz.log(level, 'x', 'y');
    finish())");

  std::vector<int> levels;
  for (const LogLine& line : host.logLines) levels.push_back(line.level);
  EXPECT_THAT(levels, ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 0, 7));
  EXPECT_THAT(host.logLines[0].texts, ElementsAre("x", "y"));
  EXPECT_EQ(host.logLines[0].appId, "shop");
}

TEST_F(PageCallsTest, TenThousandLinesArriveInOrder) {
  const TestApplication application(R"(
    for (let i = 0; i < 10000; ++i) wz.log('info', String(i));
    wz.exit(0);)");

  EXPECT_EQ(run(application).result, 0);

  ASSERT_EQ(host.logLines.size(), 10'000U);
  for (std::size_t i = 0; i < 10'000; ++i)
    ASSERT_EQ(host.logLines[i].texts, std::vector<std::string>{std::to_string(i)});
}

TEST_F(PageCallsTest, NotificationsOfOnePageKeepTheirOrder) {
  valueOf(R"(
    for (let i = 0; i < 500; ++i) { wz.notify('1', 'n' + i); wz.log('info', 'l' + i); }
    finish())");

  ASSERT_EQ(host.notifications.size(), 500U);
  for (std::size_t i = 0; i < 500; ++i)
    ASSERT_EQ(host.notifications[i].name, "n" + std::to_string(i));
}

TEST_F(PageCallsTest, WithoutProcessorCallsFailInThePageAndNothingElse) {
  zelhtml::htmlSetScriptProcessor("js", nullptr, nullptr);

  const std::string value = valueOf(R"(
    const codes = [];
    addEventListener('error', (event) => codes.push(event.error.name + event.error.code));
    wz.log('info', 'nobody');
    try { wz.notifyAndWaitSync('1', 'x') } catch (e) { codes.push(e.code) }
    wz.notifyAndWait('1', 'x').catch((e) => codes.push(e.code))
      .then(() => wz.notify('1', 'x')).catch((e) => { codes.push(e.code); finish(codes) });)");

  // The log line's failure may be told at any time between the others.
  EXPECT_THAT(value, HasSubstr(R"("WzError-100")"));
  EXPECT_EQ(value.size(), std::string(R"(["WzError-100",-100,-100,-100])").size());
}

TEST_F(PageCallsTest, WithoutCallbackCallsFailToo) {
  js::jsSetNotify(nullptr, nullptr);

  EXPECT_EQ(valueOf("wz.notify('1', 'x').catch((e) => finish(e.code))"),
            std::to_string(workstation::kNoProcessor));
}

TEST_F(PageCallsTest, PolicyAgainstConnectionsFailsBlockingCallsOnly) {
  const std::string value = valueOf(R"(
    const meta = document.createElement('meta');
    meta.httpEquiv = 'Content-Security-Policy';
    meta.content = "connect-src 'none'";
    document.head.append(meta);
    let code;
    try { wz.notifyAndWaitSync('1', 'x') } catch (e) { code = [e.name, e.code] }
    wz.notifyAndWait('1', 'x').then((reply) => finish([code, reply]));)");

  EXPECT_EQ(value, R"([["WzError",-102],{"ok":true}])");
}

TEST_F(PageCallsTest, TooLongACallIsRefusedInThePage) {
  EXPECT_EQ(valueOf(R"(
    try { wz.log('info', 'x'.repeat(20000000)) } catch (e) { finish([e.name, e.code]) })"),
            R"(["WzError",-103])");
}

TEST_F(PageCallsTest, FloodOfEverythingLeavesOthersAlone) {
  const TestApplication flood(R"(
    wz.log('info', 'flooding');
    for (;;) { console.log('x'.repeat(1000)); wz.log('info', 'y'.repeat(1000)); })");
  const TestApplication calm("wz.notifyAndWait('1', 'x').then(() => wz.exit(2))", "calm");
  const int id = open(flood);
  ASSERT_TRUE(waitForLog("flooding"));

  EXPECT_EQ(run(calm).result, 2);

  zelgui::uiInvokeCancelAsync(id);
  EXPECT_LT(wait(id).result, 0);
}

}  // namespace
}  // namespace wzapp_test
