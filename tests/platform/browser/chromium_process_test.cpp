// The watcher and what it watches, with a shell in the browser's place.

#include "workstation/browser/engine/process/chromium_process.h"

#include <gmock/gmock.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/builders/temporary_directory.h"

namespace workstation {
namespace {

using testing::HasSubstr;
using wzapp_test::TemporaryDirectory;

class ChromiumProcessTest : public testing::Test {
 protected:
  // A shell that runs `script`; descriptor 4 is where the browser would report.
  std::unique_ptr<ChromiumProcess> start(const std::string& script) {
    ChromiumCommand command;
    command.program = "/bin/sh";
    command.arguments = {"-c", script};
    command.environment = {"PATH=/usr/bin:/bin", "GREETING=hello"};
    command.errorFile = directory / "errors";
    return ChromiumProcess::start(command, error);
  }

  // What arrives until the pipe ends.
  static std::string readAll(int fd) {
    std::string text;
    char c = 0;
    pollfd ready = {fd, POLLIN, 0};
    while (::poll(&ready, 1, 10'000) > 0 && ::read(fd, &c, 1) == 1) text += c;
    return text;
  }

  const TemporaryDirectory directory;
  std::string error;
};

TEST_F(ChromiumProcessTest, ProgramHasItsPipesEnvironmentAndErrorFile) {
  const auto process = start("echo $GREETING >&4; cat <&3 >&4; echo complaint >&2");
  ASSERT_TRUE(process) << error;

  EXPECT_EQ(::write(process->commands.get(), "ping\n", 5), 5);
  process->commands.reset();

  EXPECT_EQ(readAll(process->events.get()), "hello\nping\n");
  std::ifstream errors(directory / "errors");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(errors), {}), "complaint\n");
}

TEST_F(ChromiumProcessTest, ProgramHasNoOtherDescriptors) {
  const int leaked = ::dup(STDIN_FILENO);  // without close-on-exec

  const auto process = start("ls /proc/self/fd >&4");

  // 5 is the folder that ls itself reads.
  ASSERT_TRUE(process) << error;
  EXPECT_EQ(readAll(process->events.get()), "0\n1\n2\n3\n4\n5\n");
  ::close(leaked);
}

TEST_F(ChromiumProcessTest, ProgramIsAnOrdinaryUserWithoutANetwork) {
  const auto process = start("id -u >&4; cat /proc/net/dev | grep -c : >&4");

  ASSERT_TRUE(process) << error;
  const std::string user = std::to_string(::geteuid() == 0 ? 1000 : ::geteuid());
  EXPECT_EQ(readAll(process->events.get()), user + "\n1\n");  // the loopback that is down
}

TEST_F(ChromiumProcessTest, EndTakesEverythingAlong) {
  // A grandchild that has left the group and ignores signals holds the pipe open.
  auto process = start(
      "setsid sh -c 'trap \"\" TERM HUP INT; echo ready >&4; sleep 1000' &\n"
      "wait");
  ASSERT_TRUE(process) << error;
  const UniqueFd events = std::move(process->events);
  char line[6];
  ASSERT_EQ(::read(events.get(), line, sizeof line), 6);

  process.reset();

  EXPECT_EQ(readAll(events.get()), "");
}

TEST_F(ChromiumProcessTest, EndOfTheProgramEndsWhatItHasStarted) {
  auto process = start("sleep 1000 & echo started >&4");

  ASSERT_TRUE(process) << error;
  EXPECT_EQ(readAll(process->events.get()), "started\n");
}

TEST_F(ChromiumProcessTest, ForkedChildOfTheHostKeepsNothingAlive) {
  auto process = start("echo started >&4; sleep 1000");
  ASSERT_TRUE(process) << error;
  const UniqueFd events = std::move(process->events);
  char line[8];
  ASSERT_EQ(::read(events.get(), line, sizeof line), 8);
  int gate[2];
  ASSERT_EQ(::pipe(gate), 0);
  const pid_t child = ::fork();  // holds all descriptors of its parent
  if (child == 0) {
    char c = 0;
    ::close(gate[1]);
    (void)!::read(gate[0], &c, 1);
    ::_exit(0);
  }

  process.reset();

  EXPECT_EQ(readAll(events.get()), "");
  ::close(gate[0]);
  ::close(gate[1]);
  EXPECT_EQ(::waitpid(child, nullptr, 0), child);
}

TEST_F(ChromiumProcessTest, HostsChildrenAreItsOwn) {
  const auto process = start("true");
  ASSERT_TRUE(process) << error;

  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST_F(ChromiumProcessTest, MissingProgramIsToldByName) {
  ChromiumCommand command;
  command.program = "/nowhere/chromium";
  command.errorFile = directory / "errors";

  EXPECT_EQ(ChromiumProcess::start(command, error), nullptr);

  EXPECT_THAT(error, HasSubstr("/nowhere/chromium"));
  EXPECT_THAT(error, HasSubstr("No such file"));
}

TEST_F(ChromiumProcessTest, NothingIsLeftOpen) {
  const auto count = [] {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return std::distance(begin(descriptors), end(descriptors));
  };
  start("true");
  const auto before = count();

  for (int i = 0; i < 5; ++i) start("true");

  EXPECT_EQ(count(), before);
}

}  // namespace
}  // namespace workstation
