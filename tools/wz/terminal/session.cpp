#include "wz/terminal/session.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "workstation/terminal/terminal_namespace.h"
#include "workstation/terminal/terminal_profile.h"
#include "wz/reports/output.h"
#include "wz/terminal/own_terminal.h"

namespace wz {
namespace {

// A program that starts many a `wz` asks by this variable for none to outlive it, however it ends.
constexpr char kEndWithParent[] = "WZ_END_WITH_PARENT";

// To be called once the process has entered the terminal: with new credentials it would be
// forgotten (prctl(2)).
void followParent(pid_t parent) {
  if (std::getenv(kEndWithParent) == nullptr) return;
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (getppid() != parent) std::raise(SIGTERM);
}

}  // namespace

bool chooseTerminal(const std::string& terminalDir, std::string& directory) {
  directory = terminalDir.empty() ? workstation::terminalDirectory() : terminalDir;
  return !directory.empty() || findOwnTerminal(directory);
}

bool enterChosenTerminal(const std::string& terminalDir) {
  std::string directory;
  if (!chooseTerminal(terminalDir, directory)) return false;
  const pid_t parent = getppid();
  std::string error;
  if (!workstation::enterTerminal(directory, error)) {
    printMessage(error);
    return false;
  }
  followParent(parent);
  return true;
}

bool Session::begin(const std::string& terminalDir) {
  return enterChosenTerminal(terminalDir) && beginBus();
}

bool Session::beginBus() {
  std::string error;
  if (bus_.begin(workstation::terminalDirectory(), error)) return true;
  printMessage(error);
  return false;
}

}  // namespace wz
