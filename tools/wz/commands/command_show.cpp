#include <string>

#include "installer/dependency_check.h"
#include "support/platform_info.h"
#include "workstation/terminal/terminal_profile.h"
#include "wz/commands/commands.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/reports/terminal_output.h"
#include "wz/terminal/screen_trial.h"
#include "wz/terminal/session.h"
#include "wz/terminal/trusted_authorities.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

std::string yesOrNo(bool is) { return is ? "yes" : "no"; }

// As applications find it, which is not always what the profile says.
void printTerminal(const workstation::TerminalProfile& profile) {
  printLine("serial      " + profile.serial);
  printLine("model       " + profile.model + " (applications know it as " +
            std::string(wzapp::modelName()) + ")");
  printLine("display     " + std::to_string(profile.displayWidth) + "x" +
            std::to_string(profile.displayHeight) +
            (profile.displayColour ? ", in colour" : ", black and white"));
  printLine("memory      " + std::to_string(profile.memoryKB) + " KB");
  printLine("keys        " + std::to_string(wzapp::keyCount()));
  printLine("touch       " + yesOrNo(wzapp::hasTouchScreen() != 0));
  printLine("sponsor     " + (profile.sponsorId.empty()
                                  ? std::string("none")
                                  : profile.sponsorId + " " + profile.sponsorText));
  printLine("engine      " +
            (profile.engine == 0 ? "not known" : "version " + std::to_string(profile.engine)));
  printLine("platform    " + wzapp::hardwareDescriptor());
  printLine("authorities " + trustedText());
}

}  // namespace

int showTerminal(const ShowTerminalOptions& options) {
  if (!enterChosenTerminal(options.directory)) return kEnvironment;
  workstation::TerminalProfile profile;
  workstation::ProfileError error;
  if (!workstation::loadTerminalProfile(workstation::terminalDirectory(), profile, error)) {
    printMessage(error.text());
    return kEnvironment;
  }
  if (options.asJson) {
    printJsonDocument("terminal show", true, {},
                      [&profile](JsonWriter& writer) { putTerminal(writer, profile); });
    return kDone;
  }
  printTerminal(profile);
  for (const std::string& contradiction : modelContradictions(profile))
    printLine("note        " + contradiction);
  return kDone;
}

}  // namespace wz
