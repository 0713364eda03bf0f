// Host programs that end while their application runs: nothing of theirs survives.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>

#include "tests/end_to_end/application.h"
#include "tests/end_to_end/child_program.h"
#include "tests/end_to_end/processes.h"
#include "tests/end_to_end/receiver.h"
#include "tests/end_to_end/station.h"
#include "workstation/terminal/terminal_profile.h"

namespace wzapp_test {
namespace {

// The browser profiles of a host program.
std::vector<std::string> profilesOf(pid_t host) {
  const std::string beginning = "browser-" + std::to_string(host) + "-";
  std::vector<std::string> names;
  for (const auto& entry :
       std::filesystem::directory_iterator(workstation::terminalDirectory() + "/run")) {
    const std::string name = entry.path().filename().string();
    if (name.compare(0, beginning.size(), beginning) == 0) names.push_back(name);
  }
  return names;
}

// Nobody else's: what a host publishes as it leaves comes at any time.
constexpr char kAppId[] = "lobby";

struct PageState {
  const char* name;
  const char* script;  // asks the clerk when it has come there
};

class HostEndTest : public EndToEndTest, public testing::WithParamInterface<PageState> {
 protected:
  HostEndTest() : shop_(kAppId) { shop_.script(GetParam().script); }

  // A host whose application has come to its state.
  static std::vector<std::string> arguments(const Application& application) {
    return {application.manifestPath(), "desktop"};
  }

  Receiver clerk_{"clerk", "ASK"};
  Application shop_;
};

TEST_P(HostEndTest, KilledHostTakesItsBrowserAlong) {
  ChildProgram host("end_to_end_host", arguments(shop_));
  ASSERT_TRUE(clerk_.await());
  const pid_t id = host.id();
  ASSERT_GT(browserOf(id), 0);
  WatchedProcesses processes(descendantsOf(id));

  host.signal(SIGKILL);

  EXPECT_EQ(host.awaitEnd(), -SIGKILL);
  EXPECT_TRUE(processes.awaitEnd());
  // What the dead left lying is cleared away by the next.
  ChildProgram next("end_to_end_host", arguments(shop_));
  ASSERT_TRUE(clerk_.await(2));
  EXPECT_TRUE(profilesOf(id).empty());
  EXPECT_EQ(profilesOf(next.id()).size(), 1U);
}

TEST_P(HostEndTest, HostThatLeavesTakesItsBrowserAndItsProfileAlong) {
  ChildProgram host("end_to_end_host", arguments(shop_));
  ASSERT_TRUE(clerk_.await());
  const pid_t id = host.id();
  WatchedProcesses processes(descendantsOf(id));

  host.tell("leave");

  EXPECT_EQ(host.awaitEnd(), 0);
  EXPECT_TRUE(processes.awaitEnd());
  EXPECT_TRUE(profilesOf(id).empty());
}

INSTANTIATE_TEST_SUITE_P(
    , HostEndTest,
    testing::Values(PageState{"Idle", "wz.notify('clerk', 'ASK');"},
                    PageState{"Looping", "wz.notify('clerk', 'ASK'); for (;;) {}"},
                    PageState{"Held", "wz.notifyAndWaitSync('clerk', 'ASK', {}, {timeout: -1});"}),
    [](const auto& row) { return row.param.name; });

TEST(HostEnd, StoppedBrowserDoesNotSurviveItsHost) {
  Receiver clerk("clerk", "ASK");
  Application shop(kAppId);
  shop.script("wz.notify('clerk', 'ASK');");
  ChildProgram host("end_to_end_host", {shop.manifestPath(), "desktop"});
  ASSERT_TRUE(clerk.await());
  const pid_t browser = browserOf(host.id());
  ASSERT_GT(browser, 0);
  WatchedProcesses processes(descendantsOf(host.id()));
  kill(browser, SIGSTOP);

  host.signal(SIGKILL);

  EXPECT_EQ(host.awaitEnd(), -SIGKILL);
  EXPECT_TRUE(processes.awaitEnd());
}

}  // namespace
}  // namespace wzapp_test
