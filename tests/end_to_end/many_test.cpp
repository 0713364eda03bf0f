// Several applications at the same time.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <memory>

#include "tests/end_to_end/application.h"
#include "tests/end_to_end/child_program.h"
#include "tests/end_to_end/processes.h"
#include "tests/end_to_end/receiver.h"
#include "tests/end_to_end/station.h"
#include "workstation/browser/engine/page/result_codes.h"

namespace wzapp_test {
namespace {

using testing::Contains;
using testing::Pair;
using testing::SizeIs;

class ManyTest : public EndToEndTest {};

TEST_F(ManyTest, TenApplicationsRunAtOnceAndOneThatCrashesDisturbsNone) {
  constexpr std::size_t kCount = 10;
  Receiver clerk("clerk", "READY");
  Partner club("club", "ASK");
  Application victim("victim");
  ApplicationRun crashed(victim.script("wz.notify('clerk', 'READY');"));
  ASSERT_TRUE(clerk.await());
  const std::vector<pid_t> victims = renderersOf(getpid());
  std::vector<std::unique_ptr<Application>> applications;
  std::vector<std::unique_ptr<ApplicationRun>> runs;
  for (std::size_t index = 0; index < kCount; ++index) {
    applications.push_back(std::make_unique<Application>("app" + std::to_string(index)));
    // Each keeps something, which none of the others may find.
    applications.back()->script(R"(
        (async () => {
          const me = wz.properties.number;
          const found = localStorage.length + document.cookie.length;
          localStorage.setItem('me', me);
          wz.log(6, 'line of ' + me);
          await wz.notifyAndWait('clerk', 'READY', {}, {timeout: -1});
          const {asked} = await wz.notifyAndWait('club', 'ASK', {me});
          const right = found === 0 && asked.me === me && localStorage.getItem('me') === me;
          wz.exit(right ? Number(me) : 1000, {number: 'x' + me});
        })();)");
    runs.push_back(std::make_unique<ApplicationRun>(*applications.back(), "desktop",
                                                    Properties{{"number", std::to_string(index)}}));
  }
  ASSERT_TRUE(clerk.await(kCount + 1));

  for (const pid_t process : victims) kill(process, SIGKILL);
  ASSERT_TRUE(crashed.awaitEnd());
  for (std::size_t index = 0; index < kCount; ++index) {
    EXPECT_EQ(runs[index]->timesTold(), 0);
    clerk.reply("app" + std::to_string(index), {});
  }

  EXPECT_EQ(crashed.result(), workstation::kPageCrashed);
  for (std::size_t index = 0; index < kCount; ++index) {
    const std::string number = std::to_string(index);
    ASSERT_TRUE(runs[index]->awaitEnd());
    EXPECT_EQ(runs[index]->result(), static_cast<int>(index));
    EXPECT_EQ(runs[index]->properties().at("number"), "x" + number);
    const auto messages = innerMessagesIn(awaitRecords("app" + number));
    EXPECT_THAT(messages, SizeIs(1));
    EXPECT_THAT(messages, Contains(Contains(Pair("msg", "line of " + number))));
  }
}

// They share their log, and the one that ends first takes it along; nothing else is shared.
TEST_F(ManyTest, SameApplicationRunsTwice) {
  Receiver clerk("clerk", "READY");
  Application shop("shop");
  shop.script("wz.notify('clerk', 'READY').then(() => { if (wz.properties.n) wz.exit(1); });");
  ApplicationRun waiting(shop);
  ASSERT_TRUE(clerk.await());
  ApplicationRun ending(shop, "desktop", {{"n", "1"}});

  ASSERT_TRUE(ending.awaitEnd());

  EXPECT_EQ(ending.result(), 1);
  EXPECT_EQ(waiting.timesTold(), 0);
  EXPECT_THAT(messagesIn(awaitRecords("shop")), SizeIs(3));
  waiting.cancel();
  ASSERT_TRUE(waiting.awaitEnd());
  EXPECT_EQ(waiting.result(), workstation::kCancelled);
}

TEST_F(ManyTest, OneAfterAnotherLeavesNothingBehind) {
  Application shop("shop");
  shop.script(R"(
      const found = localStorage.length + document.cookie.length;
      localStorage.setItem('kept', 'yes');
      document.cookie = 'kept=yes';
      wz.exit(found);)");
  for (int round = 0; round < 5; ++round) {
    ApplicationRun run(shop);
    ASSERT_TRUE(run.awaitEnd());
    EXPECT_EQ(run.result(), 0);
  }

  EXPECT_TRUE(eventually([] { return renderersOf(getpid()).empty(); }));
}

}  // namespace
}  // namespace wzapp_test
