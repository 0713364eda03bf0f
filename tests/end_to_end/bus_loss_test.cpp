// The terminal's bus goes away while applications run, and comes back.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "tests/end_to_end/application.h"
#include "tests/end_to_end/child_program.h"
#include "tests/end_to_end/processes.h"
#include "tests/end_to_end/receiver.h"
#include "tests/end_to_end/station.h"
#include "workstation/terminal/terminal_profile.h"

namespace wzapp_test {
namespace {

using testing::Contains;
using testing::Pair;

class BusLossTest : public EndToEndTest {
 protected:
  // The tests that follow find a bus, and this process on it.
  void TearDown() override {
    std::string error;
    EXPECT_TRUE(station().beginBus(error)) << error;
    Partner probe("probe", "PING", Partner::kListens);
    EXPECT_TRUE(eventually([&] {
      EXPECT_EQ(zelipc::ipcNotify("probe", "PING", {}, 0, "test"), 0);
      return probe.hasHeard();
    }));
  }

  static void killBus() {
    const std::string config = workstation::terminalDirectory() + "/run/bus.conf";
    const std::vector<pid_t> daemons = withArgument(allProcesses(), "--config-file=" + config);
    ASSERT_EQ(daemons.size(), 1U);
    WatchedProcesses watched(daemons);
    ASSERT_EQ(kill(daemons.front(), SIGKILL), 0);
    ASSERT_TRUE(watched.awaitEnd());
  }
};

TEST_F(BusLossTest, ApplicationGoesOnAndItsCallsFail) {
  Partner club("club", "ASK");
  Receiver clerk("clerk", "READY");
  Application shop("shop");
  shop.script(R"(
      (async () => {
        await wz.notifyAndWait('clerk', 'READY');
        const codes = [];
        const note = (error) => codes.push(error.code);
        await wz.notifyAndWait('club', 'ASK', {}, {timeout: 500}).catch(note);
        try { wz.notifyAndWaitSync('club', 'ASK', {}, {timeout: 500}); } catch (e) { note(e); }
        wz.log(6, 'still here');
        wz.exit(3, {codes: codes.join()});
      })();)");
  ApplicationRun run(shop);
  ASSERT_TRUE(clerk.await());

  killBus();
  clerk.reply("shop", {});

  ASSERT_TRUE(run.awaitEnd());
  EXPECT_EQ(run.result(), 3);
  EXPECT_EQ(run.properties().at("codes"), "-11,-11");
  EXPECT_THAT(innerMessagesIn(awaitRecords("shop")), Contains(Contains(Pair("msg", "still here"))));
}

TEST_F(BusLossTest, CallsThatWaitFail) {
  Partner club("club", "ASK");
  Application shop("shop");
  shop.script(R"(
      const held = wz.notifyAndWait('club', 'ASK', {hold: true}, {timeout: 1000});
      let first = 0;
      try { wz.notifyAndWaitSync('club', 'ASK', {hold: true}, {timeout: 1000}); } catch (error) {
        first = error.code;
      }
      held.catch((error) => wz.exit(0, {codes: `${first},${error.code}`}));)");
  ApplicationRun run(shop);
  zelipc::JSObject asked;
  ASSERT_TRUE(club.awaitNotification(asked));
  ASSERT_TRUE(club.awaitNotification(asked));

  killBus();

  ASSERT_TRUE(run.awaitEnd());
  EXPECT_EQ(run.properties().at("codes"), "-11,-11");
}

TEST_F(BusLossTest, NewBusIsFoundByAllWhoWereOnTheOld) {
  Partner club("club", "ASK");
  Receiver clerk("clerk", "READY");
  Application shop("shop");
  shop.script(R"(
      (async () => {
        await wz.notifyAndWait('clerk', 'READY');
        for (;;) {
          try {
            return wz.exit(await wz.notifyAndWait('club', 'ASK', {answer: 8}, {timeout: 200}));
          } catch (error) {
            wz.log(6, 'not yet');
          }
        }
      })();)");
  ApplicationRun run(shop);
  ASSERT_TRUE(clerk.await());
  killBus();
  clerk.reply("shop", {});
  ASSERT_TRUE(awaitLogCall("shop", "not yet"));

  std::string error;
  ASSERT_TRUE(station().beginBus(error)) << error;

  ASSERT_TRUE(run.awaitEnd());
  EXPECT_EQ(run.result(), 8);
}

}  // namespace
}  // namespace wzapp_test
