// Memory that runs out: in each place where the library asks for some, once and for good.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "runtime/app_log.h"
#include "runtime/script_bridge.h"
#include "tests/builders/failing_memory.h"
#include "tests/runtime/host_program.h"
#include "tests/runtime/log_reader.h"

namespace wzapp_test {
namespace {

using stubs::platform;
using testing::AnyOf;
using testing::IsEmpty;
using wzapp::wzAppRun;

class MemoryTest : public RuntimeTest, public testing::WithParamInterface<Shortage> {
 protected:
  // Calls `step` with the first allocation failing, the second, and so on, until it ends without a
  // failure; how often that was.
  int withEachAllocationFailing(const std::function<void(int nth)>& step) {
    int nth = 0;
    do {
      ++nth;
      step(nth);
    } while (nth < 10000 && lastHasFailed);
    return nth;
  }

  bool lastHasFailed = false;
};

TEST_P(MemoryTest, StartGivesFourAndNoApplication) {
  const Properties params = {{"a long name, which is not kept in place", std::string(100, 'v')}};
  platform().answers.wait = [](int, zelgui::UIProperties&) { return 0; };

  const int allocations = withEachAllocationFailing([&](int nth) {
    HostProgram host;
    failAllocation(nth, GetParam());
    const int result =
        wzAppRun(host.app, 1, 1, kShopManifest, "desktop", params, HostProgram::onExit, &host);
    lastHasFailed = endShortage();

    if (result == 0) {
      host.awaitEnd();
      EXPECT_EQ(host.timesTold(), 1);
    } else {
      // A JSON value for which there is no memory is for its parser one that cannot be read.
      EXPECT_THAT(result, GetParam() == Shortage::kForGood ? AnyOf(4, 4) : AnyOf(4, 2))
          << "allocation " << nth;
      EXPECT_TRUE(lastHasFailed);
      EXPECT_FALSE(host.app);
      EXPECT_EQ(host.timesTold(), 0);
    }
  });

  EXPECT_GT(allocations, 20);
}

TEST_P(MemoryTest, RunTellsTheHostOnceAndEndsTheApplication) {
  const Properties params = {{"wz_parameters", R"({"wz_merchantId":"a rather long merchant id"})"},
                             {"wz_system", "a rather long system name"}};
  platform().answers.wait = [](int, zelgui::UIProperties& properties) {
    properties["a rather long name of a property"] = "a rather long value of a property";
    return -4;
  };
  platform().answers.scriptError = "a rather long text about what has gone wrong";

  const int allocations = withEachAllocationFailing([&](int nth) {
    platform().answers.localProperties = [&](bool local) {
      if (local) failAllocation(nth, GetParam());
    };
    HostProgram host;
    bool failed = false;
    host.whenTold = [&] { failed = endShortage(); };

    ASSERT_EQ(host.run(kShopManifest, "desktop", params), 0);
    host.awaitEnd();

    lastHasFailed = failed;
    EXPECT_EQ(host.timesTold(), 1);
    EXPECT_THAT(host.result(), AnyOf(-1, -4));
    EXPECT_FALSE(host.manager().running);
    // The log is closed: a line would be published otherwise.
    const std::size_t records = platform().sent("_WZLog").size();
    wzapp::onScriptLog(nullptr, "shop", js::JS_LOG_INFO, {std::string(50000, 'x')});
    EXPECT_EQ(platform().sent("_WZLog").size(), records);
  });

  EXPECT_GT(allocations, 20);
}

TEST_P(MemoryTest, NotifyIsRefused) {
  platform().answers.notify = [](const stubs::Notification&) { return 7; };

  const int allocations = withEachAllocationFailing([&](int nth) {
    failAllocation(nth, GetParam());
    const int result =
        wzapp::onScriptNotify(nullptr, "a rather long name of a receiver",
                              "a rather long name of a notification", "{\"a\":[1,2]}", 0, "shop");
    lastHasFailed = endShortage();

    // The parser keeps a single failure to itself: then the empty value is sent.
    if (result != 7 || GetParam() == Shortage::kForGood) {
      EXPECT_EQ(result, lastHasFailed ? -1 : 7);
    }
  });

  EXPECT_GT(allocations, 4);
}

TEST_P(MemoryTest, NotifyAndWaitHasNoReplyAndNoRegistrationLeft) {
  platform().answers.notify = [](const stubs::Notification&) {
    platform().deliver("a rather long name of a reply", "shop", zelipc::JSObject("a reply"));
    return 0;
  };

  const int allocations = withEachAllocationFailing([&](int nth) {
    std::string reply = "before";
    failAllocation(nth, GetParam());
    const int result = wzapp::onScriptNotifyAndWait(
        nullptr, "a rather long name of a receiver", "a rather long name of a notification",
        "{\"a\":[1,2]}", 0, "shop", "a rather long name of a reply", reply, 0);
    lastHasFailed = endShortage();

    // What runs out behind the reply's arrival, in unregistering, changes nothing any more.
    if (result == 0) {
      EXPECT_EQ(reply, "\"a reply\"");
    } else {
      EXPECT_EQ(result, -11);
      EXPECT_EQ(reply, "");
      EXPECT_TRUE(lastHasFailed);
    }
    EXPECT_THAT(platform().replyRegistrations(), IsEmpty());
    EXPECT_THAT(platform().errorRegistrations(), IsEmpty());
  });

  EXPECT_GT(allocations, 8);
}

TEST_P(MemoryTest, LineIsLostAndTheLogGoesOn) {
  const wzapp::LaunchData launch{"1", std::nullopt, std::nullopt, std::nullopt};
  wzapp::openAppLog("shop", launch);

  const int allocations = withEachAllocationFailing([&](int nth) {
    const std::vector<std::string> args = {std::string(300, 'x'), std::string(41000, 'x')};
    failAllocation(nth, GetParam());
    wzapp::onScriptLog(nullptr, "shop", js::JS_LOG_INFO, args);
    lastHasFailed = endShortage();
  });

  EXPECT_GT(allocations, 8);
  EXPECT_THAT(platform().sent("_WZLog"), Not(IsEmpty()));
  wzapp::closeAppLog("shop", launch, std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(Shortages, MemoryTest,
                         testing::Values(Shortage::kOnce, Shortage::kForGood));

}  // namespace
}  // namespace wzapp_test
