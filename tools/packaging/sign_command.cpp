#include "packaging/sign_command.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <vector>

#include "packaging/temporary_folders.h"

extern char** environ;

namespace packaging {
namespace {

constexpr std::size_t kLongestSignature = 1024;  // octets: far beyond any key that terminals take

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { reset(); }

  [[nodiscard]] int get() const { return number_; }
  void reset() {
    if (number_ >= 0) close(number_);
    number_ = -1;
  }

 private:
  int number_;
};

// In memory, so that a program that does not read it harms nobody.
int fileWith(std::string_view content) {
  const int file = memfd_create("octets to sign", MFD_CLOEXEC);
  if (file < 0) return -1;
  if (write(file, content.data(), content.size()) == static_cast<ssize_t>(content.size()) &&
      lseek(file, 0, SEEK_SET) == 0) {
    return file;
  }
  close(file);
  return -1;
}

std::vector<std::string> environmentFor(const std::string& signer) {
  constexpr char kSigner[] = "WZ_SIGNER=";
  std::vector<std::string> variables;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    if (std::strncmp(*variable, kSigner, sizeof(kSigner) - 1) != 0) variables.push_back(*variable);
  }
  variables.push_back(kSigner + signer);
  return variables;
}

int start(const std::string& command, const std::string& signer, int input, int output,
          pid_t& process) {
  std::vector<std::string> variables = environmentFor(signer);
  std::vector<char*> environment;
  environment.reserve(variables.size() + 1);
  for (std::string& variable : variables) environment.push_back(variable.data());
  environment.push_back(nullptr);
  std::string shell = "sh", option = "-c", text = command;
  char* const arguments[] = {shell.data(), option.data(), text.data(), nullptr};
  posix_spawn_file_actions_t actions;
  if (const int failure = posix_spawn_file_actions_init(&actions); failure != 0) return failure;
  posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  // A signal that another thread here waits for would be blocked in the program for good.
  posix_spawnattr_t attributes;
  if (const int failure = posix_spawnattr_init(&attributes); failure != 0) return failure;
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
  const int failure =
      posix_spawn(&process, "/bin/sh", &actions, &attributes, arguments, environment.data());
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return failure;
}

// One octet more than there may be is enough to see that there are too many.
std::string readAll(int pipe) {
  std::string text;
  std::array<char, 4096> block;
  for (;;) {
    const ssize_t count = read(pipe, block.data(), block.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0 || text.size() > kLongestSignature) return text;
    text.append(block.data(), static_cast<std::size_t>(count));
  }
}

int awaitEnd(pid_t process) {
  int status = 0;
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

bool fail(std::string& error, const std::string& what) {
  error = what + ": " + std::strerror(errno);
  return false;
}

}  // namespace

bool runSignCommand(const std::string& command, const std::string& signer, std::string_view octets,
                    std::string& signature, std::string& error) {
  const Descriptor input(fileWith(octets));
  int ends[2];
  if (input.get() < 0 || pipe2(ends, O_CLOEXEC) != 0) return fail(error, "cannot run " + command);
  Descriptor reading(ends[0]), writing(ends[1]);
  int failure = 0;
  const pid_t process = startKilledBeforeRemoval([&] {
    pid_t started = -1;
    failure = start(command, signer, input.get(), writing.get(), started);
    return failure == 0 ? started : -1;
  });
  errno = failure;
  if (failure != 0) return fail(error, "cannot run " + command);
  writing.reset();
  const std::string result = readAll(reading.get());
  reading.reset();
  const int status = awaitEnd(process);
  forgetKilledBeforeRemoval();
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    error = "the sign command failed (" +
            (WIFEXITED(status) ? "exit code " + std::to_string(WEXITSTATUS(status))
                               : "signal " + std::to_string(WTERMSIG(status))) +
            ") for the " + signer + " signer: " + command;
    return false;
  }
  if (result.empty() || result.size() > kLongestSignature) {
    error = "the sign command wrote " +
            (result.empty() ? "nothing"
                            : "more than " + std::to_string(kLongestSignature) + " octets") +
            " where the raw signature of the " + signer + " signer belongs: " + command;
    return false;
  }
  signature = result;
  return true;
}

}  // namespace packaging
