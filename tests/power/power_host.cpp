// A terminal whose power goes, as power_cuts.py has it. Reads commands, one a line:
//
//   prepare TERMINAL   makes the terminal, with the scenario's applications and packages
//   install TERMINAL   one installation run
//   step TERMINAL      begins one that stops before each change of a file
//   go                 lets it make that change
//
// and answers each with a line: "change" where a run has stopped, else "end 0". Everything happens
// in processes of their own that have this one's keys in common, so that what one has signed the
// other trusts. The runs' messages go to standard error.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "crypto/store/authorities.h"
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
constexpr int kLost = 99;  // where this program itself fails

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

void tell(void*, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vfprintf(stderr, format, arguments);
  va_end(arguments);
}

// What a process is told by and what it tells by; single octets, without buffers whose writing
// would be a change.
struct Line {
  int in = -1;
  int out = -1;
};

constexpr char kChange = 'c';
constexpr char kGo = 'g';

Line ofSteps;  // of the process that steps

void waitForTurn() {
  char octet = kChange;
  if (write(ofSteps.out, &octet, 1) != 1 || read(ofSteps.in, &octet, 1) != 1) _exit(kLost);
}

void enter(const std::string& terminal) {
  std::string error;
  if (workstation::enterTerminal(terminal, error)) return;
  std::fprintf(stderr, "%s\n", error.c_str());
  _exit(kLost);
}

int prepare(const std::string& terminal) {
  makeTerminal(terminal);
  enter(terminal);
  fillTerminal();
  return 0;
}

int install(const std::string& terminal) {
  enter(terminal);
  static_cast<void>(wzapp::wzInstall(tell, nullptr));
  return 0;
}

int step(const std::string& terminal) {
  enter(terminal);
  beforeChange = waitForTurn;
  static_cast<void>(wzapp::wzInstall(nullptr, nullptr));
  beforeChange = nullptr;
  return 0;
}

// --- The process that is asked ----------------------------------------------------------------

struct Command {
  std::string_view name;
  int (*run)(const std::string& terminal);
};
constexpr Command kCommands[] = {{"prepare", prepare}, {"install", install}, {"step", step}};

// A command that runs.
struct Child {
  pid_t process = -1;
  Line line;
};

Child start(const Command& command, const std::string& terminal) {
  int told[2];
  int tells[2];
  if (pipe2(told, O_CLOEXEC) != 0 || pipe2(tells, O_CLOEXEC) != 0) std::exit(kLost);
  const pid_t process = fork();
  if (process < 0) std::exit(kLost);
  if (process > 0) {
    close(told[0]);
    close(tells[1]);
    return {process, {tells[0], told[1]}};
  }
  ofSteps = {told[0], tells[1]};
  close(told[1]);
  close(tells[0]);
  _exit(command.run(terminal));
}

// Its next change, or its end.
void answer(Child& child) {
  char octet = 0;
  if (read(child.line.in, &octet, 1) == 1) {
    std::puts("change");
  } else {
    int status = 0;
    waitpid(child.process, &status, 0);
    close(child.line.in);
    close(child.line.out);
    child = {};
    std::printf("end %d\n", WIFEXITED(status) ? WEXITSTATUS(status) : kLost);
  }
  std::fflush(stdout);
}

void obey(const std::string& line, Child& stepping) {
  if (line == "go") {
    if (write(stepping.line.out, &kGo, 1) != 1) std::exit(kLost);
    answer(stepping);
    return;
  }
  const std::size_t space = line.find(' ');
  for (const Command& command : kCommands) {
    if (space == std::string::npos || command.name != line.substr(0, space)) continue;
    Child child = start(command, line.substr(space + 1));
    answer(child);
    if (child.process >= 0) stepping = child;
    return;
  }
  std::exit(kLost);
}

}  // namespace

int main() {
  static_cast<void>(Scenario::packages());  // with every key that there is
  static_cast<void>(wzapp::authorities());
  Child stepping;
  std::string line;
  while (std::getline(std::cin, line)) obey(line, stepping);
}
