// What happens without memory, threads or descriptors. Linked with the library's objects, so that
// the linker's --wrap and a replaced operator new reach them.

#include <sys/eventfd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <systemd/sd-bus.h>

#include "tests/builders/child_process.h"
#include "tests/platform/zelipc/failing_allocation.h"
#include "tests/platform/zelipc/inbox.h"
#include "tests/platform/zelipc/test_bus.h"
#include "zelipc/zelipc.h"

namespace {

int failingThreads = 0;      // of the next attempts
int failingDescriptors = 0;  //
int failingBuses = 0;        //

}  // namespace

extern "C" {

int __real_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                          void* argument) {
  return failingThreads-- > 0 ? EAGAIN : __real_pthread_create(thread, attributes, body, argument);
}

int __real_eventfd(unsigned, int);
int __wrap_eventfd(unsigned value, int flags) {
  if (failingDescriptors-- <= 0) return __real_eventfd(value, flags);
  errno = EMFILE;
  return -1;
}

int __real_sd_bus_new(sd_bus**);
int __wrap_sd_bus_new(sd_bus** bus) {
  return failingBuses-- > 0 ? -ENOMEM : __real_sd_bus_new(bus);
}

}  // extern "C"

namespace {

using ::testing::SizeIs;
using wzapp_test::runInChild;
using zelipc::ipcNotify;
using zelipc::JSObject;
using zelipc_test::allocationsLeft;
using zelipc_test::Call;
using zelipc_test::Echo;
using zelipc_test::failEachAllocation;
using zelipc_test::Inbox;
using zelipc_test::kNever;
using zelipc_test::TestBus;

TEST(IpcFaultTest, WithoutAThreadNothingStartsUntilThereIsOne) {
  runInChild([] {
    Inbox inbox;
    failingThreads = 3;

    EXPECT_NE(inbox.listen("a", "n"), 0);
    EXPECT_NE(ipcNotify("a", "n", JSObject(), 0, ""), 0);
    EXPECT_NE(inbox.listenForErrors(), 0);
    EXPECT_EQ(inbox.listen("a", "n"), 0);
    EXPECT_EQ(ipcNotify("a", "n", JSObject(), 0, ""), 0);

    EXPECT_THAT(inbox.await(1), SizeIs(1));
  });
}

TEST(IpcFaultTest, WithoutADescriptorNothingStartsUntilThereIsOne) {
  runInChild([] {
    Inbox inbox;
    failingDescriptors = 1;

    EXPECT_NE(inbox.listen("a", "n"), 0);
    EXPECT_EQ(inbox.listen("a", "n"), 0);
  });
}

TEST(IpcFaultTest, ABusThatCannotBeReachedIsLookedForAgain) {
  TestBus bus;
  bus.start();
  const zelipc_test::Peer shop([](const zelipc_test::Line& line) {
    failingBuses = 2;
    const Echo echo("shop", "ask");
    line.give();
    line.await();
  });
  shop.await();

  runInChild([] {
    Call::Outcome outcome = Call::Outcome::kUnreached;
    while (outcome == Call::Outcome::kUnreached) {
      outcome = Call("shop", "ask", "app").run(JSObject());
    }
    EXPECT_EQ(outcome, Call::Outcome::kReply);
  });
}

TEST(IpcFaultTest, SendingWithoutMemoryIsReported) {
  runInChild([] {
    Inbox inbox;
    inbox.listen("a", "n");
    const JSObject payload("a payload too long to stand in a string itself");

    failEachAllocation([&] { return ipcNotify("a", "n", payload, 0, "") == 0; });

    EXPECT_THAT(inbox.await(1), SizeIs(1));
  });
}

TEST(IpcFaultTest, RegisteringWithoutMemoryLeavesNoRegistration) {
  runInChild([] {
    Inbox other, inbox, errors;
    const std::string address = "an address too long to stand in a string itself";
    const std::string name = "a name too long to stand in a string itself";
    other.listen("a", "n");
    errors.listenForErrors();

    failEachAllocation([&] {
      const bool registered =
          zelipc::ipcRegisterNotificationCB(name, &Inbox::receive, &inbox, 0, address) == 0;
      const int left = allocationsLeft;
      allocationsLeft = kNever;
      const bool unregistered =
          zelipc::ipcUnregisterNotificationCB(name, &Inbox::receive, &inbox, address) == 0;
      allocationsLeft = left;
      EXPECT_EQ(registered, unregistered);
      return registered;
    });
    ipcNotify(address, name, JSObject(), 0, "");

    EXPECT_THAT(errors.await(1), SizeIs(1));
  });
}

TEST(JSObjectFaultTest, ParsingWithoutMemoryThrowsAndLeavesTheValueAsItWas) {
  const std::string text =
      "{\"a member's name too long\":[1e400,{\"b\":\"a text too long for a string\\ud800\"}]}";
  JSObject object;
  object["before"] = 1;

  failEachAllocation([&] {
    try {
      EXPECT_EQ(object.parse(text.c_str()), static_cast<int>(text.size()));
      return true;
    } catch (const std::bad_alloc&) {
      EXPECT_EQ(object["before"].asInt(), 1);
      return false;
    }
  });

  EXPECT_EQ(object["a member's name too long"].size(), 2U);
}

TEST(JSObjectFaultTest, ChangesWithoutMemoryLeaveTheValueAsItWas) {
  JSObject object;
  object["list"].append("the first element is a text too long for a string");
  for (int i = 0; i < 15; ++i) object[std::to_string(i)] = i;
  const std::string before = object.dump();
  const JSObject copy = object;

  failEachAllocation([&] {
    try {
      object["list"] = copy;
      object["list"] = copy["list"];
      return true;
    } catch (const std::bad_alloc&) {
      return false;
    }
  });
  failEachAllocation([&] {
    try {
      object["the sixteenth member"] = copy;  // makes the index
      return true;
    } catch (const std::bad_alloc&) {
      EXPECT_EQ(object["list"].size() != 0, true);
      return false;
    }
  });

  EXPECT_EQ(object.size(), 17U);
  EXPECT_EQ(object["the sixteenth member"].dump(), before);
  EXPECT_EQ(object["14"].asInt(), 14);
}

TEST(JSObjectFaultTest, DumpingWithoutMemoryThrows) {
  JSObject object;
  object["text"] = std::string(1000, '\xFF');
  object["number"] = 0.1;

  failEachAllocation([&] {
    try {
      return object.dump().size() > 1000;
    } catch (const std::bad_alloc&) {
      return false;
    }
  });
}

}  // namespace
