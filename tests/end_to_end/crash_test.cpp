// Applications that cannot start, and browsers and pages that die.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

#include "tests/end_to_end/application.h"
#include "tests/end_to_end/child_program.h"
#include "tests/end_to_end/processes.h"
#include "tests/end_to_end/receiver.h"
#include "tests/end_to_end/station.h"
#include "workstation/browser/engine/page/result_codes.h"

namespace wzapp_test {
namespace {

using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Pair;
using testing::StartsWith;
using testing::UnorderedElementsAre;

class CrashTest : public EndToEndTest {};

// The log tells of the failure: the result and its text, and a code counted from 1 on.
void expectErrorLogged(const std::string& appId, int result) {
  const std::vector<LogMessage> messages = innerMessagesIn(awaitRecords(appId));
  ASSERT_FALSE(messages.empty());
  EXPECT_THAT(messages.back(),
              UnorderedElementsAre(
                  Pair("s", "3"), Pair("msgT", "ERROR"),
                  Pair("msg", testing::AllOf(StartsWith("Error " + std::to_string(result) + " "),
                                             EndsWith("\n"))),
                  Pair("eC", "wz_" + std::to_string(1 - result) + "\n"), Pair("eN", "")));
}

void expectFailed(ApplicationRun& run, const std::string& appId, int result) {
  ASSERT_TRUE(run.awaitEnd());
  EXPECT_EQ(run.result(), result);
  EXPECT_EQ(run.timesTold(), 1);
  expectErrorLogged(appId, result);
}

// ---- What is known before a page is opened ----

struct BadStart {
  const char* name;
  const char* file;
  int result;
};

class BadStartTest : public EndToEndTest, public testing::WithParamInterface<BadStart> {};

TEST_P(BadStartTest, EndsWithANegativeResult) {
  Application shop("shop");
  shop.manifest(std::string(R"({"application":{"id":"shop"},"desktop":{"file":")") +
                GetParam().file + "\"}}");
  shop.script("wz.exit();");
  ApplicationRun run(shop);

  EXPECT_EQ(run.code(), 0);

  expectFailed(run, "shop", GetParam().result);
  EXPECT_EQ(run.properties().at("wz_appId"), "shop");
}

INSTANTIATE_TEST_SUITE_P(
    CrashTest, BadStartTest,
    testing::Values(BadStart{"Missing", "none.html", workstation::kNoSuchPage},
                    BadStart{"MissingFolder", "none/index.html", workstation::kNoSuchPage},
                    BadStart{"OutsideByPath", "../till/index.html",
                             workstation::kOutsideApplication},
                    BadStart{"OutsideByHost", "https://outside.example/index.html",
                             workstation::kOutsideApplication},
                    BadStart{"LocalFile", "file:///etc/passwd", workstation::kOutsideApplication}),
    [](const auto& row) { return row.param.name; });

TEST_F(CrashTest, ApplicationWithoutAFolderIsMissing) {
  Application shop("shop");
  shop.manifest(R"({"application":{"id":"elsewhere"},"desktop":{"file":"index.html"}})");
  ApplicationRun run(shop);

  expectFailed(run, "elsewhere", workstation::kNoSuchPage);
  std::filesystem::remove("/mnt/flash/etc/config/wzapp/fsroot/elsewhere");
}

// ---- Pages ----

TEST_F(CrashTest, PageWithoutAScriptIsShownUntilItIsCancelled) {
  Application shop("shop");
  shop.file("index.html", "<!DOCTYPE html><p>Nothing moves");
  ApplicationRun run(shop);
  ASSERT_TRUE(station().events.await([](const auto& events) {
    return std::any_of(events.begin(), events.end(), [](const workstation::PageEvent& event) {
      return event.kind == workstation::PageEvent::Kind::kFirstPaint;
    });
  }));
  EXPECT_EQ(run.timesTold(), 0);

  run.cancel();

  expectFailed(run, "shop", workstation::kCancelled);
}

TEST_F(CrashTest, PageThatGoesToAMissingOneEnds) {
  Application shop("shop");
  shop.script("location = 'none.html';");
  ApplicationRun run(shop);

  ASSERT_TRUE(run.awaitEnd());

  EXPECT_EQ(run.result(), workstation::kPageFailed);
  EXPECT_THAT(innerMessagesIn(awaitRecords("shop")),
              Contains(testing::IsSupersetOf(LogMessage{{"eC", "wz_1"}, {"eD", "404"}})));
}

TEST_F(CrashTest, PageThatThrowsGoesOn) {
  Application shop("shop");
  shop.script("setTimeout(() => wz.exit(3)); throw new Error('paper');");
  ApplicationRun run(shop);

  ASSERT_TRUE(run.awaitEnd());

  EXPECT_EQ(run.result(), 3);
  EXPECT_TRUE(station().events.await([](const auto& events) {
    return std::any_of(events.begin(), events.end(), [](const workstation::PageEvent& event) {
      return event.kind == workstation::PageEvent::Kind::kConsole && !event.texts.empty() &&
             event.texts.front().find("paper") != std::string::npos;
    });
  }));
}

TEST_F(CrashTest, KilledPageEndsItsApplicationAlone) {
  Application shop("shop"), till("till");
  Receiver clerk("clerk", "READY");
  const char* const kPage = "wz.notifyAndWait('clerk', 'READY').then(() => wz.exit(4));";
  ApplicationRun other(till.script(kPage));
  ASSERT_TRUE(clerk.await());
  const std::vector<pid_t> before = renderersOf(getpid());
  ApplicationRun run(shop.script(kPage));
  ASSERT_TRUE(clerk.await(2));

  for (const pid_t renderer : renderersOf(getpid())) {
    if (std::count(before.begin(), before.end(), renderer) == 0) kill(renderer, SIGKILL);
  }

  expectFailed(run, "shop", workstation::kPageCrashed);
  clerk.reply("till", {});
  ASSERT_TRUE(other.awaitEnd());
  EXPECT_EQ(other.result(), 4);
}

// ---- The browser ----

TEST_F(CrashTest, KilledBrowserEndsItsApplicationsAndTheNextGetsANewOne) {
  Application shop("shop"), till("till");
  Partner club("club", "ASK");
  zelipc::JSObject asked;
  ApplicationRun first(shop.script("wz.notifyAndWaitSync('club', 'ASK', {hold: true});"));
  ApplicationRun second(till.script("wz.notifyAndWait('club', 'ASK', {hold: true});"));
  ASSERT_TRUE(club.awaitNotification(asked));
  ASSERT_TRUE(club.awaitNotification(asked));
  const pid_t browser = browserOf(getpid());
  ASSERT_GT(browser, 0);
  WatchedProcesses processes(descendantsOf(browser));

  kill(browser, SIGKILL);

  expectFailed(first, "shop", workstation::kBrowserLost);
  expectFailed(second, "till", workstation::kBrowserLost);
  EXPECT_TRUE(processes.awaitEnd());
  Application next("next");
  ApplicationRun third(next.script("wz.exit(5);"));
  ASSERT_TRUE(third.awaitEnd());
  EXPECT_EQ(third.result(), 5);
  EXPECT_NE(browserOf(getpid()), browser);
}

TEST_F(CrashTest, StoppedBrowserDoesNotHoldACancel) {
  Application shop("shop");
  Receiver clerk("clerk", "READY");
  ApplicationRun run(shop.script("wz.notify('clerk', 'READY');"));
  ASSERT_TRUE(clerk.await());
  const pid_t browser = browserOf(getpid());
  ASSERT_GT(browser, 0);
  kill(browser, SIGSTOP);

  run.cancel();

  ASSERT_TRUE(run.awaitEnd());
  EXPECT_LT(run.result(), 0);
  kill(browser, SIGKILL);
  Application next("next");
  ApplicationRun after(next.script("wz.exit(5);"));
  ASSERT_TRUE(after.awaitEnd());
}

// With a browser of another program; in a host of its own, since this one has its browser already.
class OtherBrowserTest : public EndToEndTest {
 protected:
  static std::vector<std::string> hostArguments(const std::string& browser,
                                                const Application& application) {
    return {"--browser", browser, application.manifestPath(), "desktop"};
  }
};

TEST_F(OtherBrowserTest, MissingOneIsNamedInTheLog) {
  Application shop("shop");
  shop.script("wz.exit();");
  ChildProgram host("end_to_end_host", hostArguments("/nowhere/chromium", shop));
  std::string code, result;

  ASSERT_TRUE(host.awaitLine("run ", code));
  ASSERT_TRUE(host.awaitLine("told ", result));

  EXPECT_EQ(code, "0");
  EXPECT_EQ(result, std::to_string(workstation::kNoBrowser));
  expectErrorLogged("shop", workstation::kNoBrowser);
  EXPECT_THAT(messagesIn(recordsOf("shop")),
              Contains(Contains(Pair("msg", HasSubstr("/nowhere/chromium")))));
  EXPECT_EQ(host.awaitEnd(), 0);
}

TEST_F(OtherBrowserTest, OneThatEndsAtOnceEndsTheApplication) {
  Application shop("shop");
  shop.script("wz.exit();");
  ChildProgram host("end_to_end_host", hostArguments("/bin/true", shop));
  std::string result;

  ASSERT_TRUE(host.awaitLine("told ", result));

  EXPECT_LT(std::stoi(result), 0);
  expectErrorLogged("shop", std::stoi(result));
  EXPECT_EQ(host.awaitEnd(), 0);
}

TEST_F(OtherBrowserTest, OneThatNeverAnswersDoesNotHoldACancel) {
  Application shop("lobby");  // whose record may come later than this test ends
  shop.script("wz.exit();").file("browser", "#!/bin/sh\nexec sleep 600\n");
  const std::string program = "/mnt/flash/etc/config/wzapp/wz/lobby/browser";
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  ChildProgram host("end_to_end_host", hostArguments(program, shop));
  std::string line;
  ASSERT_TRUE(host.awaitLine("run ", line));
  ASSERT_TRUE(
      eventually([&] { return !withArgument(descendantsOf(host.id()), "sleep 600").empty(); }));
  WatchedProcesses processes(descendantsOf(host.id()));

  host.tell("cancel");

  ASSERT_TRUE(host.awaitLine("told ", line));
  EXPECT_LT(std::stoi(line), 0);
  EXPECT_EQ(host.awaitEnd(), 0);
  EXPECT_TRUE(processes.awaitEnd());
}

}  // namespace
}  // namespace wzapp_test
