// Messaging inside one process, without a bus. Each test runs in a process of its own, as messaging
// lasts from the first call to the end of the process.

#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <future>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/builders/child_process.h"
#include "tests/platform/zelipc/inbox.h"
#include "zelipc/zelipc.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using wzapp_test::runInChild;
using zelipc::ipcNotify;
using zelipc::JSObject;
using zelipc_test::Call;
using zelipc_test::Echo;
using zelipc_test::Inbox;
using zelipc_test::kPatience;
using zelipc_test::Received;

// Occupies the dispatcher until it is let go.
class Gate {
 public:
  Gate() {
    zelipc::ipcRegisterNotificationCB("gate", &Gate::hold, this, 0, "gate");
    ipcNotify("gate", "gate", JSObject(), 0, "");
    entered_.get_future().wait();
  }
  Gate(const Gate&) = delete;
  Gate& operator=(const Gate&) = delete;
  ~Gate() {
    open();
    zelipc::ipcUnregisterNotificationCB("gate", &Gate::hold, this, "gate");
  }

  void open() {
    if (!isOpen_) released_.set_value();
    isOpen_ = true;
  }

 private:
  static void hold(void* gate, const std::string&, const std::string&, const std::string&,
                   const JSObject&, unsigned) {
    auto& self = *static_cast<Gate*>(gate);
    self.entered_.set_value();
    self.released_.get_future().wait();
  }

  std::promise<void> entered_;
  std::promise<void> released_;
  bool isOpen_ = false;
};

// A callback made of whatever a test wants to happen.
struct Action {
  std::function<void()> what;

  static void run(void* action, const std::string&, const std::string&, const std::string&,
                  const JSObject&, unsigned) {
    static_cast<Action*>(action)->what();
  }
  int listen(const std::string& address, const std::string& name) {
    return zelipc::ipcRegisterNotificationCB(name, &Action::run, this, 0, address);
  }
  int stop(const std::string& address, const std::string& name) {
    return zelipc::ipcUnregisterNotificationCB(name, &Action::run, this, address);
  }
};

// The dispatcher has done everything that was sent before.
void settle() {
  Inbox inbox;
  inbox.listen("settled", "settled");
  ipcNotify("settled", "settled", JSObject(), 0, "");
  EXPECT_THAT(inbox.await(1), SizeIs(1));
}

TEST(IpcTest, ANotificationReachesTheRegistrationsOfItsNameAndAddress) {
  runInChild([] {
    Inbox mine, other, otherName, otherAddress;
    EXPECT_EQ(mine.listen("shop", "paid"), 0);
    EXPECT_EQ(other.listen("shop", "paid"), 0);
    EXPECT_EQ(otherName.listen("shop", "refund"), 0);
    EXPECT_EQ(otherAddress.listen("till", "paid"), 0);
    JSObject payload;
    payload["amount"] = 12;

    EXPECT_EQ(ipcNotify("shop", "paid", payload, 7, "terminal"), 0);
    settle();

    const Received expected{"terminal", "shop", "paid", "{\"amount\":12}", 7};
    EXPECT_THAT(mine.all(), ElementsAre(expected));
    EXPECT_THAT(other.all(), ElementsAre(expected));
    EXPECT_THAT(otherName.all(), IsEmpty());
    EXPECT_THAT(otherAddress.all(), IsEmpty());
  });
}

TEST(IpcTest, NotificationsOfOneSenderArriveInOrder) {
  runInChild([] {
    constexpr int kCount = 1000;
    Inbox inbox;
    inbox.listen("a", "n");

    for (int i = 0; i < kCount; ++i) ipcNotify("a", "n", JSObject(i), 0, "");

    const auto received = inbox.await(kCount);
    ASSERT_THAT(received, SizeIs(kCount));
    for (std::size_t i = 0; i < kCount; ++i) ASSERT_EQ(received[i].payload, std::to_string(i));
  });
}

TEST(IpcTest, TheSenderMayHoldALockThatTheReceiverTakes) {
  runInChild([] {
    std::mutex mutex;
    std::promise<void> called;
    Action action{[&] {
      const std::lock_guard lock(mutex);
      called.set_value();
    }};
    action.listen("a", "n");

    {
      const std::lock_guard lock(mutex);
      EXPECT_EQ(ipcNotify("a", "n", JSObject(), 0, ""), 0);
    }

    EXPECT_EQ(called.get_future().wait_for(kPatience), std::future_status::ready);
    action.stop("a", "n");
  });
}

TEST(IpcTest, ThePayloadIsTheOneAtTheTimeOfSending) {
  runInChild([] {
    Inbox inbox;
    inbox.listen("a", "n");
    Gate gate;
    JSObject payload("before");

    ipcNotify("a", "n", payload, 0, "");
    payload = "after";
    gate.open();

    ASSERT_THAT(inbox.await(1), SizeIs(1));
    EXPECT_EQ(inbox.all()[0].payload, "\"before\"");
  });
}

TEST(IpcTest, NamesAndAddressesAreAnyOctets) {
  runInChild([] {
    const std::string odd("a\0\xFF'\"\n", 6);
    Inbox inbox, empty, cut;
    inbox.listen(odd, odd);
    empty.listen("", "");
    cut.listen("a", "a");

    ipcNotify(odd, odd, JSObject(1), 0, odd);
    ipcNotify("", "", JSObject(2), 0, "");
    settle();

    EXPECT_THAT(inbox.all(), ElementsAre(Received{odd, odd, odd, "1", 0}));
    EXPECT_THAT(empty.all(), ElementsAre(Received{"", "", "", "2", 0}));
    EXPECT_THAT(cut.all(), IsEmpty());
  });
}

TEST(IpcTest, WhatNobodyIsThereForComesBackToEveryErrorCallback) {
  runInChild([] {
    Inbox first, second, deaf;
    first.listenForErrors();
    second.listenForErrors();
    deaf.listen("me", "n");

    EXPECT_EQ(ipcNotify("nobody", "n", JSObject("text"), 3, "me"), 0);
    settle();

    const Received expected{"me", "nobody", "n", "\"text\"", 3};
    EXPECT_THAT(first.all(), ElementsAre(expected));
    EXPECT_THAT(second.all(), ElementsAre(expected));
    EXPECT_THAT(deaf.all(), IsEmpty());
  });
}

TEST(IpcTest, AnErrorCallbackNoLongerRegisteredHearsNothing) {
  runInChild([] {
    Inbox inbox;
    inbox.listenForErrors();

    EXPECT_EQ(zelipc::ipcUnregisterUnicastError(&Inbox::receive, &inbox), 0);
    EXPECT_NE(zelipc::ipcUnregisterUnicastError(&Inbox::receive, &inbox), 0);
    ipcNotify("nobody", "n", JSObject(), 0, "");
    settle();

    EXPECT_THAT(inbox.all(), IsEmpty());
  });
}

TEST(IpcTest, AnAddressWithAnotherNameIsThere) {
  runInChild([] {
    Inbox errors, other;
    errors.listenForErrors();
    other.listen("a", "other");

    ipcNotify("a", "n", JSObject(), 0, "");
    settle();

    EXPECT_THAT(errors.all(), IsEmpty());
    EXPECT_THAT(other.all(), IsEmpty());
  });
}

TEST(IpcTest, RegisteringTheSameAgainChangesNothing) {
  runInChild([] {
    Inbox inbox;
    EXPECT_EQ(inbox.listen("a", "n"), 0);
    EXPECT_EQ(inbox.listen("a", "n"), 0);

    ipcNotify("a", "n", JSObject(), 0, "");
    settle();
    EXPECT_EQ(inbox.stop("a", "n"), 0);
    ipcNotify("a", "n", JSObject(), 0, "");
    settle();

    EXPECT_THAT(inbox.all(), SizeIs(1));
    EXPECT_NE(inbox.stop("a", "n"), 0);
  });
}

TEST(IpcTest, OneObjectMayListenUnderSeveralNames) {
  runInChild([] {
    Inbox inbox;
    inbox.listen("a", "n");
    inbox.listen("a", "m");
    inbox.listen("b", "n");

    EXPECT_EQ(inbox.stop("a", "m"), 0);
    for (const char* const name : {"n", "m"}) {
      ipcNotify("a", name, JSObject(), 0, "");
      ipcNotify("b", name, JSObject(), 0, "");
    }
    settle();

    EXPECT_THAT(inbox.all(),
                ElementsAre(Received{"", "a", "n", "{}", 0}, Received{"", "b", "n", "{}", 0}));
  });
}

TEST(IpcTest, ACallbackMustBeGiven) {
  runInChild([] {
    EXPECT_NE(zelipc::ipcRegisterNotificationCB("n", nullptr, nullptr, 0, "a"), 0);
    EXPECT_NE(zelipc::ipcRegisterUnicastError(nullptr, nullptr), 0);
    EXPECT_NE(zelipc::ipcUnregisterNotificationCB("n", nullptr, nullptr, "a"), 0);
    EXPECT_NE(zelipc::ipcUnregisterUnicastError(nullptr, nullptr), 0);
  });
}

TEST(IpcTest, ARegistrationGetsNothingThatWasSentBeforeIt) {
  runInChild([] {
    Inbox early, late;
    early.listen("a", "n");
    {
      Gate gate;
      ipcNotify("a", "n", JSObject("sent early"), 0, "");
      late.listen("a", "n");
      ipcNotify("a", "n", JSObject("sent late"), 0, "");
    }
    settle();

    EXPECT_THAT(early.all(), SizeIs(2));
    ASSERT_THAT(late.all(), SizeIs(1));
    EXPECT_EQ(late.all()[0].payload, "\"sent late\"");
  });
}

TEST(IpcTest, WhatIsStillQueuedIsNotDeliveredAfterUnregistering) {
  runInChild([] {
    Inbox inbox;
    inbox.listen("a", "n");
    {
      Gate gate;
      for (int i = 0; i < 100; ++i) ipcNotify("a", "n", JSObject(i), 0, "");
      EXPECT_EQ(inbox.stop("a", "n"), 0);
    }
    settle();

    EXPECT_THAT(inbox.all(), IsEmpty());
  });
}

TEST(IpcTest, UnregisteringWaitsForTheRunningCallback) {
  runInChild([] {
    // Many times, since a call that does not wait is only caught when it wins the race.
    for (int i = 0; i < 100; ++i) {
      std::promise<void> entered, unregistering;
      std::atomic<bool> left{false};
      Action action{[&] {
        entered.set_value();
        unregistering.get_future().wait();
        std::this_thread::sleep_for(std::chrono::microseconds(500));  // work
        left = true;
      }};
      action.listen("a", "n");
      ipcNotify("a", "n", JSObject(), 0, "");
      entered.get_future().wait();

      unregistering.set_value();
      EXPECT_EQ(action.stop("a", "n"), 0);

      ASSERT_TRUE(left);
    }
  });
}

TEST(IpcTest, ACallbackMayUnregisterItself) {
  runInChild([] {
    int calls = 0;
    Action action;
    action.what = [&] {
      ++calls;
      EXPECT_EQ(action.stop("a", "n"), 0);
    };
    action.listen("a", "n");

    ipcNotify("a", "n", JSObject(), 0, "");
    ipcNotify("a", "n", JSObject(), 0, "");
    settle();

    EXPECT_EQ(calls, 1);
  });
}

TEST(IpcTest, ACallbackMayUnregisterTheNextOne) {
  runInChild([] {
    Inbox next;
    Action first{[&] { EXPECT_EQ(next.stop("a", "n"), 0); }};
    first.listen("a", "n");
    next.listen("a", "n");

    ipcNotify("a", "n", JSObject(), 0, "");
    settle();

    EXPECT_THAT(next.all(), IsEmpty());
    first.stop("a", "n");
  });
}

TEST(IpcTest, ACallbackMayRegisterAndSend) {
  runInChild([] {
    Inbox inbox;
    Action action{[&] {
      EXPECT_EQ(inbox.listen("b", "m"), 0);
      EXPECT_EQ(ipcNotify("b", "m", JSObject("from a callback"), 0, "a"), 0);
    }};
    action.listen("a", "n");

    ipcNotify("a", "n", JSObject(), 0, "");

    EXPECT_THAT(inbox.await(1), ElementsAre(Received{"a", "b", "m", "\"from a callback\"", 0}));
    action.stop("a", "n");
  });
}

TEST(IpcTest, AnExceptionOfACallbackHurtsNobodyElse) {
  runInChild([] {
    Action thrower{[] { throw std::runtime_error("not for the dispatcher"); }};
    Inbox inbox;
    thrower.listen("a", "n");
    inbox.listen("a", "n");

    ipcNotify("a", "n", JSObject(1), 0, "");
    ipcNotify("a", "n", JSObject(2), 0, "");

    EXPECT_THAT(inbox.await(2), SizeIs(2));
    EXPECT_EQ(thrower.stop("a", "n"), 0);
  });
}

TEST(IpcTest, ACallIsAnsweredByAnEcho) {
  runInChild([] {
    const Echo echo("shop", "ask");
    Call call("shop", "ask", "app");

    EXPECT_EQ(call.run(JSObject("hello")), Call::Outcome::kReply);
    EXPECT_EQ(call.reply(), "\"hello\"");
    EXPECT_EQ(Call("nobody", "ask", "app").run(JSObject()), Call::Outcome::kUnreached);
  });
}

// ---- The end of the process
// ----------------------------------------------------------------------

TEST(IpcEndTest, TheProcessMayEndWithRegistrationsAndAFullQueue) {
  static Inbox inbox;
  runInChild([] {
    inbox.listen("a", "n");
    for (int i = 0; i < 10'000; ++i) ipcNotify("a", "n", JSObject(i), 0, "");
  });
}

TEST(IpcEndTest, TheProcessMayEndWithinACallback) {
  const wzapp_test::ChildResult result = wzapp_test::tryInChild([] {
    static Action action{[] { std::exit(7); }};
    action.listen("a", "n");
    ipcNotify("a", "n", JSObject(), 0, "");
    std::promise<void>().get_future().wait_for(kPatience);
  });

  EXPECT_EQ(WEXITSTATUS(result.status), 7);
}

TEST(IpcEndTest, ACallbackThatNeverEndsDoesNotKeepTheProcess) {
  runInChild([] {
    static std::promise<void> entered;
    static std::promise<void> never;
    // Not destroyed: the callback stays in it.
    static Action& action = *new Action{[] {
      entered.set_value();
      never.get_future().wait();
    }};
    action.listen("a", "n");
    ipcNotify("a", "n", JSObject(), 0, "");
    entered.get_future().wait();
  });
}

// ---- Forked processes

// The exit status of a child; -1, and it is killed, when it does not end in time.
int awaitChild(pid_t child) {
  const int handle = static_cast<int>(syscall(SYS_pidfd_open, child, 0));
  pollfd end{handle, POLLIN, 0};
  const bool hasEnded =
      poll(&end, 1, static_cast<int>(kPatience / std::chrono::milliseconds(1))) == 1;
  close(handle);
  if (!hasEnded) kill(child, SIGKILL);
  int status = 0;
  waitpid(child, &status, 0);
  return hasEnded && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Keeps the dispatcher and the locks busy from a thread of its own for as long as it lives.
class Traffic {
 public:
  Traffic() {
    inbox_.listen("a", "n");
    thread_ = std::thread([this] {
      while (!over_) ipcNotify("a", "n", JSObject(), 0, "");
    });
  }
  Traffic(const Traffic&) = delete;
  Traffic& operator=(const Traffic&) = delete;
  ~Traffic() {
    over_ = true;
    thread_.join();
  }

 private:
  Inbox inbox_;
  std::atomic<bool> over_{false};
  std::thread thread_;
};

bool isForked = false;

// The first to be registered is the last to be called: here, messaging has ended. A sanitizer's
// search for leaks, after it, would find what the parent's threads have in hand.
void leaveIfForked() {
  if (isForked) _exit(testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
}

// The status of a forked process that runs `body` and ends by exit(3).
template <class Body>
int forkAndExit(const Body& body) {
  const pid_t child = fork();
  if (child == 0) {
    isForked = true;
    body();
    std::exit(EXIT_FAILURE);
  }
  return awaitChild(child);
}

// What other threads hold at the moment of the fork is never let go in the child.
TEST(IpcForkTest, AForkedProcessEndsWhateverItsParentWasDoing) {
  constexpr int kTimes = 60;
  runInChild([] {
    std::atexit(leaveIfForked);
    const Traffic traffic;
    for (int i = 0; i < kTimes; ++i) {
      ASSERT_EQ(forkAndExit([] {}), EXIT_SUCCESS) << "after " << i << " children";
    }
  });
}

#ifndef __SANITIZE_THREAD__  // does not let a process that was forked beside threads start any

TEST(IpcForkTest, AForkedProcessHasMessagingOfItsOwn) {
  runInChild([] {
    std::atexit(leaveIfForked);
    Inbox parents;
    parents.listen("a", "n");
    // A sanitizer's allocator, unlike the C library's, stays locked in the child when another
    // thread is in it, and threads that begin are. So the fork waits for the dispatcher's first
    // notification.
    ipcNotify("a", "n", JSObject(6), 0, "parent");
    ASSERT_EQ(parents.await(1).size(), 1U);
    static_cast<void>(parents.take());

    const int status = forkAndExit([] {
      Inbox own;
      EXPECT_EQ(own.listen("a", "n"), 0);
      EXPECT_EQ(ipcNotify("a", "n", JSObject(7), 0, "child"), 0);
      EXPECT_THAT(own.await(1), ElementsAre(Received{"child", "a", "n", "7", 0}));
    });
    ipcNotify("a", "n", JSObject(8), 0, "parent");

    EXPECT_EQ(status, EXIT_SUCCESS);
    EXPECT_THAT(parents.await(1), ElementsAre(Received{"parent", "a", "n", "8", 0}));
  });
}

#endif

struct UsesMessagingLast {
  ~UsesMessagingLast() {
    if (!armed) return;
    Inbox inbox;
    if (inbox.listen("a", "n") == 0 || ipcNotify("a", "n", JSObject(), 0, "") == 0) std::abort();
  }
  bool armed = false;
};
UsesMessagingLast usesMessagingLast;

TEST(IpcEndTest, MessagingThatHasEndedSaysSo) {
  runInChild([] {
    usesMessagingLast.armed = true;
    Inbox inbox;
    EXPECT_EQ(inbox.listen("a", "n"), 0);
  });
}

}  // namespace
