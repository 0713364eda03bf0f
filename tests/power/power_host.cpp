// A terminal whose power goes, as power_cuts.py has it:
//
//   power_host prepare TERMINAL   makes the terminal, with the scenario's applications and packages
//   power_host install TERMINAL   one installation run, told of on standard output
//   power_host step TERMINAL      the same; before each change of a file it writes a line, and
//   waits
//                                 for one

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "tests/crypto/authority_fixtures.h"
#include "tests/installer/install_scenario.h"
#include "tests/power/file_changes.h"
#include "workstation/terminal/terminal_layout.h"
#include "workstation/terminal/terminal_namespace.h"
#include "wzapp/wzapp.h"

namespace {

namespace fs = std::filesystem;

using namespace wzapp_test;

constexpr char kRootsFolder[] = "roots";

struct Scenario : ScenarioTest {
  using ScenarioTest::installed;
  using ScenarioTest::packages;
};

void put(const fs::path& path, const std::string& content) {
  fs::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary);
  file << content;
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path.string());
}

void makeTerminal(const fs::path& terminal) {
  workstation::TerminalProfile profile = testProfile();
  profile.rootsDirectory = kRootsFolder;
  put(terminal / workstation::kProfileFile, workstation::formatTerminalProfile(profile));
  for (const std::string& user : workstation::terminalUsers()) {
    fs::create_directories(terminal / workstation::kHomeFolder / user);
  }
  fs::create_directories(terminal / workstation::kFlashFolder);
  fs::create_directories(terminal / workstation::kRunFolder);
  fs::permissions(terminal / workstation::kRunFolder, fs::perms::owner_all);
  for (const std::size_t root : {std::size_t{0}, std::size_t{1}}) {
    const Octets& der = rootCertificate(root);
    put(terminal / kRootsFolder / (std::to_string(root) + ".der"),
        std::string(der.begin(), der.end()));
  }
}

void fillTerminal() {
  for (const auto& [path, content] : Scenario::installed()) put(path, content);
  for (const auto& [name, content] : Scenario::packages()) put(kSource + "/" + name, content);
}

// Standard input and output, without the buffers whose writing would be a change.
void waitForTurn() {
  char answer = '\n';
  if (write(STDOUT_FILENO, &answer, 1) != 1 || read(STDIN_FILENO, &answer, 1) != 1) _exit(3);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  const std::string mode = argv[1];
  if (mode == "prepare") makeTerminal(argv[2]);
  std::string error;
  if (!workstation::enterTerminal(argv[2], error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 3;
  }
  if (mode == "prepare") {
    fillTerminal();
    return 0;
  }
  if (mode == "step") beforeChange = waitForTurn;
  static_cast<void>(wzapp::wzInstall(nullptr, nullptr));
  beforeChange = nullptr;
  return 0;
}
