#include "workstation/terminal/terminal_namespace.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/builders/child_process.h"
#include "tests/builders/file_content.h"
#include "tests/builders/test_terminal.h"
#include "workstation/terminal/covered_folder.h"
#include "workstation/terminal/private_namespaces.h"
#include "workstation/terminal/terminal_layout.h"

namespace {

int unshareFailure = 0;  // errno with which unshare fails; 0: it is the real one

uid_t pretendedUser = 0;  // what geteuid says; 0: the truth

}  // namespace

extern "C" uid_t __real_geteuid();
extern "C" uid_t __wrap_geteuid() { return pretendedUser == 0 ? __real_geteuid() : pretendedUser; }

extern "C" int __real_unshare(int flags);
extern "C" int __wrap_unshare(int flags) {
  if (unshareFailure == 0) return __real_unshare(flags);
  errno = unshareFailure;
  return -1;
}

namespace workstation {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using wzapp_test::contentOf;
using wzapp_test::runInTerminal;
using wzapp_test::TemporaryTerminal;
using wzapp_test::writeFile;
namespace fs = std::filesystem;

// Entries of `folder` that are not the terminal's own, sorted.
std::vector<std::string> userEntries(const std::string& folder) {
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    if (!isTerminalPath(folder, name)) names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

TEST(TerminalNamespaceTest, TheFixedPathsLeadIntoTheTerminal) {
  const TemporaryTerminal terminal;
  const fs::path folder = terminal.directory();

  EXPECT_TRUE(runInTerminal(terminal.directory(), [] {
    writeFile("/mnt/flash/one", "flash");
    for (const std::string& user : terminalUsers()) writeFile("/home/" + user + "/name", user);
  }));

  EXPECT_EQ(contentOf(folder / "flash/one"), "flash");
  for (const std::string& user : terminalUsers()) {
    EXPECT_EQ(contentOf(folder / "home" / user / "name"), user);
  }
  EXPECT_FALSE(fs::exists("/mnt/flash/one"));
}

TEST(TerminalNamespaceTest, AMoveBetweenHomeAndFlashIsAPlainRename) {
  const TemporaryTerminal terminal;
  fs::create_directories(fs::path(terminal.directory()) / "home/sys13/flash/www/wz/shop");

  EXPECT_TRUE(runInTerminal(terminal.directory(), [] {
    EXPECT_EQ(rename("/home/sys13/flash/www/wz", "/mnt/flash/wz"), 0);
    EXPECT_TRUE(fs::is_directory("/mnt/flash/wz/shop"));
    EXPECT_EQ(rename("/mnt/flash/wz", "/home/usr1/wz"), 0);
  }));

  EXPECT_TRUE(fs::is_directory(fs::path(terminal.directory()) / "home/usr1/wz/shop"));
}

TEST(TerminalNamespaceTest, EverythingElseInHomeAndMntStaysWhereItWas) {
  const TemporaryTerminal terminal;
  const std::vector<std::string> home = userEntries("/home"), mnt = userEntries("/mnt");

  EXPECT_TRUE(runInTerminal(terminal.directory(), [&] {
    EXPECT_EQ(userEntries("/home"), home);
    EXPECT_EQ(userEntries("/mnt"), mnt);
    for (const std::string& name : home) {
      EXPECT_EQ(fs::canonical("/home/" + name), fs::path("/home/" + name));
    }
  }));
}

TEST(TerminalNamespaceTest, TheTerminalItselfStaysReachableAtItsOwnPath) {
  const TemporaryTerminal terminal;

  EXPECT_TRUE(runInTerminal(terminal.directory() + "/./flash/..", [&] {
    EXPECT_EQ(terminalDirectory(), terminal.directory());
    EXPECT_TRUE(fs::equivalent(terminal.directory() + "/flash", "/mnt/flash"));
  }));
}

TEST(TerminalNamespaceTest, HomeAndMntThemselvesCannotBeWrittenTo) {
  const TemporaryTerminal terminal;

  EXPECT_TRUE(runInTerminal(terminal.directory(), [] {
    EXPECT_EQ(mkdir("/home/usr17", 0777), -1);
    EXPECT_EQ(errno, EROFS);
    EXPECT_EQ(unlink("/mnt/flash"), -1);
    EXPECT_EQ(errno, EROFS);
    EXPECT_EQ(mkdir("/mnt", 0777), -1);
    EXPECT_EQ(errno, EEXIST);
  }));
}

TEST(TerminalNamespaceTest, TheGroupSystemIsTheUsersOwn) {
  const TemporaryTerminal terminal;

  EXPECT_TRUE(runInTerminal(terminal.directory(), [] {
    char buffer[256];  // as small as a terminal's program may make it
    group entry{};
    group* found = nullptr;
    ASSERT_EQ(getgrnam_r("system", &entry, buffer, sizeof(buffer), &found), 0);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->gr_gid, getgid());
    writeFile("/mnt/flash/file", "");
    EXPECT_EQ(chown("/mnt/flash/file", static_cast<uid_t>(-1), found->gr_gid), 0);
  }));
}

TEST(TerminalNamespaceTest, TheUserIsAnOrdinaryOneWithAnAccount) {
  const TemporaryTerminal terminal;
  const uid_t outside = getuid();

  EXPECT_TRUE(runInTerminal(terminal.directory(), [outside] {
    EXPECT_EQ(getuid(), outside == 0 ? 1000U : outside);
    EXPECT_EQ(geteuid(), getuid());
    EXPECT_NE(getgid(), 0U);
    EXPECT_NE(getpwuid(getuid()), nullptr);
  }));
}

TEST(TerminalNamespaceTest, NoCapabilityIsLeftAndNoneComesBack) {
  const TemporaryTerminal terminal;

  EXPECT_TRUE(runInTerminal(terminal.directory(), [] {
    const std::string status = contentOf("/proc/self/status");
    for (const char* const set : {"CapInh", "CapPrm", "CapEff", "CapBnd", "CapAmb"}) {
      EXPECT_THAT(status, HasSubstr(std::string(set) + ":\t0000000000000000\n"));
    }
  }));
}

TEST(TerminalNamespaceTest, ADeniedPermissionIsDenied) {
  const TemporaryTerminal terminal;

  EXPECT_TRUE(runInTerminal(terminal.directory(), [] {
    writeFile("/mnt/flash/secret", "x");
    ASSERT_EQ(chmod("/mnt/flash/secret", 0), 0);
    EXPECT_EQ(open("/mnt/flash/secret", O_RDONLY | O_CLOEXEC), -1);
    EXPECT_EQ(errno, EACCES);
    ASSERT_EQ(mkdir("/mnt/flash/closed", 0500), 0);
    EXPECT_EQ(mkdir("/mnt/flash/closed/inner", 0777), -1);
    EXPECT_EQ(errno, EACCES);
  }));
}

TEST(TerminalNamespaceTest, TheWorkingDirectoryStays) {
  const TemporaryTerminal terminal;
  const std::string before = fs::current_path().string();

  EXPECT_TRUE(runInTerminal(terminal.directory(), [&] {
    EXPECT_EQ(fs::current_path().string(), before);
    EXPECT_TRUE(fs::equivalent(before, "."));
  }));
}

TEST(TerminalNamespaceTest, ATouchScreenShowsAsItsDeviceNode) {
  TerminalProfile profile = wzapp_test::testProfile();
  profile.touch = true;
  const TemporaryTerminal touched(profile);
  profile.touch = false;
  const TemporaryTerminal untouched(profile);
  const std::vector<std::string> before = userEntries("/sys/devices/platform");

  EXPECT_TRUE(runInTerminal(touched.directory(), [&] {
    std::vector<std::string> expected = before;
    expected.push_back("captouch.0");
    EXPECT_THAT(userEntries("/sys/devices/platform"), testing::UnorderedElementsAreArray(expected));
  }));
  EXPECT_TRUE(runInTerminal(untouched.directory(),
                            [] { EXPECT_FALSE(fs::exists("/sys/devices/platform/captouch.0")); }));
}

TEST(TerminalNamespaceTest, OneTerminalCanBeEnteredFromInsideAnother) {
  const TemporaryTerminal first, second;

  EXPECT_TRUE(runInTerminal(first.directory(), [&] {
    EXPECT_TRUE(runInTerminal(second.directory(), [] { writeFile("/mnt/flash/which", "second"); }));
    writeFile("/mnt/flash/which", "first");
  }));

  EXPECT_EQ(contentOf(first.directory() + "/flash/which"), "first");
  EXPECT_EQ(contentOf(second.directory() + "/flash/which"), "second");
}

TEST(TerminalNamespaceTest, NothingIsMountedOnTheMachine) {
  const TemporaryTerminal terminal;
  const std::string before = contentOf("/proc/self/mounts");

  EXPECT_TRUE(runInTerminal(terminal.directory(),
                            [&] { EXPECT_NE(contentOf("/proc/self/mounts"), before); }));

  EXPECT_EQ(contentOf("/proc/self/mounts"), before);
}

// As programs do that add a group, on a machine that this test plays in namespaces around.
TEST(TerminalNamespaceTest, TheGroupStaysWhenTheMachineReplacesItsGroupFile) {
  const TemporaryTerminal terminal;

  wzapp_test::runInChild([&] {
    const std::string groups = contentOf("/etc/group");
    const unsigned uid = geteuid(), gid = getegid();
    ASSERT_EQ(makePrivateNamespaces({uid, gid, uid, gid}), nullptr);
    CoveredFolder etc("/etc");
    etc.keepAll([](const std::string& name) { return name != "group"; });
    ASSERT_TRUE(etc.cover());
    writeFile("/etc/group", groups);
    int entered[2], replaced[2];
    ASSERT_EQ(pipe(entered) + pipe(replaced), 0);
    const pid_t inside = wzapp_test::forkSingleThread();
    if (inside == 0) {
      std::string error;
      char sign = enterTerminal(terminal.directory(), error) ? '1' : '0';
      (void)!::write(entered[1], &sign, 1);
      (void)!read(replaced[0], &sign, 1);
      _exit(contentOf("/etc/group").rfind("system:x:", 0) == 0 ? 0 : 1);
    }
    char sign = 0;
    ASSERT_EQ(read(entered[0], &sign, 1), 1);
    ASSERT_EQ(sign, '1');

    writeFile("/etc/group.new", groups + "new:x:9999:\n");
    ASSERT_EQ(std::rename("/etc/group.new", "/etc/group"), 0);

    ASSERT_EQ(::write(replaced[1], &sign, 1), 1);
    int status = -1;
    waitpid(inside, &status, 0);
    EXPECT_EQ(status, 0);
  });
}

long processorMicroseconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return time.tv_sec * 1'000'000 + time.tv_nsec / 1000;
}

// Of the processor, which is the same however busy the machine is: below 1 ms, and the bound leaves
// room for sanitizers.
TEST(TerminalNamespaceTest, EnteringTakesMillisecondsOfTheProcessor) {
  const TemporaryTerminal terminal;
  const std::string result = terminal.directory() + "/run/microseconds";
  long fastest = 1'000'000;

  for (int attempt = 0; attempt < 20; ++attempt) {
    const pid_t child = fork();
    if (child == 0) {
      const long start = processorMicroseconds();
      std::string error;
      const bool entered = enterTerminal(terminal.directory(), error);
      writeFile(result, std::to_string(processorMicroseconds() - start));
      _exit(entered ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
    fastest = std::min(fastest, std::stol(contentOf(result)));
  }

  RecordProperty("microseconds", static_cast<int>(fastest));
  std::printf("entered in %ld us\n", fastest);
  EXPECT_LT(fastest, 20'000);
}

// ---- What goes wrong ---------------------------------------------------------------------------

// Makes unshare fail for as long as the object lives.
class RefusedNamespaces {
 public:
  explicit RefusedNamespaces(int code) { unshareFailure = code; }
  ~RefusedNamespaces() { unshareFailure = 0; }
  RefusedNamespaces(const RefusedNamespaces&) = delete;
  RefusedNamespaces& operator=(const RefusedNamespaces&) = delete;
};

class RefusedNamespaceTest : public testing::TestWithParam<int> {};

TEST_P(RefusedNamespaceTest, IsExplainedInOneLineWithTheCure) {
  const TemporaryTerminal terminal;
  const RefusedNamespaces refused(GetParam());
  std::string error;

  EXPECT_FALSE(enterTerminal(terminal.directory(), error));

  EXPECT_THAT(error,
              AllOf(HasSubstr("this machine does not let"), HasSubstr(std::strerror(GetParam())),
                    HasSubstr("user.max_user_namespaces"), Not(HasSubstr("\n"))));
}

INSTANTIATE_TEST_SUITE_P(Codes, RefusedNamespaceTest,
                         testing::Values(ENOSPC, EPERM, EACCES, EUSERS));

TEST(TerminalNamespaceErrorTest, AnotherFailureIsGivenAsItIs) {
  const TemporaryTerminal terminal;
  const RefusedNamespaces refused(EINVAL);
  std::string error;

  EXPECT_FALSE(enterTerminal(terminal.directory(), error));

  EXPECT_EQ(error,
            "cannot enter the terminal " + terminal.directory() + ": unshare: Invalid argument");
}

TEST(TerminalNamespaceErrorTest, AMissingDirectoryIsNamed) {
  std::string error;

  EXPECT_FALSE(enterTerminal("/nowhere/at/all", error));

  EXPECT_EQ(error, "cannot find the terminal directory /nowhere/at/all: No such file or directory");
}

TEST(TerminalNamespaceErrorTest, SomebodyElsesTerminalIsNotEntered) {
  const TemporaryTerminal terminal;
  const std::string owner = std::to_string(__real_geteuid());
  std::string error;

  pretendedUser = 4711;
  EXPECT_FALSE(enterTerminal(terminal.directory(), error));
  pretendedUser = 0;

  EXPECT_EQ(error, terminal.directory() + " belongs to user id " + owner +
                       ", and you are user id 4711; use a terminal directory of your own, or "
                       "change its owner with: chown -R 4711 " +
                       terminal.directory());
}

TEST(TerminalNamespaceErrorTest, AFolderWithoutFlashIsNoTerminal) {
  const TemporaryTerminal terminal;
  fs::remove(terminal.directory() + "/flash");
  std::string error;

  EXPECT_FALSE(enterTerminal(terminal.directory(), error));

  EXPECT_THAT(error, HasSubstr("is no terminal directory: it has no folder flash; make one with"));
}

TEST(TerminalNamespaceErrorTest, AWrongProfileIsGivenWithItsLine) {
  const TemporaryTerminal terminal;
  writeFile(terminal.directory() + "/terminal.json", "{\n  \"model\": 7\n}");
  std::string error;

  EXPECT_FALSE(enterTerminal(terminal.directory(), error));

  EXPECT_EQ(error,
            terminal.directory() + "/terminal.json:2:12: \"model\" must be a text, not a number");
}

}  // namespace
}  // namespace workstation
