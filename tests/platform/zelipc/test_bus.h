// A bus of a test's own, and other processes on it.
#ifndef WZAPP_TESTS_PLATFORM_ZELIPC_TEST_BUS_H
#define WZAPP_TESTS_PLATFORM_ZELIPC_TEST_BUS_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

#include "workstation/zelipc/bus_config.h"

namespace zelipc_test {

/// Ends a process that this one started and waits for it.
inline int endProcess(pid_t process, int signalNumber) {
  int status = 0;
  kill(process, signalNumber);
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

/// A terminal's directory with nothing but a bus, and WZ_TERMINAL set to it.
class TestBus {
 public:
  TestBus() {
    std::string pattern = std::filesystem::temp_directory_path() / "zelipc_XXXXXX";
    terminal_ = mkdtemp(pattern.data());
    std::filesystem::create_directory(terminal_ + "/run");
    setenv("WZ_TERMINAL", terminal_.c_str(), 1);
  }
  TestBus(const TestBus&) = delete;
  TestBus& operator=(const TestBus&) = delete;
  ~TestBus() {
    stop();
    unsetenv("WZ_TERMINAL");
    std::filesystem::remove_all(terminal_);
  }

  /// Starts the daemon; on return it accepts connections.
  void start() {
    const std::string configuration = terminal_ + "/run/bus.conf";
    std::ofstream(configuration) << workstation::busConfiguration(socketPath());
    int ready[2];
    ASSERT_EQ(pipe2(ready, O_CLOEXEC), 0);
    daemon_ = fork();
    if (daemon_ == 0) runDaemon(configuration, ready[1]);
    close(ready[1]);
    char first = 0;
    const ssize_t count = read(ready[0], &first, 1);
    close(ready[0]);
    ASSERT_EQ(count, 1) << "dbus-daemon did not start";
  }

  void stop() {
    if (daemon_ <= 0) return;
    endProcess(daemon_, SIGKILL);
    daemon_ = -1;
    unlink(socketPath().c_str());
  }

  void pause() const { kill(daemon_, SIGSTOP); }
  void resume() const { kill(daemon_, SIGCONT); }

  pid_t daemon() const { return daemon_; }
  std::string socketPath() const { return terminal_ + std::string(workstation::kBusSocket); }

 private:
  [[noreturn]] static void runDaemon(const std::string& configuration, int ready) {
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, STDERR_FILENO);  // it complains when it may not raise its limit of descriptors
    fcntl(ready, F_SETFD, 0);
    const std::string file = "--config-file=" + configuration;
    const std::string address = "--print-address=" + std::to_string(ready);
    execlp("dbus-daemon", "dbus-daemon", "--nofork", "--nopidfile", "--nosyslog", file.c_str(),
           address.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }

  std::string terminal_;
  pid_t daemon_ = -1;
};

/// Another process, forked while this one has no thread, which runs `body(line)`. Both sides give
/// each other signs over the line.
class Line {
 public:
  explicit Line(int descriptor) : descriptor_(descriptor) {}

  void give() const { EXPECT_EQ(write(descriptor_, "", 1), 1); }
  /// False when the other side is gone.
  bool await() const {
    char sign = 0;
    return read(descriptor_, &sign, 1) == 1;
  }

 protected:
  int descriptor_;
};

class Peer : public Line {
 public:
  template <class Body>
  explicit Peer(const Body& body) : Line(-1) {
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    process_ = fork();
    if (process_ == 0) {
      close(ends[0]);
      body(Line(ends[1]));
      std::exit(testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
    }
    close(ends[1]);
    descriptor_ = ends[0];
  }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;
  ~Peer() {
    if (process_ > 0) {
      EXPECT_EQ(end(), 0) << "the peer failed";
    }
  }

  /// Lets it go, by the end of the line, and waits for its end.
  int end() {
    if (descriptor_ >= 0) shutdown(descriptor_, SHUT_RDWR);
    int status = 0;
    while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
    }
    close(descriptor_);
    process_ = -1;
    return status;
  }

  /// Ends it like a crash.
  void crash() {
    endProcess(process_, SIGKILL);
    close(descriptor_);
    process_ = -1;
  }

  pid_t process() const { return process_; }

 private:
  pid_t process_ = -1;
};

}  // namespace zelipc_test

#endif  // WZAPP_TESTS_PLATFORM_ZELIPC_TEST_BUS_H
