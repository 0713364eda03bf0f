#include "wz/terminal/own_terminal.h"

#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "authority_table/table_file.h"
#include "workstation/terminal/terminal_layout.h"
#include "workstation/terminal/terminal_profile.h"
#include "wz/reports/output.h"
#include "wz/terminal/data_folder.h"
#include "wz/terminal/development_roots.h"
#include "wz/terminal/own_keys.h"

namespace wz {
namespace {

namespace fs = std::filesystem;

constexpr char kPlace[] = "wzapp/terminal";

bool isTerminal(const fs::path& folder) {
  std::error_code failure;
  return fs::exists(folder / workstation::kProfileFile, failure);
}

// Under another name first: of two commands at once, neither finds one that is not complete.
bool makeTerminal(const fs::path& folder, std::string& error) {
  workstation::NewTerminal terminal = defaultTerminal();
  if (!addTrust(terminal, error)) return false;
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

bool readAuthorities(const std::string& directory, workstation::NewTerminal& terminal,
                     std::string& error) {
  authority_table::Findings findings;
  for (const authority_table::TableRow& row : authority_table::readTable(directory, findings)) {
    terminal.authorities.push_back({row.kind, row.certificate.der});
  }
  if (findings.errors.empty()) return true;
  error = findings.errors.front();
  return false;
}

bool addTrust(workstation::NewTerminal& terminal, std::string& error) {
  std::string directory;
  if (!findTableDirectory(directory)) {
    error = "the terminal would trust nobody";
    return false;
  }
  if (directory.empty()) {
    for (const DevelopmentRoot& root : developmentRoots()) {
      terminal.ownRoots.push_back({root.fileName, std::string(root.der.begin(), root.der.end())});
    }
    return true;
  }
  authority_table::Findings findings;
  for (const authority_table::CertificateFile& root :
       authority_table::readFolder(directory + "/roots", findings)) {
    terminal.ownRoots.push_back({fs::path(root.path).filename().string(), root.der});
  }
  if (!findings.errors.empty()) error = findings.errors.front();
  return findings.errors.empty() && readAuthorities(directory, terminal, error);
}

bool addTrustOf(const std::string& terminalDir, workstation::NewTerminal& terminal,
                std::string& error) {
  const fs::path folder = fs::path(terminalDir) / workstation::kAuthoritiesFolder;
  std::error_code failure;
  if (!fs::exists(folder / workstation::kAuthoritiesFile, failure)) return true;
  return readAuthorities(folder.string(), terminal, error);
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
  printNote("made the terminal " + directory +
            " for commands that name none (with --terminal or WZ_TERMINAL)");
  return true;
}

}  // namespace wz
