#include "tests/platform/browser/host_program.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>

#include "tests/platform/browser/browser_fixture.h"

namespace wzapp_test {

HostProgram::HostProgram(const std::string& application, const std::string& temporary,
                         const HostOptions& options) {
  int in[2];
  int out[2];
  if (::pipe2(in, O_CLOEXEC) != 0 || ::pipe2(out, O_CLOEXEC) != 0) return;
  pid_ = ::fork();
  if (pid_ == 0) {
    ::dup2(in[0], STDIN_FILENO);
    ::dup2(out[1], STDOUT_FILENO);
    for (const std::string& entry : options.environment) ::putenv(::strdup(entry.c_str()));
    ::setenv("TMPDIR", temporary.c_str(), 1);
    if (!options.prepare || options.prepare()) {
      ::execl(BROWSER_TEST_HOST, BROWSER_TEST_HOST, application.c_str(),
              options.browser.empty() ? nullptr : options.browser.c_str(), nullptr);
    }
    ::_exit(127);
  }
  ::close(in[0]);
  ::close(out[1]);
  input_ = in[1];
  output_ = out[0];
}

HostProgram::~HostProgram() {
  signal(SIGKILL);
  waitForEnd();
  ::close(output_);
}

std::string HostProgram::readLine() {
  std::string line;
  char c = 0;
  pollfd ready = {output_, POLLIN, 0};
  while (::poll(&ready, 1, kPatienceMs) > 0 && ::read(output_, &c, 1) == 1) {
    if (c == '\n') return line;
    line += c;
  }
  return "";
}

void HostProgram::order(const std::string& line) {
  const std::string text = line + '\n';
  EXPECT_EQ(::write(input_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

void HostProgram::signal(int number) const {
  if (pid_ > 0) ::kill(pid_, number);
}

void HostProgram::waitForEnd() {
  if (input_ >= 0) ::close(input_);
  input_ = -1;
  if (pid_ <= 0) return;
  while (::waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
  }
  pid_ = -1;
}

}  // namespace wzapp_test
