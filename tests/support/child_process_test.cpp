#include "tests/builders/child_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <csignal>
#include <stdexcept>
#include <thread>

namespace wzapp_test {
namespace {

using testing::HasSubstr;

TEST(RunInChildTest, ChangesNothingInTheCaller) {
  int value = 1;

  EXPECT_TRUE(runInChild([&value] {
    value = 2;
    EXPECT_EQ(value, 2);
  }));

  EXPECT_EQ(value, 1);
}

TEST(RunInChildTest, RunsInAProcessOfItsOwn) {
  const pid_t caller = getpid();

  runInChild([caller] {
    EXPECT_NE(getpid(), caller);
    EXPECT_EQ(getppid(), caller);
  });
}

TEST(RunInChildTest, MakesADeadChildAFailureOfTheTest) {
  bool isGood = true;

  EXPECT_NONFATAL_FAILURE(isGood = runInChild([] { std::raise(SIGKILL); }), "ended by signal 9");
  EXPECT_FALSE(isGood);
  EXPECT_NONFATAL_FAILURE(isGood = runInChild([] { _exit(42); }), "ended with 42");
  EXPECT_FALSE(isGood);
}

TEST(TryInChildTest, HandsAFailureOverWithItsPlaceAndText) {
  const ChildResult result = tryInChild([] { EXPECT_EQ(1, 2) << "in the child"; });

  EXPECT_EQ(WEXITSTATUS(result.status), 1);
  EXPECT_THAT(result.failures, HasSubstr("child_process_test.cpp:"));
  EXPECT_THAT(result.failures, HasSubstr("in the child"));
}

TEST(TryInChildTest, HandsEveryFailureOver) {
  const std::string large(100000, 'x');

  const ChildResult result = tryInChild([&large] {
    ADD_FAILURE() << large;
    std::thread([] { ADD_FAILURE() << "of a thread"; }).join();
    ADD_FAILURE() << "the last one";
  });

  EXPECT_THAT(result.failures, HasSubstr(large));
  EXPECT_THAT(result.failures, HasSubstr("of a thread"));
  EXPECT_THAT(result.failures, HasSubstr("the last one"));
}

TEST(TryInChildTest, EndsAtAFatalFailure) {
  const ChildResult result = tryInChild([] {
    ASSERT_TRUE(false) << "fatal";
    std::exit(77);  // not reached
  });

  EXPECT_EQ(WEXITSTATUS(result.status), 1);
  EXPECT_THAT(result.failures, HasSubstr("fatal"));
}

TEST(TryInChildTest, HandsAnExceptionOver) {
  EXPECT_THAT(tryInChild([] { throw std::runtime_error("thrown text"); }).failures,
              HasSubstr("thrown text"));
  EXPECT_THAT(tryInChild([] { throw 1; }).failures, HasSubstr("unknown type"));
}

TEST(TryInChildTest, TellsAChildWithoutFailure) {
  const ChildResult result = tryInChild([] { SUCCEED(); });

  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.failures, "");
}

}  // namespace
}  // namespace wzapp_test
