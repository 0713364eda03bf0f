#include "tests/tools/program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <sstream>
#include <stdexcept>

namespace wzapp_test {
namespace {

constexpr std::chrono::minutes kPatience{1};

// False at the end of the pipe, which is then closed.
bool appendFrom(int& pipe, std::string& text) {
  std::array<char, 4096> block;
  const ssize_t count = read(pipe, block.data(), block.size());
  if (count < 0 && errno == EINTR) return true;
  if (count <= 0) {
    close(pipe);
    pipe = -1;
    return false;
  }
  text.append(block.data(), static_cast<std::size_t>(count));
  return true;
}

}  // namespace

Program::Program(const std::vector<std::string>& arguments, const std::function<void()>& prepare,
                 const std::string& program) {
  std::vector<std::string> texts{program};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  int out[2], errors[2];
  if (pipe2(out, O_CLOEXEC) != 0 || pipe2(errors, O_CLOEXEC) != 0) {
    throw std::runtime_error("pipe2");
  }
  std::fflush(nullptr);
  id_ = fork();
  if (id_ == 0) {
    dup2(out[1], STDOUT_FILENO);
    dup2(errors[1], STDERR_FILENO);
    // Also where this program itself was started to run in the background.
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) std::signal(number, SIG_DFL);
    if (prepare) prepare();
    execv(program.c_str(), pointers.data());
    _exit(126);
  }
  close(out[1]);
  close(errors[1]);
  outPipe_ = out[0];
  errorPipe_ = errors[0];
}

Program::~Program() {
  if (id_ > 0) {
    kill(id_, SIGKILL);
    waitpid(id_, nullptr, 0);
  }
  for (const int pipe : {outPipe_, errorPipe_}) {
    if (pipe >= 0) close(pipe);
  }
}

// Waits for more output and adds it. False at the end of both outputs, or after a minute without.
bool Program::readSome() {
  pollfd pipes[] = {{outPipe_, POLLIN, 0}, {errorPipe_, POLLIN, 0}};
  if (outPipe_ < 0 && errorPipe_ < 0) return false;
  const auto patience = std::chrono::milliseconds(kPatience).count();
  if (poll(pipes, 2, static_cast<int>(patience)) == 0) return false;
  if (pipes[0].revents != 0) appendFrom(outPipe_, out_);
  if (pipes[1].revents != 0) appendFrom(errorPipe_, errors_);
  return outPipe_ >= 0 || errorPipe_ >= 0;
}

bool Program::awaitOutput(const std::string& text) {
  const auto isThere = [&] {
    return out_.find(text) != std::string::npos || errors_.find(text) != std::string::npos;
  };
  while (!isThere()) {
    if (!readSome()) return isThere();
  }
  return true;
}

void Program::signal(int number) const { kill(id_, number); }

int Program::wait() {
  while (readSome()) {
  }
  if (outPipe_ >= 0 || errorPipe_ >= 0) {
    ADD_FAILURE() << "the program did not end within a minute of silence:\n" << outputs();
    kill(id_, SIGKILL);
  }
  int status = 0;
  while (waitpid(id_, &status, 0) < 0 && errno == EINTR) {
  }
  id_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

ProgramResult runWz(const std::vector<std::string>& arguments,
                    const std::function<void()>& prepare) {
  return runProgram(WZ_PROGRAM, arguments, prepare);
}

ProgramResult runProgram(const std::string& program, const std::vector<std::string>& arguments,
                         const std::function<void()>& prepare) {
  Program running(arguments, prepare, program);
  const int code = running.wait();
  return {code, running.out(), running.errors()};
}

void closeReader() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return;
  dup2(ends[1], STDOUT_FILENO);
  close(ends[0]);
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

}  // namespace wzapp_test
