// wzAppCancel in every state of an application, and the life of the object behind the handle.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "tests/runtime/host_program.h"
#include "tests/runtime/stubs/lock_recorder.h"

namespace wzapp_test {
namespace {

using stubs::platform;
using stubs::RecordingPlatform;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using wzapp::wzAppCancel;

// Lets the application's thread stop at some point until the test opens it.
class Gate {
 public:
  Gate() { mutex_.lock(); }
  void pass() { const std::lock_guard<std::mutex> lock(mutex_); }
  void open() { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

class CancelTest : public RuntimeTest {
 protected:
  // Stops the application's thread before it has invoked the page.
  void stopBeforeInvocation() {
    platform().answers.localProperties = [this](bool local) {
      if (local) gate.pass();
    };
  }

  Gate gate;
};

TEST_F(CancelTest, DuringTheWaitCancelsTheInvocation) {
  HostProgram host;
  ASSERT_EQ(host.run(), 0);
  platform().awaitInvocations(1);

  wzAppCancel(host.app);

  EXPECT_THAT(platform().cancelled(), ElementsAre(1));
  EXPECT_EQ(host.timesTold(), 1);
  EXPECT_EQ(host.result(), RecordingPlatform::kCancelled);
}

TEST_F(CancelTest, BeforeTheInvocationWaitsForItsIdFirst) {
  HostProgram host;
  stopBeforeInvocation();
  const int waitsBefore = stubs::conditionWaits();
  ASSERT_EQ(host.run(), 0);

  std::thread canceller([&] { wzAppCancel(host.app); });
  stubs::awaitConditionWaits(waitsBefore + 1);
  EXPECT_THAT(platform().cancelled(), IsEmpty());
  gate.open();
  canceller.join();

  EXPECT_THAT(platform().cancelled(), ElementsAre(1));
  EXPECT_EQ(host.result(), RecordingPlatform::kCancelled);
}

TEST_F(CancelTest, WakingWithoutCauseIsNoInvocation) {
  HostProgram host;
  stopBeforeInvocation();
  const int waitsBefore = stubs::conditionWaits();
  ASSERT_EQ(host.run(), 0);

  stubs::wakeWithoutCause(2);
  std::thread canceller([&] { wzAppCancel(host.app); });
  EXPECT_TRUE(stubs::conditionWaitsReach(waitsBefore + 3));
  EXPECT_THAT(platform().cancelled(), IsEmpty());
  gate.open();
  canceller.join();

  EXPECT_THAT(platform().cancelled(), ElementsAre(1));
  EXPECT_EQ(host.timesTold(), 1);
}

TEST_F(CancelTest, WakingWithoutCauseIsNoEnd) {
  HostProgram host;
  platform().answers.wait = [this](int, zelgui::UIProperties&) {
    gate.pass();
    return 6;
  };
  ASSERT_EQ(host.run(), 0);
  platform().awaitInvocations(1);
  const int waitsBefore = stubs::conditionWaits();

  stubs::wakeWithoutCause(2);
  bool hadToldWhenCancelReturned = false;
  std::thread canceller([&] {
    wzAppCancel(host.app);
    hadToldWhenCancelReturned = host.timesTold() == 1;
  });
  EXPECT_TRUE(stubs::conditionWaitsReach(waitsBefore + 3));
  gate.open();
  canceller.join();
  host.awaitEnd();

  EXPECT_TRUE(hadToldWhenCancelReturned);
}

TEST_F(CancelTest, OfAnInvocationThatFailsWaitsForTheEndOnly) {
  HostProgram host;
  stopBeforeInvocation();
  platform().answers.invoke = [](const zelgui::UIProperties&, const std::string&) { return -5; };
  const int waitsBefore = stubs::conditionWaits();
  ASSERT_EQ(host.run(), 0);

  std::thread canceller([&] { wzAppCancel(host.app); });
  stubs::awaitConditionWaits(waitsBefore + 1);
  gate.open();
  canceller.join();

  EXPECT_THAT(platform().cancelled(), IsEmpty());
  EXPECT_EQ(host.timesTold(), 1);
  EXPECT_EQ(host.result(), -5);
}

TEST_F(CancelTest, WhileTheHostIsToldTakesNoResultForAnInvocation) {
  HostProgram host;
  platform().answers.wait = [](int, zelgui::UIProperties&) { return 31; };
  std::thread canceller;
  bool hadToldWhenCancelReturned = false;
  host.whenTold = [&] {
    canceller = std::thread([&] {
      wzAppCancel(host.app);
      hadToldWhenCancelReturned = host.timesTold() == 1;
    });
  };

  ASSERT_EQ(host.run(), 0);
  host.awaitEnd();
  canceller.join();

  EXPECT_THAT(platform().cancelled(), IsEmpty());
  EXPECT_TRUE(hadToldWhenCancelReturned);
}

TEST_F(CancelTest, AfterTheEndReturnsAtOnce) {
  HostProgram host;
  platform().answers.wait = [](int, zelgui::UIProperties&) { return 31; };
  ASSERT_EQ(host.run(), 0);
  host.awaitEnd();

  wzAppCancel(host.app);
  wzAppCancel(host.app);

  EXPECT_THAT(platform().cancelled(), IsEmpty());
}

TEST_F(CancelTest, MayBeCalledFromManyThreadsAtOnce) {
  HostProgram host;
  ASSERT_EQ(host.run(), 0);
  platform().awaitInvocations(1);

  std::vector<std::thread> cancellers;
  for (int i = 0; i < 8; ++i) cancellers.emplace_back([&] { wzAppCancel(host.app); });
  for (std::thread& canceller : cancellers) canceller.join();

  EXPECT_THAT(platform().cancelled(), Each(1));
  EXPECT_EQ(host.timesTold(), 1);
}

TEST_F(CancelTest, MeetsTheApplicationsOwnEnd) {
  constexpr int kRounds = 200;
  constexpr int kResult = 1000000;
  for (int round = 1; round <= kRounds; ++round) {
    HostProgram host;
    ASSERT_EQ(host.run(), 0);
    platform().awaitInvocations(round);

    std::thread page([round] { platform().end(round, kResult); });
    wzAppCancel(host.app);
    page.join();

    EXPECT_EQ(host.timesTold(), 1);
    EXPECT_EQ(host.manager().running, false);
  }
  // A result of a million is in no case an invocation to be cancelled.
  EXPECT_THAT(platform().cancelled(), Each(testing::Le(kRounds)));
}

TEST_F(CancelTest, ApplicationOutlivesItsHostsHandle) {
  auto host = std::make_unique<HostProgram>();
  ASSERT_EQ(host->run(), 0);
  platform().awaitInvocations(1);

  host->app.reset();
  platform().end(1, 3);
  host->awaitEnd();

  EXPECT_EQ(host->result(), 3);
}

TEST_F(CancelTest, HostsHandleOutlivesTheApplication) {
  HostProgram host;
  platform().answers.wait = [](int, zelgui::UIProperties&) { return 6; };
  ASSERT_EQ(host.run(), 0);
  host.awaitEnd();

  const wzapp::counted_ptr<wzapp::WZApp> another(host.app);
  host.app.reset();

  EXPECT_EQ(static_cast<wzapp::WZAppManager&>(*another).invocation, 6);
  EXPECT_EQ(static_cast<wzapp::WZAppManager&>(*another).appId, "shop");
}

TEST_F(CancelTest, HandleMayBeDroppedWhileTheHostIsTold) {
  HostProgram host;
  platform().answers.wait = [](int, zelgui::UIProperties&) { return 6; };
  Gate started;
  platform().answers.localProperties = [&](bool local) {
    if (local) started.pass();
  };
  host.whenTold = [&] { host.app.reset(); };

  ASSERT_EQ(host.run(), 0);
  started.open();
  host.awaitEnd();

  EXPECT_EQ(host.result(), 6);
}

TEST_F(CancelTest, TwoHundredApplicationsRunAndEndAtOnce) {
  constexpr int kApps = 200;
  std::vector<std::unique_ptr<HostProgram>> hosts;
  for (int i = 0; i < kApps; ++i) {
    const std::string id = "app" + std::to_string(i);
    const std::string manifest = "/mnt/flash/etc/config/wzapp/wz/" + id + "/manifest.json";
    terminal.writeFile(manifest, manifestOf(id));
    hosts.push_back(std::make_unique<HostProgram>());
    ASSERT_EQ(hosts.back()->run(manifest), 0);
  }
  platform().awaitInvocations(kApps);

  // Every second page ends by itself, the others are cancelled, while all of them write.
  std::thread pages([] {
    for (int invocation = 1; invocation <= kApps; invocation += 2) {
      platform().end(invocation, invocation);
    }
  });
  std::thread scripts([] {
    for (int i = 0; i < kApps; ++i) {
      platform().script.log(nullptr, "app" + std::to_string(i), js::JS_LOG_INFO, {"a line"});
    }
  });
  for (int i = 0; i < kApps; i += 2) wzAppCancel(hosts[static_cast<std::size_t>(i)]->app);
  pages.join();
  scripts.join();
  for (int i = 0; i < kApps; ++i) platform().end(i + 1, 0);
  for (const auto& host : hosts) host->awaitEnd();

  for (const auto& host : hosts) EXPECT_EQ(host->timesTold(), 1);
  EXPECT_EQ(platform().sent("_WZLog").size(), static_cast<std::size_t>(kApps));
}

}  // namespace
}  // namespace wzapp_test
