#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "wz/commands/commands.h"
#include "wz/reports/output.h"
#include "wz/terminal/followed_program.h"
#include "wz/terminal/session.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

// What shells give for a program that a signal has ended.
constexpr int kSignalCode = 128;

[[noreturn]] void become(const std::vector<std::string>& command) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& argument : command)
    arguments.push_back(const_cast<char*>(argument.data()));
  arguments.push_back(nullptr);
  execvp(arguments.front(), arguments.data());
  printMessage("cannot start " + command.front() + ": " + std::strerror(errno));
  _exit(kEnvironment);
}

}  // namespace

int execute(const ExecuteOptions& options) {
  Session session;
  if (!session.begin(options.terminal)) return kEnvironment;
  // What is sent to wz alone is for the program, too, which decides when to end.
  if (startFollowed([&] { become(options.command); }) < 0) {
    printMessage(std::string("cannot start ") + options.command.front() + ": " +
                 std::strerror(errno));
    return kEnvironment;
  }
  const int status = awaitFollowed();
  return WIFEXITED(status) ? WEXITSTATUS(status) : kSignalCode + WTERMSIG(status);
}

}  // namespace wz
