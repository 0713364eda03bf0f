#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/runtime/host_program.h"
#include "tests/runtime/stubs/failing_threads.h"
#include "wzapp/wzapp.h"

namespace wzapp_test {
namespace {

using stubs::platform;
using stubs::ThreadStep;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using wzapp::wzAppRun;

class RunInterfaceTest : public RuntimeTest {
 protected:
  // Whatever it is called with, an application must not be started.
  void expectNotStarted(HostProgram& host) {
    EXPECT_FALSE(host.app);
    EXPECT_EQ(host.timesTold(), 0);
    for (const std::string& call : platform().calls()) {
      EXPECT_THAT(call, Not(HasSubstr("uiSetLocalProperties")));
    }
  }
};

TEST_F(RunInterfaceTest, StartsAnApplicationAndTellsItsEndOnce) {
  HostProgram host;

  const int started = host.run();
  platform().awaitInvocations(1);
  platform().end(1, 42);
  host.awaitEnd();

  EXPECT_EQ(started, 0);
  EXPECT_TRUE(host.app);
  EXPECT_EQ(host.timesTold(), 1);
  EXPECT_EQ(host.result(), 42);
}

TEST_F(RunInterfaceTest, ApplicationMayEndWithoutAnybodyBeingTold) {
  wzapp::counted_ptr<wzapp::WZApp> app;
  platform().answers.wait = [](int, zelgui::UIProperties&) { return 0; };

  const int started = wzAppRun(app, 0, 0, kShopManifest, "desktop", {}, nullptr, nullptr);
  wzapp::wzAppCancel(app);

  EXPECT_EQ(started, 0);
  EXPECT_FALSE(static_cast<wzapp::WZAppManager&>(*app).running);
}

TEST_F(RunInterfaceTest, FormWithoutDisplayRunsOnDisplayZero) {
  HostProgram host;
  platform().answers.wait = [](int, zelgui::UIProperties&) { return 0; };

  const int started =
      wzAppRun(host.app, 7, kShopManifest, "desktop", {}, HostProgram::onExit, &host);
  host.awaitEnd();

  EXPECT_EQ(started, 0);
  EXPECT_THAT(platform().calls(), Contains(R"(uiInvokeURLAsync 0 7 "index.html")"));
}

TEST_F(RunInterfaceTest, NullManifestGivesOne) {
  HostProgram host;

  EXPECT_EQ(wzAppRun(host.app, 0, 0, nullptr, "desktop", {}, HostProgram::onExit, &host), 1);
  expectNotStarted(host);
}

TEST_F(RunInterfaceTest, NullEntryGivesOne) {
  HostProgram host;

  EXPECT_EQ(wzAppRun(host.app, 0, 0, kShopManifest, nullptr, {}, HostProgram::onExit, &host), 1);
  expectNotStarted(host);
}

TEST_F(RunInterfaceTest, FailedCallDropsTheHandleOfAnApplicationThatGoesOn) {
  HostProgram host;
  ASSERT_EQ(host.run(), 0);
  platform().awaitInvocations(1);

  const int result = wzAppRun(host.app, 0, 0, nullptr, nullptr, {}, nullptr, nullptr);

  EXPECT_EQ(result, 1);
  EXPECT_FALSE(host.app);
  EXPECT_EQ(host.timesTold(), 0);
  EXPECT_THAT(platform().cancelled(), ElementsAre());
  platform().end(1, 5);
  host.awaitEnd();
  EXPECT_EQ(host.result(), 5);
}

TEST_F(RunInterfaceTest, UnreadableManifestGivesTwo) {
  HostProgram host;
  terminal.writeFile("/mnt/flash/broken", "{\n[application]\nid=shop\n");

  EXPECT_EQ(host.run("/mnt/flash/nothing"), 2);
  EXPECT_EQ(host.run("/mnt/flash/broken"), 2);
  expectNotStarted(host);
}

TEST_F(RunInterfaceTest, EntryWithoutAPageGivesThree) {
  HostProgram host;

  EXPECT_EQ(host.run(kShopManifest, "pay"), 3);
  expectNotStarted(host);
}

class ThreadCreationTest : public RunInterfaceTest,
                           public testing::WithParamInterface<ThreadStep> {};

TEST_P(ThreadCreationTest, FailureGivesFourAndLeavesNoObject) {
  HostProgram host;
  stubs::failThreadStep(GetParam());

  const int result = host.run();
  stubs::failThreadStep(ThreadStep::kNone);

  EXPECT_EQ(result, 4);
  expectNotStarted(host);
  EXPECT_EQ(stubs::threadAttributesAlive(), 0);
}

INSTANTIATE_TEST_SUITE_P(Steps, ThreadCreationTest,
                         testing::Values(ThreadStep::kAttributes, ThreadStep::kDetachedState,
                                         ThreadStep::kCreation));

TEST_F(RunInterfaceTest, ThreadAttributesAreReleasedAfterAStart) {
  HostProgram host;
  platform().answers.wait = [](int, zelgui::UIProperties&) { return 0; };

  ASSERT_EQ(host.run(), 0);
  host.awaitEnd();

  EXPECT_EQ(stubs::threadAttributesAlive(), 0);
}

// A regular file stands where the configuration root should be.
class UnusableConfigRootTest : public testing::Test {
 protected:
  UnusableConfigRootTest() {
    platform().reset();
    terminal.writeFile(kConfigRootPath, "a file");
  }

  TestTerminal terminal;
};

TEST_F(UnusableConfigRootTest, GivesFiveAndSaysSoOnStandardError) {
  HostProgram host;
  testing::internal::CaptureStderr();

  const int result = host.run();
  const std::string output = testing::internal::GetCapturedStderr();

  EXPECT_EQ(result, 5);
  EXPECT_EQ(output, "/mnt/flash/etc/config/wzapp is not a directory\n");
  EXPECT_FALSE(host.app);
}

TEST_F(UnusableConfigRootTest, ComesBeforeMissingArguments) {
  HostProgram host;
  testing::internal::CaptureStderr();

  const int result = wzAppRun(host.app, 0, 0, nullptr, nullptr, {}, nullptr, nullptr);
  testing::internal::GetCapturedStderr();

  EXPECT_EQ(result, 5);
}

TEST_F(RunInterfaceTest, ConfigRootOfAnOlderLayoutIsMovedBeforeTheManifestIsRead) {
  TestTerminal fresh;
  fresh.writeFile("/home/sys13/flash/www/wz/shop/manifest.json", manifestOf("shop"));
  platform().answers.wait = [](int, zelgui::UIProperties&) { return 0; };
  HostProgram host;

  const int started = host.run();

  ASSERT_EQ(started, 0);
  host.awaitEnd();
  EXPECT_TRUE(fresh.exists(kShopManifest));
}

TEST_F(RunInterfaceTest, FileSystemRootIsCreated) {
  HostProgram host;
  platform().answers.wait = [](int, zelgui::UIProperties&) { return 0; };

  ASSERT_EQ(host.run(), 0);
  host.awaitEnd();

  struct stat status;
  ASSERT_EQ(stat("/mnt/flash/etc/config/wzapp/fsroot/shop", &status), 0);
  EXPECT_TRUE(S_ISDIR(status.st_mode));
}

TEST_F(RunInterfaceTest, FileSystemRootThatCannotBeCreatedIsDoneWithout) {
  HostProgram host;
  terminal.writeFile("/mnt/flash/etc/config/wzapp/fsroot", "a file");
  platform().answers.wait = [](int, zelgui::UIProperties&) { return 9; };

  ASSERT_EQ(host.run(), 0);
  host.awaitEnd();

  EXPECT_EQ(host.result(), 9);
}

class OutsideIdTest : public RunInterfaceTest, public testing::WithParamInterface<const char*> {};

TEST_P(OutsideIdTest, StartsNothing) {
  HostProgram host;
  terminal.writeFile("/mnt/flash/manifest.json", manifestOf(GetParam()));

  EXPECT_EQ(host.run("/mnt/flash/manifest.json"), 2);

  EXPECT_FALSE(terminal.exists("/mnt/flash/outside"));
  EXPECT_FALSE(terminal.exists("/mnt/flash/etc/config/wzapp/outside"));
  EXPECT_FALSE(terminal.exists("/mnt/flash/etc/config/wzapp/fsroot"));
}

INSTANTIATE_TEST_SUITE_P(Ids, OutsideIdTest,
                         testing::Values("/mnt/flash/outside", "../outside", "../../../../outside",
                                         "/mnt/flash/etc/config/wzapp/fsroot/../outside", "/", ".",
                                         "..", "a/b", "C:"));

TEST_F(RunInterfaceTest, ObsoleteFunctionSaysSoEveryTime) {
  testing::internal::CaptureStderr();

  wzapp::wzSetAppFSRoot("/mnt/flash/somewhere");
  wzapp::wzSetAppFSRoot("");
  const std::string output = testing::internal::GetCapturedStderr();

  EXPECT_EQ(output,
            "wzSetAppFSRoot is no longer supported\nwzSetAppFSRoot is no longer supported\n");
}

TEST_F(RunInterfaceTest, TwoFirstStartsAtOnceBothSucceed) {
  TestTerminal fresh;
  fresh.writeFile("/mnt/flash/manifest.json", manifestOf("shop"));
  platform().answers.wait = [](int, zelgui::UIProperties&) { return 0; };
  HostProgram hosts[2];
  int started[2] = {-1, -1};

  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&, i] { started[i] = hosts[i].run("/mnt/flash/manifest.json"); });
  }
  for (std::thread& thread : threads) thread.join();
  for (HostProgram& host : hosts) host.awaitEnd();

  EXPECT_THAT(started, ElementsAre(0, 0));
}

}  // namespace
}  // namespace wzapp_test
