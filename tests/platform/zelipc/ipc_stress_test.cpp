// Many threads at once: registering, sending, replying and unregistering, in one process and across
// two on a bus, with the bus dying in between.

#include <atomic>
#include <chrono>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/builders/child_process.h"
#include "tests/platform/zelipc/inbox.h"
#include "tests/platform/zelipc/test_bus.h"
#include "zelipc/zelipc.h"

namespace {

using wzapp_test::runInChild;
using zelipc::ipcNotify;
using zelipc::JSObject;
using zelipc_test::Call;
using zelipc_test::Echo;
using zelipc_test::Inbox;
using zelipc_test::Line;
using zelipc_test::Peer;
using zelipc_test::TestBus;

constexpr int kThreads = 8;

template <class Body>
void inThreads(const Body& body) {
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) threads.emplace_back([&body, i] { body(i); });
  for (std::thread& thread : threads) thread.join();
}

// Each thread calls one address in turn with all others; every reply must be its own.
void callAround(int thread, int calls) {
  const std::string from = "app" + std::to_string(thread);
  for (int i = 0; i < calls; ++i) {
    const std::string text = from + " call " + std::to_string(i);
    Call call("shop" + std::to_string(i % 3), "ask", from);
    ASSERT_EQ(call.run(JSObject(text)), Call::Outcome::kReply);
    ASSERT_EQ(call.reply(), JSObject(text).dump());
    if (i % 8 == 0) {
      ASSERT_EQ(Call("nobody", "ask", from).run(JSObject()), Call::Outcome::kUnreached);
    }
  }
}

// Lives on the stack of a thread that unregisters it, as a waiter does: a callback too late writes
// into memory that is used for something else by then.
class ShortLived {
 public:
  void use(int thread) {
    const std::string address = "short" + std::to_string(thread % 2);
    ASSERT_EQ(zelipc::ipcRegisterNotificationCB("n", &ShortLived::count, this, 0, address), 0);
    ASSERT_EQ(zelipc::ipcRegisterUnicastError(&ShortLived::count, this), 0);
    for (int i = 0; i < 4; ++i) ipcNotify("short" + std::to_string(i % 2), "n", JSObject(i), 0, "");
    ASSERT_EQ(zelipc::ipcUnregisterUnicastError(&ShortLived::count, this), 0);
    ASSERT_EQ(zelipc::ipcUnregisterNotificationCB("n", &ShortLived::count, this, address), 0);
    over_ = true;
  }

 private:
  static void count(void* self, const std::string&, const std::string&, const std::string&,
                    const JSObject&, unsigned) {
    auto& shortLived = *static_cast<ShortLived*>(self);
    EXPECT_FALSE(shortLived.over_);
    ++shortLived.calls_;  // no atomic: a call that does not happen before use() returns is a race
  }

  bool over_ = false;
  int calls_ = 0;
};

void serveAll(const Line& line) {
  const Echo first("shop0", "ask");
  const Echo second("shop1", "ask");
  const Echo third("shop2", "ask");
  line.give();
  line.await();
}

TEST(IpcStressTest, ThreadsOfOneProcessCallEachOther) {
  runInChild([] {
    const Echo first("shop0", "ask");
    const Echo second("shop1", "ask");
    const Echo third("shop2", "ask");

    inThreads([](int thread) { callAround(thread, 200); });
  });
}

TEST(IpcStressTest, RegistrationsThatComeAndGo) {
  runInChild([] {
    inThreads([](int thread) {
      for (int i = 0; i < 200; ++i) ShortLived().use(thread);
    });
  });
}

TEST(IpcStressTest, ThreadsOfTwoProcessesCallEachOther) {
  TestBus bus;
  bus.start();
  const Peer shops(serveAll);
  shops.await();

  runInChild([] { inThreads([](int thread) { callAround(thread, 100); }); });
}

TEST(IpcStressTest, RegistrationsThatComeAndGoInTwoProcesses) {
  TestBus bus;
  bus.start();
  const auto churn = [] {
    inThreads([](int thread) {
      for (int i = 0; i < 50; ++i) ShortLived().use(thread);
    });
  };
  const Peer other([&](const Line& line) {
    churn();
    line.give();
    line.await();
  });

  runInChild(churn);

  EXPECT_TRUE(other.await());
}

// Registers and unregisters at "shop" until the line gives a sign.
void comeAndGo(const Line& line) {
  std::atomic<bool> over{false};
  std::thread watch([&] {
    line.await();
    over = true;
  });
  while (!over) {
    const Echo echo("shop", "ask");
    // Stays for a moment: as long as it takes to hear from the bus.
    EXPECT_EQ(Call("nobody", "ask", "shop").run(JSObject()), Call::Outcome::kUnreached);
  }
  watch.join();
}

TEST(IpcStressTest, WhatComesBackWasNotAnsweredWhoeverComesAndGoes) {
  TestBus bus;
  bus.start();
  const Peer shop(comeAndGo);

  runInChild([] {
    constexpr std::size_t kEnough = 100;
    Inbox inbox;  // of answers, named "ask_reply", and of what comes back, named "ask"
    inbox.listen("app", "ask_reply");
    inbox.listenForErrors();
    std::set<std::string> answered, returned;
    const auto deadline = std::chrono::steady_clock::now() + 3 * zelipc_test::kPatience;

    for (int i = 0; answered.size() < kEnough || returned.size() < kEnough;) {
      ASSERT_LT(std::chrono::steady_clock::now(), deadline)
          << answered.size() << " answered, " << returned.size() << " returned";
      // Several in a row, so that they meet each moment of a registration.
      for (const int end = i + 10; i < end; ++i) {
        ASSERT_EQ(ipcNotify("shop", "ask", JSObject(i), 0, "app"), 0);
      }
      EXPECT_EQ(Call("nobody", "look", "app").run(JSObject()), Call::Outcome::kUnreached);
      for (const auto& received : inbox.take()) {
        if (received.name == "ask_reply") answered.insert(received.payload);
        if (received.name == "ask") returned.insert(received.payload);
      }
    }

    for (const std::string& call : returned) EXPECT_EQ(answered.count(call), 0U) << call;
  });
  shop.give();
}

TEST(IpcStressTest, TheBusDiesAndComesBackUnderLoad) {
  TestBus bus;
  bus.start();
  const Peer shops(serveAll);
  shops.await();
  const Peer application([](const Line& line) {
    std::atomic<int> replies{0};
    std::atomic<bool> over{false};
    std::thread control([&] {
      for (const int goal : {50, 100}) {
        while (replies < goal) std::this_thread::yield();
        line.give();  // the bus dies and comes back
        line.await();
        replies = 0;
      }
      over = true;
    });
    inThreads([&](int thread) {
      const std::string from = "app" + std::to_string(thread);
      while (!over) {
        Call call("shop" + std::to_string(thread % 3), "ask", from);
        if (call.run(JSObject(from), std::chrono::seconds(1)) != Call::Outcome::kReply) continue;
        EXPECT_EQ(call.reply(), JSObject(from).dump());
        ++replies;
      }
    });
    control.join();
    line.give();
    line.await();
  });

  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(application.await());
    bus.stop();
    bus.start();
    application.give();
  }

  EXPECT_TRUE(application.await());
}

}  // namespace
