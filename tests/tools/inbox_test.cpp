#include "tools/wz/terminal/inbox.h"

#include <gtest/gtest.h>

#include <csignal>
#include <optional>
#include <thread>

#include "tests/builders/child_process.h"

namespace wz {
namespace {

// The signals act as usual, however this program was started, and are then watched.
void watchFresh() {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) std::signal(number, SIG_DFL);
  watchInterrupts();
}

Deadline soon() { return std::chrono::steady_clock::now() + std::chrono::milliseconds(1); }

TEST(InboxTest, ItemsComeInTheirOrder) {
  Inbox<int> inbox;
  inbox.put(1);
  inbox.put(2);

  EXPECT_EQ(inbox.take(soon()), 1);
  EXPECT_EQ(inbox.take(soon()), 2);
  EXPECT_EQ(inbox.take(soon()), std::nullopt);
}

TEST(InboxTest, AnItemOfAnotherThreadWakesTheTaker) {
  Inbox<int> inbox;
  std::thread other([&] { inbox.put(7); });

  const std::optional<int> item = inbox.take(kNoDeadline);

  other.join();
  EXPECT_EQ(item, 7);
}

TEST(InboxTest, AnInterruptEndsTheWaitAndStaysKnown) {
  wzapp_test::runInChild([] {
    watchFresh();
    Inbox<int> inbox;
    EXPECT_FALSE(interrupted());

    std::raise(SIGTERM);

    EXPECT_EQ(inbox.take(kNoDeadline), std::nullopt);
    EXPECT_TRUE(interrupted());
    EXPECT_EQ(inbox.take(kNoDeadline), std::nullopt);
  });
}

TEST(InboxTest, WhatCameBeforeAnInterruptIsTakenFirst) {
  wzapp_test::runInChild([] {
    watchFresh();
    Inbox<int> inbox;
    inbox.put(1);

    std::raise(SIGINT);

    EXPECT_EQ(inbox.take(kNoDeadline), 1);
    EXPECT_EQ(inbox.take(kNoDeadline), std::nullopt);
  });
}

TEST(InboxTest, AWaitThatMustNotBeInterruptedIsNot) {
  wzapp_test::runInChild([] {
    watchFresh();
    Inbox<int> inbox;
    std::raise(SIGINT);
    std::thread other([&] { inbox.put(7); });

    EXPECT_EQ(inbox.take(kNoDeadline, false), 7);

    other.join();
  });
}

TEST(InterruptTest, ASecondSignalEndsTheProgram) {
  const wzapp_test::ChildResult result = wzapp_test::tryInChild([&] {
    watchFresh();
    std::raise(SIGINT);
    std::raise(SIGINT);
  });

  ASSERT_TRUE(WIFSIGNALED(result.status));
  EXPECT_EQ(WTERMSIG(result.status), SIGINT);
}

TEST(InterruptTest, AnIgnoredSignalStaysIgnored) {
  wzapp_test::runInChild([] {
    std::signal(SIGHUP, SIG_IGN);
    watchInterrupts();

    std::raise(SIGHUP);

    EXPECT_FALSE(interrupted());
  });
}

}  // namespace
}  // namespace wz
