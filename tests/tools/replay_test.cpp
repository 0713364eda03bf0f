// wz run --record and wz replay: a run that is done again.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/tools/run_fixture.h"

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::StartsWith;

class ReplayTest : public RunTest {
 protected:
  // A till: an amount is typed, a button asks a host and ends the application.
  std::string till(const std::string& text = "sum") {
    shop("");
    write("desk/shop/index.html",
          "<!DOCTYPE html><meta charset=utf-8><input id=amount><button id=pay>Pay</button>"
          "<select id=currency><option>EUR<option>CHF</select><script>"
          "console.info('ready', wz.properties.till);"
          "pay.onclick = async () => {"
          "  const reply = await wz.notifyAndWait('desk', 'PRICE', {amount: amount.value});"
          "  console.info('" +
              text +
              "', reply.sum, currency.value);"
              "  addEventListener('keydown', (e) => { if (e.key === 'Enter') wz.exit(0, {sum: "
              "reply.sum}); });"
              "};</script>");
    return terminal_.directory() + "/desk/shop";
  }

  // What a user has done there, as wz run --record writes it.
  std::string recording(const std::string& further = "") {
    write("pay.jsonl",
          R"({"recording":1,"app":"shop","entry":"desktop","parameters":{"till":"3"}}
{"at":0.4,"event":"console","level":"info","text":"ready 3"}
{"at":0.5,"event":"type","target":"#amount","text":"12.5"}
{"at":0.55,"event":"choose","target":"#currency","text":"CHF"}
{"at":0.6,"event":"click","target":"#pay"}
{"at":0.7,"event":"messageSent","from":"shop","to":"desk","name":"PRICE","awaitsReply":true,"payload":{"amount":"12.5"}}
{"at":0.8,"event":"reply","from":"desk","name":"PRICE_reply","code":0,"payload":{"sum":"99"}}
{"at":0.9,"event":"console","level":"info","text":"sum 99 CHF"}
{"at":1.2,"event":"press","text":"Enter"}
)" + further);
    return terminal_.directory() + "/pay.jsonl";
  }

  static constexpr char kEnd[] =
      R"({"at":1.3,"event":"exited","result":0,"properties":{"till":"3","sum":"99"}})"
      "\n";

  ProgramResult replay(const std::string& file, const std::string& folder) {
    return runWz({"replay", file, folder, "--terminal", terminal_.directory(), "--tolerance", "3"});
  }
};

TEST_F(ReplayTest, DoesAgainWhatWasDoneAndAnswersAsItWasAnswered) {
  const ProgramResult result = replay(recording(kEnd), till());

  EXPECT_EQ(result.code, kDone) << result.out << result.errors;
  EXPECT_THAT(result.out, HasSubstr("pay.jsonl: as recorded, 9 lines"));
}

TEST_F(ReplayTest, SaysWhereTheApplicationDiffers) {
  const ProgramResult result = replay(recording(kEnd), till("total"));

  EXPECT_EQ(result.code, kFailed);
  EXPECT_THAT(result.out,
              HasSubstr("pay.jsonl: line 8: recorded {\"event\":\"console\",\"level\":\"info\","
                        "\"text\":\"sum 99 CHF\"}, now {\"event\":\"console\",\"level\":\"info\","
                        "\"text\":\"total 99 CHF\"}"));
  EXPECT_THAT(result.errors, HasSubstr("wz: 1 difference"));
}

TEST_F(ReplayTest, SaysWhatIsNotThereToBeClicked) {
  const std::string folder = till();
  write("desk/shop/index.html", page("console.info('ready', wz.properties.till);"));

  const ProgramResult result = replay(recording(kEnd), folder);

  EXPECT_EQ(result.code, kFailed);
  EXPECT_THAT(result.out,
              HasSubstr("line 3: there is no element #amount; the rest was not replayed"));
}

TEST_F(ReplayTest, ARecordingWithoutItsEndIsReplayedAsFarAsItGoes) {
  const ProgramResult result = replay(recording(), till());

  EXPECT_EQ(result.code, kDone) << result.out << result.errors;
}

// What is recorded last is awaited as anything before it.
TEST_F(ReplayTest, ARecordingMayEndWithWhatTheApplicationDoes) {
  const std::string folder = shop("setTimeout(() => console.info('late'), 700);");
  write("late.jsonl", R"({"recording":1,"app":"shop","entry":"desktop","parameters":{}}
{"at":0.9,"event":"console","level":"info","text":"late"}
)");

  const ProgramResult result = replay(terminal_.directory() + "/late.jsonl", folder);

  EXPECT_EQ(result.code, kDone) << result.out << result.errors;
}

TEST_F(ReplayTest, ARecordingThatIsNoneIsAWrongCommandLine) {
  const std::string folder = till();
  const ProgramResult cut = replay(recording("{\"at\":1.3,\"ev"), folder);

  EXPECT_EQ(cut.code, kUsage);
  EXPECT_THAT(cut.errors, HasSubstr("pay.jsonl:10: not JSON: "));
  EXPECT_THAT(cut.errors, HasSubstr("the recording has been cut short"));
}

TEST_F(ReplayTest, WhatIsRecordedIsReplayed) {
  const std::string file = terminal_.directory() + "/run.jsonl";
  const std::string folder = shop(
      "console.info('ready', {a: 1}); wz.log('info', 'Opened');"
      "wz.notifyAndWait('desk', 'LOOKUP', {card: 7}).catch((e) => e.code)"
      ".then((code) => wz.exit(0, {code: String(code)}));");

  const ProgramResult recorded = runWz(run(folder, {"--record", file, "--param", "till=3"}));
  EXPECT_EQ(recorded.code, kDone) << recorded.errors;
  const ProgramResult same = replay(file, folder);
  EXPECT_EQ(same.code, kDone) << same.out << same.errors;

  shop(
      "console.info('ready', {a: 2}); wz.log('info', 'Opened');"
      "wz.notifyAndWait('desk', 'LOOKUP', {card: 7}).catch((e) => e.code)"
      ".then((code) => wz.exit(0, {code: String(code)}));");
  const ProgramResult other = replay(file, folder);
  EXPECT_EQ(other.code, kFailed);
  EXPECT_THAT(other.out, HasSubstr("ready {a: 2}"));
}

TEST_F(ReplayTest, ARecordingThatCannotBeWrittenIsAFailure) {
  const ProgramResult result = runWz(run(shop("wz.exit();"), {"--record", "/nowhere/run.jsonl"}));

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_THAT(result.errors, HasSubstr("cannot write /nowhere/run.jsonl"));

  const ProgramResult full = runWz(run(shop("wz.exit();"), {"--record", "/dev/full"}));
  EXPECT_EQ(full.code, kEnvironment);
  EXPECT_THAT(full.errors, HasSubstr("written to /dev/full: No space left on device"));
}

// ---- The samples --------------------------------------------------------------------------------

class SampleReplayTest : public ReplayTest {
 protected:
  std::string sample(const std::string& name) const {
    const fs::path folder = fs::path(terminal_.directory()) / name;
    fs::copy(fs::path(EXAMPLES) / name, folder, fs::copy_options::recursive);
    return folder.string();
  }

  void expectReplayed(const std::string& file, const std::string& folder,
                      const std::string& script) {
    const ProgramResult same = replay(file, folder);
    EXPECT_EQ(same.code, kDone) << same.out << same.errors;

    std::ofstream(folder + "/" + script, std::ios::app) << "\nconsole.info('changed');\n";
    const ProgramResult changed = replay(file, folder);
    EXPECT_EQ(changed.code, kFailed);
    EXPECT_THAT(changed.out, HasSubstr("not recorded"));
  }
};

TEST_F(SampleReplayTest, TheOneThatPlaysItselfIsRecordedAndReplayed) {
  const std::string folder = sample("tip");
  const std::string file = terminal_.directory() + "/tip.jsonl";
  const ProgramResult recorded =
      runWz(run(folder, {"--record", file, "--param", "demo=1", "--timeout", "20"}));
  ASSERT_EQ(recorded.code, kDone) << recorded.out << recorded.errors;

  expectReplayed(file, folder, "app.js");
}

// It begins with a card, asks a desk, and ends by its user alone: no run without one can be
// recorded.
TEST_F(SampleReplayTest, TheOneThatNeedsADeskAndAUserIsReplayed) {
  write(
      "card.jsonl",
      R"({"recording":1,"app":"loyalty","entry":"CARD_PRESENTED","parameters":{"wz_parameters":"{\"card\":\"4711\"}"}}
{"at":0.4,"event":"messageSent","from":"loyalty","to":"oatmere-club","name":"MEMBER_LOOKUP","awaitsReply":true,"payload":{"card":"4711","amount":0}}
{"at":0.4,"event":"requestFailed","url":"https://loyalty.invalid/campaign.webp","status":"404"}
{"at":0.5,"event":"reply","from":"oatmere-club","name":"MEMBER_LOOKUP_reply","code":0,"payload":{"known":true,"name":"Ada","points":36}}
{"at":0.6,"event":"log","level":"info","texts":["Member found","36 points"]}
{"at":0.9,"event":"click","target":"#collect"}
{"at":1.3,"event":"exited","result":0,"properties":{"outcome":"collect"}}
)");

  expectReplayed(terminal_.directory() + "/card.jsonl", sample("loyalty"), "card.js");
}

}  // namespace
}  // namespace wzapp_test
