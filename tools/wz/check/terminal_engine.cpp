#include "wz/check/terminal_engine.h"

#include "workstation/terminal/terminal_profile.h"
#include "wz/reports/output.h"

namespace wz {

bool readTerminalEngine(const std::string& directory, unsigned& engine) {
  workstation::TerminalProfile profile;
  workstation::ProfileError error;
  if (!workstation::loadTerminalProfile(directory, profile, error)) {
    printMessage(error.text());
    return false;
  }
  engine = profile.engine;
  return true;
}

}  // namespace wz
