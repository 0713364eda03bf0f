#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>
#include <vector>

#include "wz/commands/commands.h"
#include "wz/reports/output.h"
#include "wz/terminal/session.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

// What shells give for a program that a signal has ended.
constexpr int kSignalCode = 128;

pid_t program = 0;  // read by the signal handler, set before it is installed

void passOn(int number) { kill(program, number); }

// The interrupt key reaches the program by itself, as it does everything on that terminal; what is
// sent to wz alone is passed on. Either way it is the program that decides when to end.
void followProgram() {
  std::signal(SIGINT, SIG_IGN);
  std::signal(SIGQUIT, SIG_IGN);
  struct sigaction action {};
  action.sa_handler = passOn;
  sigemptyset(&action.sa_mask);
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGHUP, &action, nullptr);
}

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
  program = fork();
  if (program == 0) become(options.command);
  if (program < 0) {
    printMessage(std::string("cannot start ") + options.command.front() + ": " +
                 std::strerror(errno));
    return kEnvironment;
  }
  followProgram();
  int status = 0;
  while (waitpid(program, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : kSignalCode + WTERMSIG(status);
}

}  // namespace wz
