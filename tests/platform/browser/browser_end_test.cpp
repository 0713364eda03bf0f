// What becomes of the browser's processes and of its pages when something dies.

#include <sched.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>

#include "tests/platform/browser/browser_fixture.h"
#include "tests/platform/browser/host_program.h"
#include "workstation/browser/engine/page/result_codes.h"

namespace wzapp_test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class BrowserEndTest : public BrowserTest {};

constexpr char kSayShown[] = "console.log('here')";

std::string statusLine(int pid, const std::string& name) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(file, line);) {
    if (line.compare(0, name.size(), name) == 0) return line.substr(name.size());
  }
  return "";
}

bool descendsFrom(int pid, int ancestor) {
  while (pid > 1 && pid != ancestor) pid = std::atoi(statusLine(pid, "PPid:").c_str());
  return pid == ancestor;
}

// This process's browser's processes whose command line contains `text`.
std::vector<int> ownProcessesWith(const std::string& text) {
  std::vector<int> found;
  for (const int pid : processesWith(text)) {
    if (pid != ::getpid() && descendsFrom(pid, ::getpid())) found.push_back(pid);
  }
  return found;
}

// ---- The host ends ----

struct HostEnd {
  const char* name;
  const char* order;  // empty: by the signal
  int signal;
};

class HostEndTest : public BrowserTest, public testing::WithParamInterface<HostEnd> {};

TEST_P(HostEndTest, NoProcessSurvives) {
  const TestApplication application(kSayShown);
  const TemporaryDirectory temporary;
  HostProgram program(application.directory(), temporary.path());
  ASSERT_EQ(program.readLine(), "shown here");
  ASSERT_THAT(processesWith(temporary.path()), testing::Not(IsEmpty()));

  if (*GetParam().order != '\0') program.order(GetParam().order);
  program.signal(GetParam().signal);
  program.waitForEnd();

  EXPECT_TRUE(pollUntil([&] {
    return processesWith(temporary.path()).empty() &&
           processesWith(application.directory()).empty();
  }));
}

INSTANTIATE_TEST_SUITE_P(Ways, HostEndTest,
                         testing::Values(HostEnd{"Return", "return", 0},
                                         HostEnd{"ImmediateExit", "exit", 0},
                                         HostEnd{"Abort", "abort", 0},
                                         HostEnd{"Termination", "", SIGTERM},
                                         HostEnd{"Kill", "", SIGKILL}),
                         [](const auto& row) { return row.param.name; });

TEST_F(BrowserEndTest, StoppedBrowserDoesNotSurviveEither) {
  const TestApplication application(kSayShown);
  const TemporaryDirectory temporary;
  HostProgram program(application.directory(), temporary.path());
  ASSERT_EQ(program.readLine(), "shown here");
  for (const int pid : processesWith(temporary.path())) ::kill(pid, SIGSTOP);

  program.signal(SIGKILL);
  program.waitForEnd();

  EXPECT_TRUE(pollUntil([&] { return processesWith(temporary.path()).empty(); }));
}

TEST_F(BrowserEndTest, ProfileGoesWithTheHost) {
  const TestApplication application(kSayShown);
  const TemporaryDirectory temporary;
  HostProgram program(application.directory(), temporary.path());
  ASSERT_EQ(program.readLine(), "shown here");
  const std::string parent = temporary / ("wz-browser-" + std::to_string(::geteuid()));
  ASSERT_FALSE(std::filesystem::is_empty(parent));

  program.order("return");
  program.waitForEnd();

  EXPECT_TRUE(std::filesystem::is_empty(parent));
}

TEST_F(BrowserEndTest, WhatAKilledHostLeavesGoesWithTheNext) {
  const TestApplication application(kSayShown);
  const TemporaryDirectory temporary;
  {
    HostProgram killed(application.directory(), temporary.path());
    ASSERT_EQ(killed.readLine(), "shown here");
    killed.signal(SIGKILL);
    killed.waitForEnd();
    ASSERT_TRUE(pollUntil([&] { return processesWith(temporary.path()).empty(); }));
  }

  HostProgram next(application.directory(), temporary.path());
  ASSERT_EQ(next.readLine(), "shown here");
  next.order("return");
  next.waitForEnd();

  EXPECT_TRUE(std::filesystem::is_empty(temporary / ("wz-browser-" + std::to_string(::geteuid()))));
}

TEST_F(BrowserEndTest, ProfileLiesInTheTerminalsRunFolder) {
  const TestApplication application(kSayShown);
  const TemporaryDirectory terminal;
  std::filesystem::create_directory(terminal / "run");
  terminal.write("terminal.json", R"({"serial": "1", "model": "T30",
    "display": {"width": 200, "height": 300, "colour": true},
    "memory": 1, "keys": 0, "touch": false})");
  HostOptions options;
  options.environment = {"WZ_TERMINAL=" + terminal.path()};
  HostProgram program(application.directory(), "/nowhere", options);

  ASSERT_EQ(program.readLine(), "shown here");

  EXPECT_FALSE(std::filesystem::is_empty(terminal / "run"));
  program.order("return");
  program.waitForEnd();
  EXPECT_TRUE(std::filesystem::is_empty(terminal / "run"));
}

// ---- The browser cannot start ----

TEST_F(BrowserEndTest, MissingBrowserIsRefusedWithItsName) {
  const TestApplication application("");
  const TemporaryDirectory temporary;
  HostOptions options;
  options.browser = "/nowhere/chromium";
  HostProgram program(application.directory(), temporary.path(), options);

  EXPECT_THAT(program.readLine(),
              testing::AllOf(StartsWith("refused"), HasSubstr("/nowhere/chromium")));
}

struct NoDisplay {
  const char* name;
  std::vector<std::string> environment;
  const char* word;
};

class NoDisplayTest : public BrowserTest, public testing::WithParamInterface<NoDisplay> {};

TEST_P(NoDisplayTest, IsNamedWithTheCure) {
  const TestApplication application("");
  const TemporaryDirectory temporary;
  HostOptions options;
  options.environment = GetParam().environment;
  HostProgram program(application.directory(), temporary.path(), options);

  EXPECT_THAT(program.readLine(), testing::AllOf(StartsWith("refused"), HasSubstr(GetParam().word),
                                                 HasSubstr("go without a window")));
}

INSTANTIATE_TEST_SUITE_P(
    Displays, NoDisplayTest,
    testing::Values(
        NoDisplay{"X", {"DISPLAY=:7654"}, "no X server at :7654"},
        NoDisplay{"Wayland",
                  {"WAYLAND_DISPLAY=wayland-none", "XDG_RUNTIME_DIR=/nowhere"},
                  "no Wayland display wayland-none, which WAYLAND_DISPLAY names, in /nowhere"},
        NoDisplay{"WaylandWithoutItsFolder",
                  {"WAYLAND_DISPLAY=wayland-none", "XDG_RUNTIME_DIR="},
                  "XDG_RUNTIME_DIR, which is not set"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(BrowserEndTest, ProgramThatIsNoBrowserEndsTheInvocation) {
  const TestApplication application("");
  const TemporaryDirectory temporary;
  HostOptions options;
  options.browser = "/bin/false";
  HostProgram program(application.directory(), temporary.path(), options);
  program.order("wait");

  EXPECT_THAT(program.readLine(), HasSubstr("the browser has ended"));
}

TEST_F(BrowserEndTest, LastWordsOfTheBrowserAreTold) {
  const TestApplication application("");
  const TemporaryDirectory temporary;
  const std::string browser = temporary.write("browser", "#!/bin/sh\necho 'no screws' >&2\n");
  std::filesystem::permissions(browser, std::filesystem::perms::owner_all);
  HostOptions options;
  options.browser = browser;
  HostProgram program(application.directory(), temporary.path(), options);
  program.order("wait");

  // Refused or ended, whichever is first.
  EXPECT_THAT(program.readLine(), HasSubstr("the browser has ended: no screws"));
}

#if defined(__SANITIZE_THREAD__)
constexpr bool hasThreadOfASanitizer = true;
#else
constexpr bool hasThreadOfASanitizer = false;
#endif

void writeText(const char* path, const std::string& text) { std::ofstream(path) << text; }

// Makes this process one that may not make user namespaces, with its own user as `inside`.
bool forbidNamespaces(unsigned inside) {
  const std::string uid = std::to_string(inside) + ' ' + std::to_string(::geteuid()) + " 1";
  const std::string gid = std::to_string(inside) + ' ' + std::to_string(::getegid()) + " 1";
  if (::unshare(CLONE_NEWUSER) != 0) return false;
  writeText("/proc/self/setgroups", "deny");
  writeText("/proc/self/uid_map", uid);
  writeText("/proc/self/gid_map", gid);
  writeText("/proc/sys/user/max_user_namespaces", "0");
  return ::unshare(CLONE_NEWUSER) != 0;
}

TEST_F(BrowserEndTest, RootWithoutNamespacesIsToldTheCure) {
  if (hasThreadOfASanitizer) GTEST_SKIP() << "a process with a second thread cannot change users";
  const TestApplication application("");
  const TemporaryDirectory temporary;
  HostOptions options;
  options.prepare = [] { return forbidNamespaces(0); };
  HostProgram program(application.directory(), temporary.path(), options);

  EXPECT_THAT(program.readLine(),
              testing::AllOf(StartsWith("refused"), HasSubstr("user.max_user_namespaces")));
}

TEST_F(BrowserEndTest, OrdinaryUserWithoutNamespacesIsNotLeftWaiting) {
  if (hasThreadOfASanitizer) GTEST_SKIP() << "a process with a second thread cannot change users";
  // Whether the browser runs then depends on the machine: it needs a sandbox of the old kind.
  const TestApplication application("console.log('here'); wz.exit(0)");
  const TemporaryDirectory temporary;
  HostOptions options;
  options.prepare = [] { return forbidNamespaces(1234); };
  HostProgram program(application.directory(), temporary.path(), options);
  program.order("wait");

  EXPECT_THAT(program.readLine(), testing::AnyOf("shown here", StartsWith("ended -10")));

  program.signal(SIGKILL);
  program.waitForEnd();
  EXPECT_TRUE(pollUntil([&] { return processesWith(temporary.path()).empty(); }));
}

// ---- The browser or a page's process dies ----

TEST_F(BrowserEndTest, SandboxStaysOn) {
  const TestApplication application("wz.log('info', 'here')");
  const int id = open(application);
  ASSERT_TRUE(waitForLog("here"));

  const std::vector<int> renderers = ownProcessesWith("--type=renderer");

  EXPECT_THAT(ownProcessesWith("--no-sandbox"), IsEmpty());
  ASSERT_THAT(renderers, testing::Not(IsEmpty()));
  // One of a page before may still be ending, and has no status then.
  for (const int pid : renderers)
    EXPECT_THAT(statusLine(pid, "Seccomp:"), testing::AnyOf("\t2", ""));
  EXPECT_TRUE(std::any_of(renderers.begin(), renderers.end(),
                          [](int pid) { return statusLine(pid, "Seccomp:") == "\t2"; }));
  zelgui::uiInvokeCancelAsync(id);
  wait(id);
}

TEST_F(BrowserEndTest, KilledPageProcessEndsItsInvocation) {
  const TestApplication application("wz.log('info', 'here')");
  const int id = open(application);
  ASSERT_TRUE(waitForLog("here"));

  for (const int pid : ownProcessesWith("--type=renderer")) ::kill(pid, SIGKILL);

  const Ended ended = wait(id);
  EXPECT_EQ(ended.result, workstation::kPageCrashed);
  EXPECT_NE(ended.error, "");
}

TEST_F(BrowserEndTest, KilledBrowserEndsAllAndTheNextStartsAnother) {
  const TestApplication first("wz.log('info', 'first')", "first");
  const TestApplication second("wz.log('info', 'second')", "second");
  const int firstId = open(first);
  const int secondId = open(second);
  ASSERT_TRUE(waitForLog("first"));
  ASSERT_TRUE(waitForLog("second"));

  for (const int pid : ownProcessesWith("--remote-debugging-pipe")) ::kill(pid, SIGKILL);

  EXPECT_EQ(wait(firstId).result, workstation::kBrowserLost);
  const Ended ended = wait(secondId);
  EXPECT_EQ(ended.result, workstation::kBrowserLost);
  EXPECT_NE(ended.error, "");
  EXPECT_EQ(run(TestApplication("wz.exit(5)")).result, 5);
}

TEST_F(BrowserEndTest, InvocationsLeaveNoPagesBehind) {
  const TestApplication application("wz.exit(0)");
  run(application);
  const std::size_t before = ownProcessesWith("--type=renderer").size();

  for (int i = 0; i < 5; ++i) run(application);

  EXPECT_TRUE(pollUntil([&] { return ownProcessesWith("--type=renderer").size() <= before; }));
}

}  // namespace
}  // namespace wzapp_test
