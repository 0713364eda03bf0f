// What the library registers once per process. Each test has a process of its own, so this program
// must not call the library outside of one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "runtime/app_log.h"
#include "runtime/script_bridge.h"
#include "tests/builders/child_process.h"
#include "tests/builders/failing_memory.h"
#include "tests/runtime/host_program.h"

namespace wzapp_test {
namespace {

using stubs::platform;
using testing::ElementsAre;
using wzapp::wzAppRun;

// Fails for its missing arguments, after everything that comes before they are looked at.
int runWithoutArguments() {
  wzapp::counted_ptr<wzapp::WZApp> app;
  return wzAppRun(app, 0, 0, nullptr, nullptr, {}, nullptr, nullptr);
}

TEST(RegistrationTest, HappensOnceAndInItsOrder) {
  const TestTerminal terminal;

  runInChild([] {
    EXPECT_EQ(runWithoutArguments(), 1);
    EXPECT_EQ(runWithoutArguments(), 1);

    EXPECT_THAT(platform().calls(), ElementsAre(R"(htmlSetScriptProcessor "js")", "jsSetNotify",
                                                "jsSetNotifyAndWait", "jsSetTrace", "jsSetLog"));
  });
}

TEST(RegistrationTest, GivesTheScriptProcessorItsCallbacks) {
  const TestTerminal terminal;

  runInChild([] {
    runWithoutArguments();

    EXPECT_EQ(platform().script.processor, js::jsProcessorExt);
    EXPECT_EQ(platform().script.notify, wzapp::onScriptNotify);
    EXPECT_EQ(platform().script.notifyAndWait, wzapp::onScriptNotifyAndWait);
    EXPECT_EQ(platform().script.trace, wzapp::onScriptTrace);
    EXPECT_EQ(platform().script.log, wzapp::onScriptLog);
  });
}

TEST(RegistrationTest, ComesEvenBeforeAnUnusableConfigRoot) {
  TestTerminal terminal;
  terminal.writeFile(kConfigRootPath, "a file");

  runInChild([] {
    testing::internal::CaptureStderr();
    const int result = runWithoutArguments();
    testing::internal::GetCapturedStderr();

    EXPECT_EQ(result, 5);
    EXPECT_EQ(platform().calls().size(), 5U);
  });
}

TEST(RegistrationTest, HappensOnceWhenManyApplicationsStartFirst) {
  const TestTerminal terminal;

  runInChild([] {
    std::vector<std::thread> hosts;
    for (int i = 0; i < 8; ++i) hosts.emplace_back(runWithoutArguments);
    for (std::thread& host : hosts) host.join();

    EXPECT_EQ(platform().calls().size(), 5U);
  });
}

// Whoever comes while one registers waits until that is done: a start that went on earlier could
// have a page whose scripts find no callbacks.
TEST(RegistrationTest, IsWaitedForByWhoeverStartsMeanwhile) {
  const TestTerminal terminal;

  runInChild([] {
    std::mutex mutex;
    std::condition_variable changed;
    int registering = 0;
    int returned = 0;
    int returnedMeanwhile = 0;
    platform().answers.registration = [&] {
      std::unique_lock<std::mutex> lock(mutex);
      ++registering;
      changed.notify_all();
      // Long enough for the others to come in, or past, where nothing holds them.
      changed.wait_for(lock, std::chrono::milliseconds(300),
                       [&] { return registering > 1 || returned > 0; });
      returnedMeanwhile = returned;
    };

    std::vector<std::thread> hosts;
    for (int i = 0; i < 4; ++i) {
      hosts.emplace_back([&] {
        runWithoutArguments();
        const std::lock_guard<std::mutex> lock(mutex);
        ++returned;
        changed.notify_all();
      });
    }
    for (std::thread& host : hosts) host.join();

    EXPECT_EQ(registering, 1);
    EXPECT_EQ(returnedMeanwhile, 0);
    EXPECT_EQ(platform().calls().size(), 5U);
  });
}

TEST(RegistrationTest, IsMadeUpForWhenMemoryWasOutTheFirstTime) {
  const TestTerminal terminal;

  runInChild([] {
    failAllocation(1, Shortage::kForGood);
    const int withoutMemory = runWithoutArguments();
    endShortage();
    const int withMemory = runWithoutArguments();

    EXPECT_EQ(withoutMemory, 4);
    EXPECT_EQ(withMemory, 1);
    EXPECT_EQ(platform().script.log, wzapp::onScriptLog);
  });
}

}  // namespace
}  // namespace wzapp_test
