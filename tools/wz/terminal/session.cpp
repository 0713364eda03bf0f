#include "wz/terminal/session.h"

#include "workstation/terminal/terminal_namespace.h"
#include "workstation/terminal/terminal_profile.h"
#include "wz/reports/output.h"

namespace wz {

bool enterChosenTerminal(const std::string& terminalDir) {
  const std::string directory =
      terminalDir.empty() ? workstation::terminalDirectory() : terminalDir;
  if (directory.empty()) {
    printMessage(
        "which terminal? Name its folder with --terminal DIR or in the environment variable "
        "WZ_TERMINAL; make one with: wz terminal create DIR");
    return false;
  }
  std::string error;
  if (workstation::enterTerminal(directory, error)) return true;
  printMessage(error);
  return false;
}

bool Session::begin(const std::string& terminalDir) {
  if (!enterChosenTerminal(terminalDir)) return false;
  std::string error;
  if (bus_.begin(workstation::terminalDirectory(), error)) return true;
  printMessage(error);
  return false;
}

}  // namespace wz
