#include "support/install_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/builders/collected_log.h"

namespace wzapp {
namespace {

using testing::ElementsAre;
using wzapp_test::collectLine;
using wzapp_test::Lines;

class InstallLogTest : public testing::Test {
 protected:
  ~InstallLogTest() override { setInstallLog(nullptr, nullptr); }
};

TEST_F(InstallLogTest, IsSilentUntilToldOtherwise) {
  EXPECT_EQ(installSink().log, silentInstallLog);
  EXPECT_EQ(installSink().user, nullptr);

  report("nobody hears %d\n", 1);
}

TEST_F(InstallLogTest, HandsAMessageOverWithItsArguments) {
  Lines lines;
  setInstallLog(collectLine, &lines);

  report("plain\n");
  report("Failed to move %s to %s\n", "a", "b");
  report("CMDiag failed (ret=%d)\n", -510);

  EXPECT_THAT(lines,
              ElementsAre("plain\n", "Failed to move a to b\n", "CMDiag failed (ret=-510)\n"));
}

TEST_F(InstallLogTest, GoesToTheLastSink) {
  Lines first;
  Lines second;
  setInstallLog(collectLine, &first);
  setInstallLog(collectLine, &second);

  report("one\n");

  EXPECT_THAT(first, ElementsAre());
  EXPECT_THAT(second, ElementsAre("one\n"));
}

TEST_F(InstallLogTest, ANullCallbackIsTheSilentSink) {
  Lines lines;
  setInstallLog(collectLine, &lines);

  setInstallLog(nullptr, &lines);
  report("one\n");

  EXPECT_THAT(lines, ElementsAre());
  EXPECT_EQ(installSink().log, silentInstallLog);
}

void replaceSink(void* user, const char* /*format*/, ...) { setInstallLog(collectLine, user); }

TEST_F(InstallLogTest, MayBeReplacedByTheCallback) {
  Lines lines;
  setInstallLog(replaceSink, &lines);

  report("one\n");
  report("two\n");

  EXPECT_THAT(lines, ElementsAre("two\n"));
}

// Two sinks, each of which knows its own user pointer.
int firstUser = 0;
int secondUser = 0;
std::atomic<int> tornPairs = 0;

void firstLog(void* user, const char* /*format*/, ...) {
  if (user != &firstUser) ++tornPairs;
}

void secondLog(void* user, const char* /*format*/, ...) {
  if (user != &secondUser) ++tornPairs;
}

TEST_F(InstallLogTest, IsNeverTorn) {
  setInstallLog(firstLog, &firstUser);
  std::atomic<bool> isDone = false;
  std::thread reporter([&isDone] {
    while (!isDone) report("line\n");
  });

  for (int i = 0; i < 20000; ++i) {
    setInstallLog(i % 2 == 0 ? secondLog : firstLog, i % 2 == 0 ? &secondUser : &firstUser);
  }
  isDone = true;
  reporter.join();

  EXPECT_EQ(tornPairs, 0);
}

}  // namespace
}  // namespace wzapp
