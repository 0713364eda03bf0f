#include <charconv>
#include <string>
#include <string_view>

#include "wz/commands/commands.h"
#include "wz/reports/output.h"
#include "wz/terminal/own_terminal.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

bool readNumber(std::string_view text, int& number) {
  const char* const end = text.data() + text.size();
  const auto [rest, failure] = std::from_chars(text.data(), end, number);
  return failure == std::errc() && rest == end;
}

// "480x800"
bool readDisplay(const std::string& text, workstation::TerminalProfile& profile) {
  const std::size_t cross = text.find('x');
  if (cross == std::string::npos) return false;
  return readNumber(std::string_view(text).substr(0, cross), profile.displayWidth) &&
         readNumber(std::string_view(text).substr(cross + 1), profile.displayHeight);
}

}  // namespace

int createTerminal(const CreateOptions& options) {
  workstation::NewTerminal terminal = options.terminal;
  if (!readDisplay(options.display, terminal.profile)) {
    printMessage("--display is WIDTHxHEIGHT in pixels, such as 480x800, not " + options.display);
    return kUsage;
  }
  // A terminal without a sponsor is asked for by an empty id; there is then nothing to name.
  if (terminal.profile.sponsorId.empty()) terminal.profile.sponsorText.clear();
  workstation::ProfileError profileError;
  if (!workstation::checkTerminalProfile(terminal.profile, profileError)) {
    printMessage(profileError.message);
    return kUsage;
  }
  addDevelopmentRoots(terminal);
  std::string error;
  if (!workstation::createTerminal(options.directory, terminal, error)) {
    printMessage(error);
    return kEnvironment;
  }
  printLine("made the terminal " + options.directory);
  return kDone;
}

}  // namespace wz
