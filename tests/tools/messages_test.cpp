// wz listen, notify and reply: programs that meet on a terminal's bus.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/builders/test_terminal.h"
#include "tests/tools/program.h"

namespace wzapp_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Arguments = std::vector<std::string>;

class MessagesTest : public testing::Test {
 protected:
  Arguments on(Arguments arguments) const {
    arguments.insert(arguments.end(), {"--terminal", terminal_.directory()});
    return arguments;
  }

  TemporaryTerminal terminal_;
};

TEST_F(MessagesTest, ANotificationReachesWhoListensForIt) {
  Program listener(on({"listen", "till", "PAID", "--count", "2"}));
  ASSERT_TRUE(listener.awaitOutput("listening at till"));

  const ProgramResult first = runWz(on({"notify", "till", "PAID", "{\"amount\": 5}"}));
  const ProgramResult second = runWz(on({"notify", "till", "PAID", "--from", "shop"}));

  EXPECT_EQ(first.code, kDone) << first.errors;
  EXPECT_EQ(second.code, kDone) << second.errors;
  EXPECT_EQ(listener.wait(), kDone);
  EXPECT_THAT(linesOf(listener.out()),
              ElementsAre("wz -> till PAID {\"amount\":5}", "shop -> till PAID {}"));
}

TEST_F(MessagesTest, OneListenerTakesSeveralNames) {
  Program listener(on({"listen", "till", "PAID", "VOIDED", "--count", "2"}));
  ASSERT_TRUE(listener.awaitOutput("listening at till"));

  runWz(on({"notify", "till", "VOIDED", "1"}));
  runWz(on({"notify", "till", "PAID", "2"}));

  EXPECT_EQ(listener.wait(), kDone);
  EXPECT_THAT(linesOf(listener.out()), ElementsAre("wz -> till VOIDED 1", "wz -> till PAID 2"));
}

TEST_F(MessagesTest, TheTerminalMayStandInTheEnvironment) {
  Program listener(on({"listen", "till", "PAID", "--count", "1"}));
  ASSERT_TRUE(listener.awaitOutput("listening at till"));

  const ProgramResult sent = runWz({"notify", "till", "PAID"}, [this] {
    setenv("WZ_TERMINAL", terminal_.directory().c_str(), 1);
  });

  EXPECT_EQ(sent.code, kDone) << sent.errors;
  EXPECT_EQ(listener.wait(), kDone);
}

TEST_F(MessagesTest, AReplyComesBack) {
  Program desk(on({"reply", "desk", "LOOKUP", "{\"known\": true}", "--count", "1"}));
  ASSERT_TRUE(desk.awaitOutput("answering LOOKUP at desk"));

  const ProgramResult asked = runWz(on({"notify", "desk", "LOOKUP", "{\"card\": 7}", "--wait"}));

  EXPECT_EQ(asked.code, kDone) << asked.errors;
  EXPECT_EQ(asked.out, "{\"known\":true}\n");
  EXPECT_EQ(desk.wait(), kDone);
  EXPECT_EQ(desk.out(), "wz -> desk LOOKUP {\"card\":7}\n");
}

TEST_F(MessagesTest, AReplyMayHaveAnyNameAndValue) {
  Program desk(on({"reply", "desk", "ASK", "[1,\"two\",null]", "--reply-name", "TOLD"}));
  ASSERT_TRUE(desk.awaitOutput("answering ASK at desk"));

  const ProgramResult asked =
      runWz(on({"notify", "desk", "ASK", "--wait", "--reply-name", "TOLD", "--from", "me"}));

  EXPECT_EQ(asked.code, kDone) << asked.errors;
  EXPECT_EQ(asked.out, "[1,\"two\",null]\n");
  desk.signal(SIGTERM);
  EXPECT_EQ(desk.wait(), kDone);
}

TEST_F(MessagesTest, NobodyListens) {
  const ProgramResult plain = runWz(on({"notify", "till", "PAID"}));
  const ProgramResult waiting = runWz(on({"notify", "till", "PAID", "--wait"}));

  EXPECT_EQ(plain.code, kNothingCame);
  EXPECT_EQ(plain.errors, "wz: nobody listens for PAID at till\n");
  EXPECT_EQ(waiting.code, kNothingCame);
  EXPECT_EQ(waiting.errors, "wz: nobody listens for PAID at till\n");
}

TEST_F(MessagesTest, AReplyThatDoesNotComeInTime) {
  Program listener(on({"listen", "till", "ASK"}));
  ASSERT_TRUE(listener.awaitOutput("listening at till"));

  const ProgramResult asked = runWz(on({"notify", "till", "ASK", "--wait", "--timeout", "0.05"}));

  EXPECT_EQ(asked.code, kNothingCame);
  EXPECT_EQ(asked.errors, "wz: no ASK_reply came\n");
}

TEST_F(MessagesTest, ListeningEndsWithTheTimeOrTheUser) {
  EXPECT_EQ(runWz(on({"listen", "till", "PAID", "--timeout", "0.05"})).code, kDone);
  EXPECT_EQ(runWz(on({"listen", "till", "PAID", "--timeout", "0.05", "--count", "1"})).code,
            kNothingCame);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    Program listener(on({"listen", "till", "PAID"}));
    ASSERT_TRUE(listener.awaitOutput("listening at till"));
    listener.signal(signal);
    EXPECT_EQ(listener.wait(), kDone) << signal;
  }
}

TEST_F(MessagesTest, WhatComesFromOthersCannotActOnTheUsersTerminal) {
  Program listener(on({"listen", "till", "PAID", "--count", "1"}));
  ASSERT_TRUE(listener.awaitOutput("listening at till"));

  runWz(on({"notify", "till", "PAID", "\"\\u009b2J\\u007f\"", "--from", "\x1b]0;x\x07"}));

  EXPECT_EQ(listener.wait(), kDone);
  EXPECT_EQ(listener.out(), "\\x1b]0;x\\x07 -> till PAID \"\\u{009b}2J\\x7f\"\n");
}

TEST_F(MessagesTest, TerminalsAreApart) {
  const TemporaryTerminal other;
  Program listener(on({"listen", "till", "PAID"}));
  ASSERT_TRUE(listener.awaitOutput("listening at till"));

  const ProgramResult sent = runWz({"notify", "till", "PAID", "--terminal", other.directory()});

  EXPECT_EQ(sent.code, kNothingCame);
}

}  // namespace
}  // namespace wzapp_test
