#include <string>

#include "wz/commands/commands.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/terminal/own_terminal.h"
#include "wz/terminal/screen_trial.h"
#include "wz/words/exit_code.h"

namespace wz {

int createTerminal(const CreateOptions& options) {
  workstation::NewTerminal terminal = options.terminal;
  if (!readDisplaySize(options.display, terminal.profile)) {
    printMessage("--display is WIDTHxHEIGHT in pixels, such as 480x800, not " + options.display);
    return kUsage;
  }
  terminal.profile.keys = options.keys.value_or(keysOfModel(terminal.profile.model));
  // A terminal without a sponsor is asked for by an empty id; there is then nothing to name.
  if (terminal.profile.sponsorId.empty()) terminal.profile.sponsorText.clear();
  workstation::ProfileError profileError;
  if (!workstation::checkTerminalProfile(terminal.profile, profileError)) {
    printMessage(profileError.message);
    return kUsage;
  }
  std::string error;
  // Roots of the user's own go with the table that is compiled in.
  if (terminal.roots.empty() && !addTrust(terminal, error)) {
    printMessage(error);
    return kEnvironment;
  }
  if (!workstation::createTerminal(options.directory, terminal, error)) {
    printMessage(error);
    return kEnvironment;
  }
  for (const std::string& contradiction : modelContradictions(terminal.profile)) {
    printNote("note: " + contradiction);
  }
  if (options.asJson) {
    printJsonDocument("terminal create", true, {},
                      [&](JsonWriter& writer) { putText(writer, "directory", options.directory); });
  } else {
    printSuccess("made the terminal " + options.directory);
  }
  return kDone;
}

}  // namespace wz
