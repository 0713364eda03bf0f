// wzAppCancel at every stage of an application's life.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/end_to_end/application.h"
#include "tests/end_to_end/receiver.h"
#include "tests/end_to_end/station.h"
#include "workstation/browser/engine/page/result_codes.h"

namespace wzapp_test {
namespace {

using testing::ElementsAre;
using testing::Pair;
using testing::StartsWith;
using testing::UnorderedElementsAre;
using workstation::kCancelled;

class CancelTest : public EndToEndTest {};

// A cancelled application ends as one that failed, with the platform's number for it.
void expectCancelled(const ApplicationRun& run, const std::string& appId) {
  EXPECT_EQ(run.result(), kCancelled);
  EXPECT_EQ(run.timesTold(), 1);
  std::vector<LogMessage> messages = innerMessagesIn(awaitRecords(appId));
  ASSERT_FALSE(messages.empty());
  EXPECT_THAT(messages.back(), UnorderedElementsAre(Pair("s", "3"), Pair("msgT", "ERROR"),
                                                    Pair("msg", StartsWith("Error -8 ")),
                                                    Pair("eC", "wz_9\n"), Pair("eN", "")));
}

TEST_F(CancelTest, RightAfterTheStart) {
  Application shop("shop");
  shop.script("");
  ApplicationRun run(shop);

  run.cancel();

  ASSERT_TRUE(run.awaitEnd());
  expectCancelled(run, "shop");
}

struct Stage {
  const char* name;
  const char* page;  // logs "there" when it has come to its stage
};

class CancelAtStageTest : public EndToEndTest, public testing::WithParamInterface<Stage> {};

TEST_P(CancelAtStageTest, EndsThePage) {
  Application shop("shop");
  shop.file("index.html", GetParam().page);
  shop.file("long.js", "//" + std::string(8 << 20, 'x'));
  ApplicationRun run(shop);
  ASSERT_TRUE(awaitLogCall("shop", "there"));

  run.cancel();

  ASSERT_TRUE(run.awaitEnd());
  expectCancelled(run, "shop");
}

INSTANTIATE_TEST_SUITE_P(
    CancelTest, CancelAtStageTest,
    testing::Values(
        Stage{"Loading",
              "<script>wz.log(6, 'there');"
              "for (let i = 0; i < 200; ++i) document.write(`<script src=long.js?${i}><\\/script>`)"
              "</script>"},
        Stage{"Running", "<body onload=\"wz.log(6, 'there')\">page"},
        Stage{"InAnEndlessLoop", "<script>wz.log(6, 'there'); for (;;) {}</script>"},
        Stage{"InADialog", "<script>wz.log(6, 'there'); for (;;) alert('Hello')</script>"},
        Stage{"LeavingForever",
              "<script>wz.log(6, 'there'); onunload = onbeforeunload = () => { for (;;) {} };"
              "</script>"}),
    [](const auto& row) { return row.param.name; });

class CancelInCallTest : public EndToEndTest, public testing::WithParamInterface<const char*> {};

TEST_P(CancelInCallTest, DoesNotWaitForTheReply) {
  Receiver clerk("clerk", "ASK");
  Application shop("shop");
  shop.script(std::string("wz.") + GetParam() + "('clerk', 'ASK', {}, {timeout: 600000});");
  ApplicationRun run(shop);
  ASSERT_TRUE(clerk.await());

  run.cancel();

  EXPECT_TRUE(run.awaitEnd());
  clerk.reply("shop", {});  // for the thread that still waits for it
  expectCancelled(run, "shop");
}

INSTANTIATE_TEST_SUITE_P(CancelTest, CancelInCallTest,
                         testing::Values("notifyAndWait", "notifyAndWaitSync"),
                         [](const auto& row) { return row.param; });

TEST_F(CancelTest, EndedApplicationIsLeftAlone) {
  Application shop("shop");
  shop.script("wz.exit(5);");
  ApplicationRun run(shop);
  ASSERT_TRUE(run.awaitEnd());

  run.cancel();
  run.cancel();

  EXPECT_EQ(run.result(), 5);
  EXPECT_EQ(run.timesTold(), 1);
}

TEST_F(CancelTest, ApplicationThatCouldNotStartIsLeftAlone) {
  Application shop("shop");
  ApplicationRun run(shop);

  run.cancel();

  ASSERT_TRUE(run.awaitEnd());
  EXPECT_EQ(run.result(), workstation::kNoSuchPage);
}

TEST_F(CancelTest, DroppedHandleLeavesTheApplicationRunning) {
  Receiver clerk("clerk", "GO");
  Application shop("shop");
  shop.script("wz.notifyAndWait('clerk', 'GO').then(() => wz.exit(6));");
  ApplicationRun run(shop);
  run.dropHandle();
  ASSERT_TRUE(clerk.await());
  ASSERT_EQ(run.timesTold(), 0);
  clerk.reply("shop", {});

  ASSERT_TRUE(run.awaitEnd());

  EXPECT_EQ(run.result(), 6);
  EXPECT_EQ(run.timesTold(), 1);
}

TEST_F(CancelTest, OtherApplicationsGoOn) {
  Receiver clerk("clerk", "TICK");
  Application shop("shop"), till("till");
  shop.script("wz.log(6, 'there');");
  till.script("wz.notify('clerk', 'TICK'); setInterval(() => wz.notify('clerk', 'TICK'), 20);");
  ApplicationRun cancelled(shop), other(till);
  ASSERT_TRUE(awaitLogCall("shop", "there"));
  ASSERT_TRUE(clerk.await());

  cancelled.cancel();

  EXPECT_TRUE(clerk.await(clerk.all().size() + 2));
  EXPECT_EQ(other.timesTold(), 0);
  EXPECT_EQ(cancelled.timesTold(), 1);
}

}  // namespace
}  // namespace wzapp_test
