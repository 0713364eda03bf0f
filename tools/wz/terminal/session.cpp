#include "wz/terminal/session.h"

#include "workstation/terminal/terminal_namespace.h"
#include "workstation/terminal/terminal_profile.h"
#include "wz/reports/output.h"
#include "wz/terminal/own_terminal.h"

namespace wz {

bool enterChosenTerminal(const std::string& terminalDir) {
  std::string directory = terminalDir.empty() ? workstation::terminalDirectory() : terminalDir;
  if (directory.empty() && !findOwnTerminal(directory)) return false;
  std::string error;
  if (workstation::enterTerminal(directory, error)) return true;
  printMessage(error);
  return false;
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
