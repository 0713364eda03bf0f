// wz exec.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/builders/test_terminal.h"
#include "tests/tools/program.h"

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using Arguments = std::vector<std::string>;

class ExecTest : public testing::Test {
 protected:
  ProgramResult exec(Arguments command) const {
    Arguments arguments{"exec", "--terminal", terminal_.directory(), "--"};
    arguments.insert(arguments.end(), command.begin(), command.end());
    return runWz(arguments);
  }

  TemporaryTerminal terminal_;
};

TEST_F(ExecTest, AProgramSeesTheTerminalAndItsBus) {
  const ProgramResult result =
      exec({"sh", "-c", "echo one >/mnt/flash/file; test -S \"$WZ_TERMINAL/run/bus\" && echo bus"});

  EXPECT_EQ(result.code, 0) << result.errors;
  EXPECT_EQ(result.out, "bus\n");
  EXPECT_TRUE(fs::exists(terminal_.directory() + "/flash/file"));
}

TEST_F(ExecTest, TheProgramsEndIsPassedOn) {
  EXPECT_EQ(exec({"sh", "-c", "exit 42"}).code, 42);
  EXPECT_EQ(exec({"sh", "-c", "kill -9 $$"}).code, 128 + SIGKILL);
}

TEST_F(ExecTest, AMissingProgramIsNamed) {
  const ProgramResult result = exec({"/nowhere/program"});

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_EQ(result.errors, "wz: cannot start /nowhere/program: No such file or directory\n");
}

TEST_F(ExecTest, ASignalReachesTheProgram) {
  Program program({"exec", "--terminal", terminal_.directory(), "--", "sh", "-c",
                   "trap 'echo caught; exit 5' TERM; echo ready; while :; do sleep 0.01; done"});
  ASSERT_TRUE(program.awaitOutput("ready"));

  program.signal(SIGTERM);

  EXPECT_EQ(program.wait(), 5);
  EXPECT_THAT(program.out(), HasSubstr("caught"));
}

// On a machine whose /home holds two users, one of whom has a name that terminals use: `script`
// runs in a private view of such a machine, with the program as $WZ.
ProgramResult onMachineWithHomes(const std::string& script) {
  return runWz({}, [&] {
    setenv("WZ", WZ_PROGRAM, 1);
    setenv("HOME", "/home/me", 1);
    const std::string prepared =
        "mount -t tmpfs none /home && mkdir /home/me /home/usr1 && cd /home/me && " + script;
    execlp("unshare", "unshare", "--user", "--map-root-user", "--mount", "sh", "-c",
           prepared.c_str(), nullptr);
  });
}

TEST(HomeTest, ATerminalBelowAUsersHomeWorksAndTheHomeStays) {
  const ProgramResult result = onMachineWithHomes(
      "echo letter >letter && \"$WZ\" terminal create desk && "
      "\"$WZ\" exec --terminal desk -- sh -c 'pwd; cat letter /home/me/letter; ls -d \"$HOME\"; "
      "echo one >/mnt/flash/file; mv /mnt/flash/file /home/usr1/moved; echo two >new' && "
      "cat /home/me/desk/home/usr1/moved new && ls /home/usr1");

  EXPECT_EQ(result.code, 0) << result.errors;
  EXPECT_EQ(result.out, "made the terminal desk\n/home/me\nletter\nletter\n/home/me\none\ntwo\n");
}

TEST(HomeTest, ATerminalThatItsOwnPathsWouldHideIsRefused) {
  const ProgramResult result = onMachineWithHomes(
      "\"$WZ\" terminal create /home/usr1/desk && \"$WZ\" exec --terminal /home/usr1/desk -- true");

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_EQ(
      result.errors,
      "wz: /home/usr1/desk cannot be a terminal directory: the terminal's own /home/usr1 hides "
      "it; move it elsewhere\n");
}

}  // namespace
}  // namespace wzapp_test
