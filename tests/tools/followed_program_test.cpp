#include "tools/wz/terminal/followed_program.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <functional>

#include "tests/builders/child_process.h"

namespace wzapp_test {
namespace {

// Ends by the first SIGTERM or SIGHUP, with 40 and its number; with 1 if there is none in a minute.
[[noreturn]] void endWhenTold(const std::function<void()>& begun) {
  sigset_t expected;
  sigemptyset(&expected);
  for (const int number : {SIGTERM, SIGHUP}) sigaddset(&expected, number);
  sigprocmask(SIG_BLOCK, &expected, nullptr);
  begun();
  const timespec minute{60, 0};
  const int number = sigtimedwait(&expected, nullptr, &minute);
  _exit(number > 0 ? 40 + number : 1);
}

// What `wz` does between its fork and its next step takes as long as the program needs to speak.
int spoken[2] = {-1, -1};

void awaitWord() {
  char word = 0;
  while (read(spoken[0], &word, 1) < 0 && errno == EINTR) {
  }
}

TEST(FollowedProgramTest, ASignalAtItsVeryBeginningReachesIt) {
  for (const int number : {SIGTERM, SIGHUP}) {
    runInChild([number] {
      ASSERT_EQ(pipe(spoken), 0);
      ASSERT_EQ(pthread_atfork(nullptr, awaitWord, nullptr), 0);

      ASSERT_GT(wz::startFollowed([number] {
                  endWhenTold([number] {
                    kill(getppid(), number);
                    (void)!write(spoken[1], "x", 1);
                  });
                }),
                0);
      const int status = wz::awaitFollowed();

      ASSERT_TRUE(WIFEXITED(status));
      EXPECT_EQ(WEXITSTATUS(status), 40 + number);
    });
  }
}

TEST(FollowedProgramTest, KeysAreItsOwn) {
  runInChild([] {
    ASSERT_GT(wz::startFollowed([] {
                for (const int number : {SIGINT, SIGQUIT}) kill(getppid(), number);
                endWhenTold([] { kill(getppid(), SIGTERM); });
              }),
              0);

    EXPECT_EQ(WEXITSTATUS(wz::awaitFollowed()), 40 + SIGTERM);
  });
}

TEST(FollowedProgramTest, FindsTheSignalsAsTheyWere) {
  runInChild([] {
    // Also where this program itself was started to run in the background.
    for (const int number : {SIGTERM, SIGHUP, SIGINT, SIGQUIT}) std::signal(number, SIG_DFL);
    ASSERT_GT(wz::startFollowed([] {
                sigset_t blocked;
                sigprocmask(SIG_SETMASK, nullptr, &blocked);
                for (const int number : {SIGTERM, SIGHUP, SIGINT, SIGQUIT}) {
                  struct sigaction action {};
                  sigaction(number, nullptr, &action);
                  if (sigismember(&blocked, number) != 0 || action.sa_handler != SIG_DFL) _exit(2);
                }
                _exit(0);
              }),
              0);

    EXPECT_EQ(wz::awaitFollowed(), 0);
  });
}

TEST(FollowedProgramTest, WhatIsSentBehindItsEndEndsNothing) {
  runInChild([] {
    ASSERT_GT(wz::startFollowed([] { _exit(7); }), 0);
    EXPECT_EQ(WEXITSTATUS(wz::awaitFollowed()), 7);

    for (const int number : {SIGTERM, SIGHUP, SIGINT, SIGQUIT}) raise(number);
  });
}

}  // namespace
}  // namespace wzapp_test
