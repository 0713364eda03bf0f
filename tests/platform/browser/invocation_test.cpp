// From uiInvokeURLAsync to uiInvokeWait.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>

#include "tests/platform/browser/browser_fixture.h"
#include "workstation/browser/engine/page/result_codes.h"
#include "zelhtml/zelhtml.h"

namespace wzapp_test {
namespace {

using testing::HasSubstr;
using testing::Pair;
using testing::UnorderedElementsAre;
using workstation::PageEvent;

class InvocationTest : public BrowserTest {};

TEST_F(InvocationTest, ExitGivesResultAndMergesProperties) {
  const TestApplication application("wz.exit(7, {colour: 'red', size: 'large'})");

  const Ended ended = run(application, "index.html", {{"size", "small"}, {"kept", "yes"}});

  EXPECT_EQ(ended.result, 7);
  EXPECT_THAT(ended.properties, UnorderedElementsAre(Pair("wz_appId", "shop"), Pair("kept", "yes"),
                                                     Pair("colour", "red"), Pair("size", "large")));
  EXPECT_EQ(ended.error, "");
}

TEST_F(InvocationTest, ExitNeedsNoArguments) {
  EXPECT_EQ(run(TestApplication("wz.exit()")).result, 0);
}

TEST_F(InvocationTest, FirstExitCounts) {
  const TestApplication application("wz.exit(3, {a: '1'}); wz.exit(4, {a: '2'})");

  const Ended ended = run(application);

  EXPECT_EQ(ended.result, 3);
  EXPECT_THAT(ended.properties, testing::Contains(Pair("a", "1")));
}

TEST_F(InvocationTest, NegativeExitIsTheResult) {
  EXPECT_EQ(run(TestApplication("wz.exit(-5)")).result, -5);
}

TEST_F(InvocationTest, IdsGrow) {
  const TestApplication application("wz.exit()");

  const int first = open(application);
  const int second = open(application);

  EXPECT_GE(first, 0);
  EXPECT_GT(second, first);
  wait(first);
  wait(second);
}

TEST_F(InvocationTest, WindowClosedByThePageEndsWithZero) {
  EXPECT_EQ(run(TestApplication("window.close()")).result, 0);
}

TEST_F(InvocationTest, WindowClosedAfterNavigationEndsWithZero) {
  TestApplication application("location.href = 'second.html'");
  application.page("second.html", "window.close()");

  EXPECT_EQ(run(application).result, 0);
}

struct RefusedStart {
  const char* url;
  int result;
};

class RefusedStartTest : public BrowserTest, public testing::WithParamInterface<RefusedStart> {};

TEST_P(RefusedStartTest, IsKnownBeforeLoading) {
  const TestApplication application("wz.exit()");
  std::filesystem::create_symlink("/etc/passwd", application.directory() + "/leak.html");

  const int result = open(application, GetParam().url);

  EXPECT_EQ(result, GetParam().result);
  EXPECT_NE(zelgui::uiScriptError(), "");
}

INSTANTIATE_TEST_SUITE_P(
    Urls, RefusedStartTest,
    testing::Values(RefusedStart{"missing.html", workstation::kNoSuchPage},
                    RefusedStart{"", workstation::kNoSuchPage},
                    RefusedStart{"leak.html", workstation::kNoSuchPage},
                    RefusedStart{"index.html%00", workstation::kOutsideApplication},
                    RefusedStart{"../index.html", workstation::kOutsideApplication},
                    RefusedStart{"file:///etc/passwd", workstation::kOutsideApplication},
                    RefusedStart{"https://www.example.com/", workstation::kOutsideApplication},
                    RefusedStart{"//www.example.com/index.html", workstation::kOutsideApplication},
                    RefusedStart{"javascript:alert(1)", workstation::kOutsideApplication}));

TEST_F(InvocationTest, OtherRegionsDoNotExist) {
  const TestApplication application("wz.exit()");
  zelgui::uiSetPropertyString(0, 2010, application.directory().c_str());

  const int result = zelgui::uiInvokeURLAsync(0, 1, {}, "index.html", nullptr, nullptr);

  EXPECT_EQ(result, workstation::kNoSuchRegion);
}

TEST_F(InvocationTest, StartPageMayHaveQueryAndFragmentAndSpaces) {
  TestApplication application("");
  application.page("sub dir/my page.html",
                   "finish([decodeURI(location.pathname), location.search, location.hash])");

  const Ended ended = run(application, "sub dir/my page.html?a=b c#top");

  EXPECT_EQ(ended.value(), R"(["/sub dir/my page.html","?a=b%20c","#top"])");
}

TEST_F(InvocationTest, NavigationToAMissingPageEndsNegative) {
  const TestApplication application("location.href = '/no'");

  const Ended ended = run(application);

  EXPECT_EQ(ended.result, workstation::kPageFailed);
  EXPECT_THAT(ended.error, HasSubstr("404"));
  EXPECT_THAT(ended.error, HasSubstr("/no"));
}

TEST_F(InvocationTest, TimeOutLeavesItRunning) {
  const TestApplication application("wz.notifyAndWait('1', 'go').then(() => wz.exit(2))");
  Gate go;
  host.onNotifyAndWait = [go](const Notification&, std::string& reply) {
    reply = "{}";
    return go.wait() ? 0 : -11;
  };
  const int id = open(application);

  const Ended early = wait(id, 50);
  go.open();
  const Ended ended = wait(id);

  EXPECT_EQ(early.result, workstation::kTimeout);
  EXPECT_THAT(early.properties, testing::IsEmpty());
  EXPECT_EQ(ended.result, 2);
}

TEST_F(InvocationTest, UnknownIdsAreRefused) {
  EXPECT_EQ(wait(1'000'000).result, workstation::kNoSuchInvocation);
  EXPECT_EQ(wait(-1).result, workstation::kNoSuchInvocation);
  EXPECT_LT(zelgui::uiInvokeCancelAsync(1'000'000), 0);
}

TEST_F(InvocationTest, EndIsCollectedOnce) {
  const TestApplication application("wz.exit(4)");
  const int id = open(application);

  EXPECT_EQ(wait(id).result, 4);
  EXPECT_EQ(wait(id).result, workstation::kNoSuchInvocation);
}

struct CallbackRecord {
  std::atomic<int> calls{0}, invocation{-1}, result{0}, waitedInside{0};
};

void onInvocationEnd(void* user, int invocation, int result) {
  auto& seen = *static_cast<CallbackRecord*>(user);
  zelgui::UIProperties properties;
  seen.waitedInside = zelgui::uiInvokeWait(invocation, properties, -1);
  seen.invocation = invocation;
  seen.result = result;
  ++seen.calls;
}

TEST_F(InvocationTest, CallbackIsCalledOnceAndMayCollect) {
  const TestApplication application("wz.exit(9)");
  zelgui::uiSetPropertyString(0, 2010, application.directory().c_str());
  CallbackRecord seen;

  const int id = zelgui::uiInvokeURLAsync(0, 0, {}, "index.html", onInvocationEnd, &seen);

  ASSERT_TRUE(pollUntil([&] { return seen.calls.load() > 0; }));
  EXPECT_EQ(seen.calls, 1);
  EXPECT_EQ(seen.invocation, id);
  EXPECT_EQ(seen.result, 9);
  EXPECT_EQ(seen.waitedInside, 9);
}

struct CancelledPage {
  const char* name;
  const char* script;
};

class CancelTest : public BrowserTest, public testing::WithParamInterface<CancelledPage> {
 protected:
  std::chrono::steady_clock::duration timeOfCancelling() {
    Gate over;
    host.change([over](HostRecord& record) {
      record.onNotifyAndWait = [over](const Notification&, std::string&) {
        return over.wait() ? -11 : -12;
      };
    });
    const TestApplication application(std::string("wz.log('info', 'here');") + GetParam().script);
    const int id = open(application, "index.html", {{"a", "b"}});
    EXPECT_TRUE(waitForLog("here"));
    host.change([](HostRecord& record) { record.logLines.clear(); });
    const auto begin = std::chrono::steady_clock::now();

    EXPECT_EQ(zelgui::uiInvokeCancelAsync(id), 0);
    const Ended ended = wait(id);

    EXPECT_EQ(ended.result, workstation::kCancelled);
    EXPECT_NE(ended.error, "");
    EXPECT_THAT(ended.properties, UnorderedElementsAre(Pair("a", "b"), Pair("wz_appId", "shop")));
    const auto spent = std::chrono::steady_clock::now() - begin;
    over.open();
    return spent;
  }
};

// After three seconds a browser that does not close the page is no longer waited for. On a busy
// machine a page that it does close may take as long, but not each time.
TEST_P(CancelTest, EndsAtOnceWithPropertiesUnchanged) {
  constexpr std::chrono::milliseconds kLimit{2900};
  constexpr int kAttempts = 5;
  auto fastest = std::chrono::steady_clock::duration::max();
  for (int i = 0; i < kAttempts && fastest >= kLimit && !HasFailure(); ++i) {
    fastest = std::min(fastest, timeOfCancelling());
  }

  EXPECT_LT(fastest, kLimit);
}

INSTANTIATE_TEST_SUITE_P(Pages, CancelTest,
                         testing::Values(CancelledPage{"Idle", ""},
                                         CancelledPage{"Looping", "for (;;);"},
                                         CancelledPage{"Held", "wz.notifyAndWaitSync('1', 'x');"},
                                         CancelledPage{"Dialogs", "for (;;) alert('again');"}),
                         [](const auto& row) { return row.param.name; });

TEST_F(InvocationTest, CancelBeforeThePageIsThereWorksToo) {
  const TestApplication application("");
  const int id = open(application);

  EXPECT_EQ(zelgui::uiInvokeCancelAsync(id), 0);

  EXPECT_EQ(wait(id).result, workstation::kCancelled);
}

TEST_F(InvocationTest, DialogsAreAcceptedAndTold) {
  const std::string value =
      valueOf("alert('one'); finish([confirm('two'), prompt('three', 'dflt')])");

  EXPECT_EQ(value, R"([true,"dflt"])");
  std::vector<std::string> texts;
  for (const PageEvent& event : host.events) {
    if (event.kind == PageEvent::Kind::kConsole) texts.push_back(event.texts.at(0));
  }
  EXPECT_THAT(texts, testing::ElementsAre("alert: one", "confirm: two", "prompt: three"));
}

TEST_F(InvocationTest, EventsComeInOrderAndEndComesLast) {
  const TestApplication application(R"(
    console.warn('careful', 5, true, null);
    wz.log('notice', 'line', 'detail');
    setTimeout(() => { throw new Error('oops') });
    wz.notifyAndWait('1', 'all').then(() => wz.exit(6));)");
  host.onNotifyAndWait = [&host = host](const Notification&, std::string& reply) {
    reply = "{}";
    return host.waitUntil([](const HostRecord& record) { return record.events.size() >= 6; }) ? 0
                                                                                              : -11;
  };

  const int id = open(application);
  wait(id);

  std::vector<PageEvent::Kind> kinds;
  for (const PageEvent& event : host.events) {
    kinds.push_back(event.kind);
    EXPECT_EQ(event.invocation, id);
    EXPECT_EQ(event.appId, "shop");
  }
  using Kind = PageEvent::Kind;
  ASSERT_GE(kinds.size(), 7U);
  EXPECT_EQ(kinds[0], Kind::kOpened);
  EXPECT_EQ(kinds[1], Kind::kConsole);
  EXPECT_EQ(kinds[2], Kind::kLog);
  EXPECT_THAT(kinds, testing::Contains(Kind::kFirstPaint).Times(1));
  EXPECT_EQ(kinds.back(), Kind::kEnded);
  EXPECT_THAT(host.events[1].texts, testing::ElementsAre("careful 5 true null"));
  EXPECT_EQ(host.events[1].level, 4);
  EXPECT_EQ(host.events.back().level, 6);
}

TEST_F(InvocationTest, PopupsAreClosedAndDoNotEndIt) {
  const std::string value = valueOf(R"(
    const popup = window.open('/index.html?popup');
    setTimeout(() => finish('still here'), 100);)");

  EXPECT_EQ(value, R"("still here")");
}

TEST_F(InvocationTest, TwoOfOneApplicationShareTheOriginAndNothingElse) {
  const TestApplication application(R"(
    const seen = localStorage.getItem('mark');
    localStorage.setItem('mark', 'set');
    document.cookie = 'mark=set';
    wz.notifyAndWaitSync('1', 'both');
    finish([location.origin, seen, document.cookie]);)");
  const Meeting meeting(2);
  host.onNotifyAndWait = [meeting](const Notification&, std::string& reply) {
    reply = "{}";
    return meeting.wait() ? 0 : -11;
  };

  const int first = open(application);
  const int second = open(application);

  const std::string expected = R"(["https://shop.invalid",null,"mark=set"])";
  EXPECT_EQ(wait(first).value(), expected);
  EXPECT_EQ(wait(second).value(), expected);
}

TEST_F(InvocationTest, TenAtOnceEachGetTheirOwn) {
  std::vector<TestApplication> applications;
  std::vector<int> ids;
  for (int i = 0; i < 10; ++i) {
    applications.emplace_back(
        "wz.notifyAndWait('1', 'x').then(() => finish([wz.properties.n, origin]))",
        "app" + std::to_string(i));
  }
  const Meeting meeting(10);
  host.onNotifyAndWait = [meeting](const Notification&, std::string& reply) {
    reply = "{}";
    return meeting.wait() ? 0 : -11;
  };

  for (int i = 0; i < 10; ++i)
    ids.push_back(
        open(applications[static_cast<std::size_t>(i)], "index.html", {{"n", std::to_string(i)}}));

  for (int i = 0; i < 10; ++i) {
    const std::string n = std::to_string(i);
    EXPECT_EQ(wait(ids[static_cast<std::size_t>(i)]).value(),
              "[\"" + n + "\",\"https://app" + n + ".invalid\"]");
  }
}

}  // namespace
}  // namespace wzapp_test
