#include "workstation/browser/engine/service/display_shape.h"

#include "workstation/terminal/terminal_profile.h"

namespace workstation {

bool displayShape(const std::string& terminal, WindowShape& shape, std::string& error) {
  if (terminal.empty()) {
    shape = WindowShape();
    return true;
  }
  TerminalProfile profile;
  ProfileError problem;
  if (!loadTerminalProfile(terminal, profile, problem)) {
    error = problem.text();
    return false;
  }
  shape = {profile.displayWidth, profile.displayHeight, profile.touch, profile.displayColour};
  return true;
}

}  // namespace workstation
