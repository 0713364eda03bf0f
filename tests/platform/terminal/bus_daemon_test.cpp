#include "workstation/terminal/bus_daemon.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/builders/test_terminal.h"

namespace workstation {
namespace {

using testing::HasSubstr;
using wzapp_test::TemporaryTerminal;

// The process that listens on a terminal's bus; 0 when nobody does.
pid_t busProcess(const std::string& terminal) {
  const int client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  busPath(terminal).copy(address.sun_path, sizeof(address.sun_path) - 1);
  ucred peer{};
  socklen_t size = sizeof(peer);
  if (connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
    getsockopt(client, SOL_SOCKET, SO_PEERCRED, &peer, &size);
  }
  close(client);
  return peer.pid;
}

pid_t parentOf(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("PPid:", 0) == 0) return std::stoi(line.substr(5));
  }
  return 0;
}

// Knows a process by a descriptor, so that its end can be awaited without being its parent.
class Process {
 public:
  explicit Process(pid_t id) : descriptor_(static_cast<int>(syscall(SYS_pidfd_open, id, 0))) {}
  ~Process() { close(descriptor_); }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  // True when it has ended within ten seconds.
  bool ends() const { return ended(10'000); }
  bool hasEnded() const { return ended(0); }

 private:
  bool ended(int timeoutMs) const {
    pollfd end{descriptor_, POLLIN, 0};
    return poll(&end, 1, timeoutMs) == 1;
  }

  int descriptor_;
};

TEST(BusDaemonTest, TheBusRunsForAsLongAsItIsUsedAndNoLonger) {
  const TemporaryTerminal terminal;
  auto use = std::make_unique<BusUse>();
  std::string error;

  ASSERT_TRUE(use->begin(terminal.directory(), error)) << error;
  const pid_t daemon = busProcess(terminal.directory());
  ASSERT_NE(daemon, 0);
  const Process bus(daemon), watcher(parentOf(daemon));
  use.reset();

  EXPECT_TRUE(bus.ends());
  EXPECT_TRUE(watcher.ends());
  EXPECT_NE(access(busPath(terminal.directory()).c_str(), F_OK), 0);
}

TEST(BusDaemonTest, TwoUsersShareOneBusAndTheLastOneEndsIt) {
  const TemporaryTerminal terminal;
  auto first = std::make_unique<BusUse>(), second = std::make_unique<BusUse>();
  std::string error;

  ASSERT_TRUE(first->begin(terminal.directory(), error)) << error;
  const pid_t daemon = busProcess(terminal.directory());
  const Process bus(daemon);
  ASSERT_TRUE(second->begin(terminal.directory(), error)) << error;
  first.reset();

  EXPECT_EQ(busProcess(terminal.directory()), daemon);
  EXPECT_FALSE(bus.hasEnded());
  second.reset();
  EXPECT_TRUE(bus.ends());
}

TEST(BusDaemonTest, AUserThatIsKilledCountsNoLonger) {
  const TemporaryTerminal terminal;
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t user = fork();
  if (user == 0) {
    BusUse use;
    std::string error;
    const char began = use.begin(terminal.directory(), error) ? '1' : '0';
    (void)!write(ready[1], &began, 1);
    pause();
    _exit(0);
  }
  char began = 0;
  ASSERT_EQ(read(ready[0], &began, 1), 1);
  ASSERT_EQ(began, '1');
  const Process bus(busProcess(terminal.directory()));

  kill(user, SIGKILL);
  waitpid(user, nullptr, 0);

  EXPECT_TRUE(bus.ends());
  close(ready[0]);
  close(ready[1]);
}

TEST(BusDaemonTest, TheBusEndsWithItsWatcherAndTheNextUserStartsAnother) {
  const TemporaryTerminal terminal;
  auto first = std::make_unique<BusUse>();
  std::string error;
  ASSERT_TRUE(first->begin(terminal.directory(), error)) << error;
  const pid_t daemon = busProcess(terminal.directory());
  const Process bus(daemon);

  kill(parentOf(daemon), SIGKILL);
  EXPECT_TRUE(bus.ends());
  BusUse second;

  ASSERT_TRUE(second.begin(terminal.directory(), error)) << error;
  EXPECT_NE(busProcess(terminal.directory()), 0);
  EXPECT_NE(busProcess(terminal.directory()), daemon);
}

TEST(BusDaemonTest, AKilledBusIsReplacedForTheNextUser) {
  const TemporaryTerminal terminal;
  auto first = std::make_unique<BusUse>();
  std::string error;
  ASSERT_TRUE(first->begin(terminal.directory(), error)) << error;
  const pid_t daemon = busProcess(terminal.directory());
  const Process bus(daemon), watcher(parentOf(daemon));

  kill(daemon, SIGKILL);
  EXPECT_TRUE(bus.ends());
  EXPECT_TRUE(watcher.ends());
  auto second = std::make_unique<BusUse>();
  ASSERT_TRUE(second->begin(terminal.directory(), error)) << error;
  const Process next(busProcess(terminal.directory()));
  first.reset();

  EXPECT_FALSE(next.hasEnded());
  second.reset();
  EXPECT_TRUE(next.ends());
}

TEST(BusDaemonTest, ManyThatStartAtOnceGetOneBus) {
  const TemporaryTerminal terminal;
  constexpr int kUsers = 8;
  std::vector<BusUse> uses(kUsers);
  std::vector<std::thread> threads;
  std::vector<int> began(kUsers);

  for (int i = 0; i < kUsers; ++i) {
    threads.emplace_back([&, i] {
      std::string error;
      const auto index = static_cast<std::size_t>(i);
      began[index] = uses[index].begin(terminal.directory(), error) ? 1 : 0;
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(began, std::vector<int>(kUsers, 1));
  const Process bus(busProcess(terminal.directory()));
  for (BusUse& use : uses) use.end();
  EXPECT_TRUE(bus.ends());
}

TEST(BusDaemonTest, UseBeginsAgainWhileTheBusIsEnding) {
  const TemporaryTerminal terminal;
  std::string error;

  for (int round = 0; round < 20; ++round) {
    BusUse use;
    ASSERT_TRUE(use.begin(terminal.directory(), error)) << error;
    ASSERT_NE(busProcess(terminal.directory()), 0);
  }
}

TEST(BusDaemonTest, TheRunFolderIsClosedToOthers) {
  const TemporaryTerminal terminal;
  const std::string run = terminal.directory() + "/run";
  ASSERT_EQ(chmod(run.c_str(), 0755), 0);
  BusUse use;
  std::string error;

  ASSERT_TRUE(use.begin(terminal.directory(), error)) << error;

  struct stat status {};
  ASSERT_EQ(stat(run.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0700U);
}

TEST(BusDaemonTest, APathTooLongForASocketIsRefused) {
  const std::string longest = "/" + std::string(107 - 1 - 8, 'x');  // "/run/bus" makes it 107
  std::string error;

  EXPECT_TRUE(checkBusPath(longest, error));
  EXPECT_FALSE(checkBusPath(longest + "y", error));

  EXPECT_THAT(error, HasSubstr("has 100 octets; its message bus allows at most 99"));
}

TEST(BusDaemonTest, AMissingProgramIsNamed) {
  const TemporaryTerminal terminal;
  const std::string path = std::getenv("PATH");
  BusUse use;
  std::string error;

  setenv("PATH", "/nowhere", 1);
  EXPECT_FALSE(use.begin(terminal.directory(), error));
  setenv("PATH", path.c_str(), 1);

  EXPECT_THAT(error, HasSubstr("there is no dbus-daemon in PATH; install it"));
}

TEST(BusDaemonTest, WhatTheDaemonComplainsAboutIsPassedOn) {
  const TemporaryTerminal terminal;
  ASSERT_EQ(mkdir(busPath(terminal.directory()).c_str(), 0700), 0);
  BusUse use;
  std::string error;

  EXPECT_FALSE(use.begin(terminal.directory(), error));

  EXPECT_THAT(error, HasSubstr("the message bus did not start: "));
  EXPECT_THAT(error, HasSubstr("in use"));
}

// Also right after the end of another, whose socket may still lie there.
TEST(BusDaemonTest, TheBusAcceptsConnectionsAsSoonAsItHasBegun) {
  const TemporaryTerminal terminal;
  std::string error;

  for (int round = 0; round < 5; ++round) {
    BusUse use;
    ASSERT_TRUE(use.begin(terminal.directory(), error)) << error;
    // Found by its connection.
    EXPECT_GT(busProcess(terminal.directory()), 0);
    const Process bus(busProcess(terminal.directory()));
    use.end();
    EXPECT_TRUE(bus.ends());
  }
}

}  // namespace
}  // namespace workstation
