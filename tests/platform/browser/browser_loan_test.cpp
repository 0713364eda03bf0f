// Browsers that are lent to one program after the other.

#include <signal.h>
#include <stdlib.h>

#include <fstream>
#include <string>

#include "tests/platform/browser/browser_fixture.h"
#include "tests/platform/browser/host_program.h"

namespace wzapp_test {
namespace {

using testing::IsEmpty;

class BrowserLoanTest : public BrowserTest {
 protected:
  BrowserLoanTest() {
    ::setenv("TMPDIR", lent_.path().c_str(), 1);
    std::string error;
    lender_ = workstation::lendBrowsers(socket(), error);
    EXPECT_TRUE(lender_) << error;
  }
  ~BrowserLoanTest() override {
    lender_.reset();
    ::unsetenv("TMPDIR");
  }

  std::string socket() const { return lent_ / "browsers"; }

  HostOptions borrowing() const {
    HostOptions options;
    options.environment = {"WZ_BROWSERS=" + socket()};
    return options;
  }

  // The browsers that there are to be lent, and those that a host has started itself.
  std::vector<int> lentBrowsers() const { return browsersIn(lent_.path()); }
  std::vector<int> ownBrowsers() const { return browsersIn(own_.path()); }

  const TemporaryDirectory lent_, own_;
  std::unique_ptr<workstation::BrowserLender> lender_;

 private:
  static std::vector<int> browsersIn(const std::string& folder) {
    std::vector<int> found;
    for (const int pid : processesWith("--user-data-dir=" + folder)) {
      // Processes that it has forked have its command line.
      const std::string parent = commandLine(parentOf(pid));
      const std::string own = commandLine(pid);
      const bool isFirst = parent.find(folder) == std::string::npos;
      if (isFirst && own.find("--remote-debugging-pipe") != std::string::npos) found.push_back(pid);
    }
    return found;
  }

  static int parentOf(int pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(file, line);) {
      if (line.compare(0, 5, "PPid:") == 0) return std::atoi(line.c_str() + 5);
    }
    return 0;
  }

  static std::string commandLine(int pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/cmdline", std::ios::binary);
    std::string line;
    std::getline(file, line);
    return line;
  }
};

TEST_F(BrowserLoanTest, OneAfterTheOtherHasTheSameAndFindsNothingOfTheFirst) {
  const TestApplication application(R"(
    console.log(String(localStorage.getItem('mark')) + document.cookie);
    localStorage.setItem('mark', 'set'); document.cookie = 'mark=set';)");
  std::vector<int> browsers;
  for (int i = 0; i < 2; ++i) {
    HostProgram program(application.directory(), own_.path(), borrowing());
    EXPECT_EQ(program.readLine(), "shown null");
    EXPECT_THAT(ownBrowsers(), IsEmpty());
    ASSERT_EQ(lentBrowsers().size(), 1U);
    browsers.push_back(lentBrowsers()[0]);
    program.order("return");  // with its page still open
    program.waitForEnd();
  }

  EXPECT_EQ(browsers[0], browsers[1]);
}

TEST_F(BrowserLoanTest, TwoAtOnceHaveOneEach) {
  const TestApplication application("console.log('here')");
  HostProgram first(application.directory(), own_.path(), borrowing());
  HostProgram second(application.directory(), own_.path(), borrowing());

  EXPECT_EQ(first.readLine(), "shown here");
  EXPECT_EQ(second.readLine(), "shown here");
  EXPECT_EQ(lentBrowsers().size(), 2U);
}

TEST_F(BrowserLoanTest, WhatAKilledHostHadIsNotLentAgain) {
  const TestApplication application("console.log('here')");
  std::vector<int> before;
  {
    HostProgram killed(application.directory(), own_.path(), borrowing());
    ASSERT_EQ(killed.readLine(), "shown here");
    before = lentBrowsers();
    killed.signal(SIGKILL);
    killed.waitForEnd();
  }

  HostProgram next(application.directory(), own_.path(), borrowing());
  EXPECT_EQ(next.readLine(), "shown here");
  ASSERT_EQ(before.size(), 1U);
  EXPECT_TRUE(pollUntil([&] { return lentBrowsers().size() == 1; }));
  EXPECT_NE(lentBrowsers(), before);
}

TEST_F(BrowserLoanTest, ABrowserThatHasDiedIsReplaced) {
  const TestApplication application("console.log('here')");
  for (int i = 0; i < 2; ++i) {
    HostProgram program(application.directory(), own_.path(), borrowing());
    EXPECT_EQ(program.readLine(), "shown here");
    program.order("return");
    program.waitForEnd();
    for (const int pid : lentBrowsers()) ::kill(pid, SIGKILL);
  }
}

TEST_F(BrowserLoanTest, WithoutALenderItIsOnesOwn) {
  lender_.reset();
  const TestApplication application("console.log('here')");
  HostProgram program(application.directory(), own_.path(), borrowing());

  EXPECT_EQ(program.readLine(), "shown here");
  EXPECT_EQ(ownBrowsers().size(), 1U);
}

TEST_F(BrowserLoanTest, NothingOfThemOutlivesTheLender) {
  const TestApplication application("console.log('here')");
  HostProgram program(application.directory(), own_.path(), borrowing());
  ASSERT_EQ(program.readLine(), "shown here");

  lender_.reset();

  EXPECT_TRUE(pollUntil([&] { return lentBrowsers().empty(); }));
  program.order("wait");
  EXPECT_THAT(program.readLine(), testing::StartsWith("ended -10"));
}

TEST_F(BrowserLoanTest, APathThatIsTakenIsNoSocket) {
  std::string error;

  EXPECT_FALSE(workstation::lendBrowsers(socket(), error));
  EXPECT_THAT(error, testing::HasSubstr("Address already in use"));
  EXPECT_FALSE(workstation::lendBrowsers(std::string(200, 'x'), error));
  EXPECT_THAT(error, testing::HasSubstr("File name too long"));
}

}  // namespace
}  // namespace wzapp_test
