#include "wz/terminal/own_terminal.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "workstation/terminal/terminal_profile.h"
#include "wz/reports/output.h"
#include "wz/terminal/development_roots.h"

namespace wz {
namespace {

namespace fs = std::filesystem;

constexpr char kPlace[] = "wzapp/terminal";

// An absolute path in an environment variable; empty for anything else.
fs::path folderIn(const char* variable) {
  const char* const value = std::getenv(variable);
  return value != nullptr && value[0] == '/' ? fs::path(value) : fs::path();
}

fs::path dataFolder() {
  if (fs::path data = folderIn("XDG_DATA_HOME"); !data.empty()) return data;
  const fs::path home = folderIn("HOME");
  return home.empty() ? fs::path() : home / ".local/share";
}

bool isTerminal(const fs::path& folder) {
  std::error_code failure;
  return fs::exists(folder / workstation::kProfileFile, failure);
}

// Under another name first: of two commands at once, neither finds one that is not complete.
bool makeTerminal(const fs::path& folder, std::string& error) {
  workstation::NewTerminal terminal = defaultTerminal();
  addDevelopmentRoots(terminal);
  const fs::path made = folder.string() + "." + std::to_string(getpid());
  if (!workstation::createTerminal(made.string(), terminal, error)) return false;
  std::error_code failure;
  fs::rename(made, folder, failure);
  if (!failure) return true;
  std::error_code ignored;
  fs::remove_all(made, ignored);
  if (isTerminal(folder)) return true;
  error = "cannot make the terminal " + folder.string() + ": " + failure.message();
  return false;
}

}  // namespace

workstation::NewTerminal defaultTerminal() {
  workstation::NewTerminal terminal;
  terminal.profile.serial = "10000000001";
  terminal.profile.model = "T30";
  terminal.profile.displayWidth = 480;
  terminal.profile.displayHeight = 800;
  terminal.profile.displayColour = true;
  terminal.profile.memoryKB = 524288;
  terminal.profile.keys = 0;  // a T30 has none
  terminal.profile.touch = true;
  terminal.profile.sponsorId = "123456";
  terminal.profile.sponsorText = "Example sponsor";
  terminal.exports.triggers = {"CARD_PRESENTED", "RECEIPT"};
  return terminal;
}

void addDevelopmentRoots(workstation::NewTerminal& terminal) {
  for (const DevelopmentRoot& root : developmentRoots()) {
    terminal.ownRoots.push_back({root.fileName, std::string(root.der.begin(), root.der.end())});
  }
}

bool findOwnTerminal(std::string& directory) {
  const fs::path data = dataFolder();
  if (data.empty()) {
    printMessage(
        "which terminal? Name its folder with --terminal DIR or in the environment variable "
        "WZ_TERMINAL; without HOME there is no place for one of your own");
    return false;
  }
  const fs::path folder = data / kPlace;
  directory = folder.string();
  if (isTerminal(folder)) return true;
  std::string error;
  if (!makeTerminal(folder, error)) {
    printMessage(error);
    return false;
  }
  printMessage("made the terminal " + directory +
               " for commands that name none (with --terminal or WZ_TERMINAL)");
  return true;
}

}  // namespace wz
