// Messaging between processes, on a bus daemon of the test's own.

#include <sys/wait.h>
#include <systemd/sd-bus.h>

#include <chrono>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/builders/child_process.h"
#include "tests/platform/zelipc/inbox.h"
#include "tests/platform/zelipc/test_bus.h"
#include "workstation/zelipc/bus_names.h"
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
using zelipc_test::Line;
using zelipc_test::Peer;
using zelipc_test::Received;
using zelipc_test::TestBus;

// Serves until the test lets it go.
void serve(const Line& line, const std::string& address, const std::string& name) {
  const Echo echo(address, name);
  line.give();
  line.await();
}

// A connection that speaks to the bus without this library.
class Stranger {
 public:
  explicit Stranger(const TestBus& bus) {
    sd_bus_new(&bus_);
    sd_bus_set_address(bus_, workstation::busAddress(bus.socketPath()).c_str());
    sd_bus_set_bus_client(bus_, 1);
    EXPECT_GE(sd_bus_start(bus_), 0);
  }
  Stranger(const Stranger&) = delete;
  Stranger& operator=(const Stranger&) = delete;
  ~Stranger() { sd_bus_close_unref(bus_); }

  void flush() { EXPECT_GE(sd_bus_flush(bus_), 0); }

  void match(const std::string& rule) {
    EXPECT_GE(sd_bus_add_filter(bus_, nullptr, &Stranger::count, this), 0);
    callBus("AddMatch", "s", rule.c_str());
  }
  void own(const std::string& name) { EXPECT_GE(sd_bus_request_name(bus_, name.c_str(), 0), 0); }

  /// How many notifications the bus has brought here so far.
  int received() {
    callBus("GetId", "");
    while (sd_bus_process(bus_, nullptr) > 0) {
    }
    return received_;
  }

  template <class... Arguments>
  void send(const char* types, const Arguments&... arguments) {
    EXPECT_GE(sd_bus_emit_signal(bus_, workstation::kBusPath, workstation::kBusInterface,
                                 workstation::kBusMember, types, arguments...),
              0);
  }

 private:
  // With this answer everything that the bus sent before it is here.
  template <class... Arguments>
  void callBus(const char* method, const char* types, Arguments... arguments) {
    EXPECT_GE(
        sd_bus_call_method(bus_, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                           "org.freedesktop.DBus", method, nullptr, nullptr, types, arguments...),
        0);
  }

  static int count(sd_bus_message* message, void* self, sd_bus_error*) {
    if (sd_bus_message_is_signal(message, workstation::kBusInterface, workstation::kBusMember) > 0)
      ++static_cast<Stranger*>(self)->received_;
    return 0;
  }

  sd_bus* bus_ = nullptr;
  int received_ = 0;
};

class IpcBusTest : public ::testing::Test {
 protected:
  IpcBusTest() { bus_.start(); }

  TestBus bus_;
};

TEST_F(IpcBusTest, AnotherProcessAnswers) {
  const Peer shop([](const Line& line) { serve(line, "shop", "ask"); });
  shop.await();

  runInChild([] {
    Call call("shop", "ask", "app");
    JSObject payload;
    payload["text"] = "caf\xC3\xA9";
    payload["list"].append(1.0);

    EXPECT_EQ(call.run(payload), Call::Outcome::kReply);

    EXPECT_EQ(call.reply(), payload.dump());
  });
}

TEST_F(IpcBusTest, TheBusStandsWhenARegistrationHasReturned) {
  // The peer's sign comes by another way than its registration, and must not overtake it.
  for (int i = 0; i < 20; ++i) {
    const Peer shop([](const Line& line) { serve(line, "shop", "ask"); });
    shop.await();

    runInChild(
        [] { EXPECT_EQ(Call("shop", "ask", "app").run(JSObject()), Call::Outcome::kReply); });
  }
}

TEST_F(IpcBusTest, NamesAndFlagsArriveAsTheyWereSent) {
  const std::string odd("a\0\xFF'\"\n", 6);
  const std::string longName(300, 'x');
  const Peer sender([&](const Line& line) {
    line.await();
    ipcNotify(odd, longName, JSObject(odd), 0xFFFFFFFF, "");
    ipcNotify(longName, odd, JSObject(2), 0, odd);
    ipcNotify("", "", JSObject(3), 1, longName);
    line.await();
  });

  runInChild([&] {
    Inbox inbox;
    inbox.listen(odd, longName);
    inbox.listen(longName, odd);
    inbox.listen(std::string(300, 'y'), odd);
    inbox.listen("", "");
    sender.give();

    EXPECT_THAT(
        inbox.await(3),
        ElementsAre(Received{"", odd, longName, JSObject(odd).dump(), 0xFFFFFFFF},
                    Received{odd, longName, odd, "2", 0}, Received{longName, "", "", "3", 1}));
  });
}

TEST_F(IpcBusTest, NotificationsOfOneSenderArriveInOrder) {
  static constexpr int kCount = 2000;
  const Peer sender([](const Line& line) {
    line.await();
    for (int i = 0; i < kCount; ++i) ipcNotify("a", "n", JSObject(i), 0, "");
    line.await();
  });

  runInChild([&] {
    Inbox inbox;
    inbox.listen("a", "n");
    sender.give();

    const auto received = inbox.await(kCount);
    ASSERT_THAT(received, SizeIs(kCount));
    for (std::size_t i = 0; i < kCount; ++i) ASSERT_EQ(received[i].payload, std::to_string(i));
  });
}

TEST_F(IpcBusTest, WhatWasSentLastArrivesThoughTheSenderEndsAtOnce) {
  const std::string large(1'000'000, 'x');
  Peer sender([&](const Line& line) {
    line.await();
    for (int i = 0; i < 10; ++i) ipcNotify("a", "n", JSObject(large), 0, "");
  });

  runInChild([&] {
    Inbox inbox;
    inbox.listen("a", "n");
    sender.give();

    EXPECT_THAT(inbox.await(10), SizeIs(10));
  });
}

TEST_F(IpcBusTest, WhatNobodyIsThereForComesBack) {
  runInChild([] {
    Inbox inbox;
    inbox.listenForErrors();

    EXPECT_EQ(ipcNotify("nobody", "n", JSObject("text"), 3, "me"), 0);

    EXPECT_THAT(inbox.await(1), ElementsAre(Received{"me", "nobody", "n", "\"text\"", 3}));
  });
}

// A registrant takes its match and its name one after the other. Whoever was told that nobody is
// there while it had the one and not yet the other must not have reached it: it would answer to
// nobody.
TEST_F(IpcBusTest, WhatComesBackHasReachedNobody) {
  runInChild([this] {
    Stranger shop(bus_);
    shop.match(workstation::busMatch("shop", "ask"));

    EXPECT_EQ(Call("shop", "ask", "app").run(JSObject()), Call::Outcome::kUnreached);
    EXPECT_EQ(shop.received(), 0);

    shop.own(workstation::busName("shop"));
    Inbox errors;
    errors.listenForErrors();
    ipcNotify("shop", "ask", JSObject(), 0, "app");
    EXPECT_EQ(Call("nobody", "ask", "app").run(JSObject()), Call::Outcome::kUnreached);
    EXPECT_EQ(shop.received(), 1);
    EXPECT_THAT(errors.all(), SizeIs(1));  // of the call to nobody
  });
}

TEST_F(IpcBusTest, WhatComesBackLateIsNotForThoseWhoListenSince) {
  runInChild([this] {
    Inbox before, since;
    before.listenForErrors();
    bus_.pause();
    ipcNotify("nobody", "n", JSObject(1), 0, "me");

    since.listenForErrors();
    bus_.resume();
    ASSERT_THAT(before.await(1), SizeIs(1));
    ipcNotify("nobody", "n", JSObject(2), 0, "me");

    EXPECT_THAT(since.await(1), ElementsAre(Received{"me", "nobody", "n", "2", 0}));
  });
}

TEST_F(IpcBusTest, AnAddressIsGoneWithItsLastRegistrationOrItsProcess) {
  const Peer leaving([](const Line& line) {
    {
      const Echo stays("shop", "ask");
      { const Echo goes("shop", "other"); }
      line.give();
      line.await();
    }
    // A call of its own comes behind the release on the same connection.
    EXPECT_EQ(Call("nobody", "n", "peer").run(JSObject()), Call::Outcome::kUnreached);
    line.give();
    line.await();
  });
  Peer crashing([](const Line& line) { serve(line, "till", "ask"); });
  leaving.await();
  crashing.await();

  runInChild([&] {
    const auto call = [](const char* to) {
      return Call(to, "ask", "app").run(JSObject(), std::chrono::milliseconds(200));
    };

    EXPECT_EQ(call("shop"), Call::Outcome::kReply);
    leaving.give();
    leaving.await();
    EXPECT_EQ(call("shop"), Call::Outcome::kUnreached);

    EXPECT_EQ(call("till"), Call::Outcome::kReply);
    kill(crashing.process(), SIGKILL);
    while (call("till") != Call::Outcome::kUnreached) {
    }
  });
  crashing.crash();
}

// Or the addresses of a host that has died would go on belonging to what it had forked.
TEST_F(IpcBusTest, AForkedProcessKeepsNothingOfItsParentsPlace) {
  pid_t forked = -1;
  int ids[2];
  ASSERT_EQ(pipe2(ids, O_CLOEXEC), 0);
  Peer parent([&](const Line& line) {
    const Echo echo("till", "ask");
    const pid_t child = fork();
    if (child == 0) {
      for (;;) pause();
    }
    EXPECT_EQ(write(ids[1], &child, sizeof(child)), static_cast<ssize_t>(sizeof(child)));
    line.give();
    line.await();
  });
  ASSERT_TRUE(parent.await());
  ASSERT_EQ(read(ids[0], &forked, sizeof(forked)), static_cast<ssize_t>(sizeof(forked)));
  runInChild([&] {
    const auto outcomeOfCall = [] {
      return Call("till", "ask", "app").run(JSObject(), std::chrono::milliseconds(200));
    };
    ASSERT_EQ(outcomeOfCall(), Call::Outcome::kReply);
    kill(parent.process(), SIGKILL);

    const auto deadline = std::chrono::steady_clock::now() + zelipc_test::kPatience;
    Call::Outcome outcome = Call::Outcome::kReply;
    while (outcome != Call::Outcome::kUnreached && std::chrono::steady_clock::now() < deadline) {
      outcome = outcomeOfCall();
    }

    EXPECT_EQ(outcome, Call::Outcome::kUnreached);
  });
  parent.crash();
  kill(forked, SIGKILL);
  close(ids[0]);
  close(ids[1]);
}

TEST_F(IpcBusTest, EveryProcessWithTheAddressReceives) {
  const auto listen = [](const Line& line) {
    Inbox inbox;
    inbox.listen("all", "n");
    line.give();
    EXPECT_THAT(inbox.await(1), ElementsAre(Received{"app", "all", "n", "1", 0}));
    line.give();
    line.await();
  };
  const Peer first(listen);
  const Peer second(listen);
  first.await();
  second.await();

  runInChild([&] {
    Inbox own, errors;
    own.listen("all", "n");
    errors.listenForErrors();

    ipcNotify("all", "n", JSObject(1), 0, "app");
    first.await();
    second.await();
    // What comes back over the bus would have come before the answer to this.
    EXPECT_EQ(Call("nobody", "n", "app").run(JSObject()), Call::Outcome::kUnreached);

    EXPECT_THAT(own.all(), ElementsAre(Received{"app", "all", "n", "1", 0}));
    EXPECT_THAT(errors.all(), SizeIs(1));
  });
}

TEST_F(IpcBusTest, TheNextInTheQueueTakesTheAddressOver) {
  const auto listen = [](const Line& line) { serve(line, "shop", "ask"); };
  Peer first(listen);
  first.await();
  const Peer second(listen);
  second.await();
  EXPECT_EQ(first.end(), 0);

  runInChild([] { EXPECT_EQ(Call("shop", "ask", "app").run(JSObject()), Call::Outcome::kReply); });
}

TEST_F(IpcBusTest, WhatIsTooLargeIsRefusedAndHurtsNothing) {
  const Peer shop([](const Line& line) { serve(line, "shop", "ask"); });
  shop.await();

  runInChild([] {
    const std::string fits(workstation::kBusMessageLimit - 8192, 'x');
    const std::string tooLarge(workstation::kBusMessageLimit, 'x');
    Inbox errors;
    errors.listenForErrors();

    EXPECT_NE(ipcNotify("nobody", "ask", JSObject(tooLarge), 0, "app"), 0);
    EXPECT_NE(ipcNotify(tooLarge, "ask", JSObject(), 0, "app"), 0);
    EXPECT_EQ(ipcNotify("nobody", "ask", JSObject(fits), 0, "app"), 0);

    ASSERT_THAT(errors.await(1), SizeIs(1));
    EXPECT_EQ(errors.all()[0].payload.size(), fits.size() + 2);
    EXPECT_EQ(Call("shop", "ask", "app").run(JSObject()), Call::Outcome::kReply);
  });
}

TEST_F(IpcBusTest, ALargePayloadArrivesWhole) {
  const Peer shop([](const Line& line) { serve(line, "shop", "ask"); });
  shop.await();

  runInChild([] {
    const JSObject large(std::string(4'000'000, 'x'));
    Call call("shop", "ask", "app");

    EXPECT_EQ(call.run(large), Call::Outcome::kReply);

    EXPECT_TRUE(call.reply() == large.dump());
  });
}

TEST_F(IpcBusTest, MoreRegistrationsThanABusUsuallyAllows) {
  static constexpr int kCount = 600;
  const Peer many([](const Line& line) {
    Inbox inbox;
    for (int i = 0; i < kCount; ++i) {
      EXPECT_EQ(inbox.listen("address" + std::to_string(i), "n"), 0);
    }
    line.give();
    EXPECT_THAT(inbox.await(kCount), SizeIs(kCount));
    line.give();
    line.await();
  });
  many.await();

  runInChild([&] {
    for (int i = 0; i < kCount; ++i) {
      ipcNotify("address" + std::to_string(i), "n", JSObject(), 0, "");
    }
    EXPECT_TRUE(many.await());
  });
}

TEST_F(IpcBusTest, AReceiverThatDoesNotReadHoldsNobodyUp) {
  const Peer stuck([](const Line& line) { serve(line, "stuck", "ask"); });
  const Peer shop([](const Line& line) { serve(line, "shop", "ask"); });
  stuck.await();
  shop.await();

  runInChild([&] {
    const JSObject large(std::string(100'000, 'x'));
    kill(stuck.process(), SIGSTOP);

    for (int i = 0; i < 100; ++i) EXPECT_EQ(ipcNotify("stuck", "ask", large, 0, ""), 0);

    EXPECT_EQ(Call("shop", "ask", "app").run(JSObject()), Call::Outcome::kReply);
    kill(stuck.process(), SIGCONT);
  });
}

// ---- What others may put on the bus
// --------------------------------------------------------------

TEST_F(IpcBusTest, WhatIsNoNotificationIsPassedOver) {
  const std::string address = workstation::busKey("a");
  const std::string name = workstation::busKey("n");

  runInChild([&] {
    Inbox inbox;
    inbox.listen("a", "n");
    Stranger stranger(bus_);
    const char* const to = address.c_str();
    const char* const what = name.c_str();

    stranger.send("ss", to, what);
    stranger.send("ssu", to, what, 1U);
    stranger.send("sss", to, what, "a");
    stranger.send("ssayayayay", to, what, 0, 1, 'a', 1, 'n', 1, '1');
    stranger.send("ssayayayayu", to, what, 0, 1, 'a', 1, 'n', 0, 0U);       // no payload
    stranger.send("ssayayayayu", to, what, 0, 1, 'b', 1, 'n', 1, '1', 0U);  // keys of another
    stranger.send("ssayayayayu", to, what, 0, 1, 'a', 1, 'n', 1, '{', 1U);  // no JSON
    stranger.send("ssayayayayu", to, what, 1, 's', 1, 'a', 1, 'n', 1, '2', 2U);
    stranger.flush();

    EXPECT_THAT(inbox.await(2),
                ElementsAre(Received{"", "a", "n", "{}", 1}, Received{"s", "a", "n", "2", 2}));
  });
}

// ---- A bus that comes and goes
// -------------------------------------------------------------------

class IpcBusLossTest : public ::testing::Test {
 protected:
  // Calls until the outcome is the one that must come in the end.
  static bool comesTo(Call::Outcome expected, const char* to) {
    const auto deadline = std::chrono::steady_clock::now() + zelipc_test::kPatience;
    while (std::chrono::steady_clock::now() < deadline) {
      if (Call(to, "ask", "app").run(JSObject(), std::chrono::seconds(1)) == expected) return true;
    }
    return false;
  }

  TestBus bus_;
};

TEST_F(IpcBusLossTest, WithoutABusMessagingWorksInsideTheProcess) {
  runInChild([] {
    const Echo echo("here", "ask");

    EXPECT_EQ(Call("here", "ask", "app").run(JSObject()), Call::Outcome::kReply);
    EXPECT_EQ(Call("nobody", "ask", "app").run(JSObject()), Call::Outcome::kUnreached);
  });
}

TEST_F(IpcBusLossTest, ABusThatComesLaterIsFoundWithWhatIsRegistered) {
  const Peer shop([](const Line& line) { serve(line, "shop", "ask"); });
  shop.await();
  bus_.start();

  runInChild([] { EXPECT_TRUE(comesTo(Call::Outcome::kReply, "shop")); });
}

TEST_F(IpcBusLossTest, AKilledBusLeavesTheProcessAloneAndANewOneJoinsThemAgain) {
  bus_.start();
  const Peer shop([](const Line& line) { serve(line, "shop", "ask"); });
  shop.await();
  const Peer application([](const Line& line) {
    const Echo echo("here", "ask");
    EXPECT_EQ(Call("shop", "ask", "app").run(JSObject()), Call::Outcome::kReply);
    line.give();
    line.await();
    EXPECT_EQ(Call("here", "ask", "app").run(JSObject()), Call::Outcome::kReply);
    EXPECT_EQ(Call("shop", "ask", "app").run(JSObject()), Call::Outcome::kUnreached);
    line.give();
    line.await();
    EXPECT_TRUE(comesTo(Call::Outcome::kReply, "shop"));
    line.give();
    line.await();
  });

  application.await();
  bus_.stop();
  application.give();
  application.await();
  bus_.start();
  application.give();

  EXPECT_TRUE(application.await());
}

TEST_F(IpcBusLossTest, WhatWasUnansweredWhenTheBusDiedComesBack) {
  bus_.start();
  const Peer application([this](const Line& line) {
    Inbox errors;
    errors.listenForErrors();
    bus_.pause();

    EXPECT_EQ(ipcNotify("nobody", "n", JSObject("text"), 1, "app"), 0);
    line.give();

    EXPECT_THAT(errors.await(1), ElementsAre(Received{"app", "nobody", "n", "\"text\"", 1}));
    line.give();
    line.await();
  });

  application.await();
  bus_.stop();

  EXPECT_TRUE(application.await());
}

TEST_F(IpcBusLossTest, ABusThatDoesNotAnswerHoldsNoSenderUp) {
  bus_.start();

  runInChild([this] {
    Inbox errors;
    errors.listenForErrors();
    bus_.pause();
    const JSObject large(std::string(100'000, 'x'));

    for (int i = 0; i < 100; ++i) EXPECT_EQ(ipcNotify("nobody", "n", large, 0, "app"), 0);
    EXPECT_THAT(errors.all(), IsEmpty());
    bus_.resume();

    EXPECT_THAT(errors.await(100), SizeIs(100));
  });
}

}  // namespace
