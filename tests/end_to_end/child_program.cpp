#include "tests/end_to_end/child_program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <system_error>

#include "tests/end_to_end/processes.h"
#include "tests/end_to_end/waiting.h"

namespace wzapp_test {
namespace {

struct Pipe {
  int read = -1, write = -1;
};

Pipe makePipe() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "pipe2");
  }
  return {ends[0], ends[1]};
}

std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

std::string programFolder() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path().string();
}

ChildProgram::ChildProgram(const std::string& name, const std::vector<std::string>& arguments,
                           const std::vector<std::string>& environment) {
  const std::string path = programFolder() + "/" + name;
  std::vector<std::string> words = {path};
  words.insert(words.end(), arguments.begin(), arguments.end());
  // The first of two variables of one name counts.
  std::vector<std::string> variables = environment;
  for (char** entry = environ; *entry != nullptr; ++entry) variables.emplace_back(*entry);
  const Pipe in = makePipe(), out = makePipe();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in.read, 0);
  posix_spawn_file_actions_adddup2(&actions, out.write, 1);
  const int error = posix_spawn(&id_, path.c_str(), &actions, nullptr, pointersTo(words).data(),
                                pointersTo(variables).data());
  posix_spawn_file_actions_destroy(&actions);
  close(in.read);
  close(out.write);
  input_ = in.write;
  if (error != 0) {
    close(out.read);
    throw std::system_error(error, std::generic_category(), path);
  }
  reader_ = std::thread([this, output = out.read] { readOutput(output); });
}

ChildProgram::~ChildProgram() {
  closeInput();
  if (id_ >= 0) kill(id_, SIGKILL);
  while (id_ >= 0 && waitpid(id_, nullptr, 0) < 0 && errno == EINTR) {
  }
  reader_.join();
}

void ChildProgram::readOutput(int output) {
  std::string unread;
  char block[4096];
  for (;;) {
    const ssize_t count = read(output, block, sizeof block);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    unread.append(block, static_cast<std::size_t>(count));
    std::size_t begin = 0;
    for (std::size_t end = unread.find('\n'); end != std::string::npos;
         end = unread.find('\n', begin)) {
      lines_.add(unread.substr(begin, end - begin));
      begin = end + 1;
    }
    unread.erase(0, begin);
  }
  close(output);
}

void ChildProgram::tell(const std::string& line) const {
  const std::string text = line + "\n";
  EXPECT_EQ(write(input_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

void ChildProgram::closeInput() {
  if (input_ >= 0) close(input_);
  input_ = -1;
}

bool ChildProgram::awaitLine(std::string& line) {
  if (!lines_.await([&](const auto& all) { return all.size() > linesTaken_; })) return false;
  line = lines_.all()[linesTaken_++];
  return true;
}

bool ChildProgram::awaitLine(const std::string& beginning, std::string& rest) {
  std::string line;
  while (awaitLine(line)) {
    if (line.compare(0, beginning.size(), beginning) != 0) continue;
    rest = line.substr(beginning.size());
    return true;
  }
  return false;
}

void ChildProgram::signal(int number) const { EXPECT_EQ(kill(id_, number), 0); }

int ChildProgram::awaitEnd() {
  constexpr int kNoEnd = -1000;
  if (!WatchedProcesses({id_}).awaitEnd()) return kNoEnd;
  int status = 0;
  while (waitpid(id_, &status, 0) < 0 && errno == EINTR) {
  }
  id_ = -1;
  return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

Partner::Partner(const std::string& address, const std::string& name, Manner manner)
    : program_("end_to_end_partner", {address, name, manner == kAnswers ? "answer" : "listen"}) {
  std::string line;
  EXPECT_TRUE(program_.awaitLine("ready", line));
}

bool Partner::awaitNotification(zelipc::JSObject& notification) {
  std::string line;
  return program_.awaitLine(line) && notification.parse(line.c_str()) >= 0;
}

}  // namespace wzapp_test
