#include "wz/doctor/machine_check.h"

#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string_view>
#include <system_error>

#include "support/file_system.h"
#include "workstation/browser/engine/process/chromium_command.h"
#include "workstation/terminal/private_namespaces.h"
#include "workstation/terminal/program_search.h"
#include "wz/commands/signing_options.h"
#include "wz/doctor/leftovers.h"
#include "wz/reports/certificate_facts.h"
#include "wz/reports/expiry.h"
#include "wz/reports/screen.h"
#include "wz/terminal/own_keys.h"
#include "wz/terminal/trusted_authorities.h"
#include "wz/words/explain.h"
#include "wz/words/shell_word.h"

namespace wz {
namespace {

namespace fs = std::filesystem;

void add(MachineFact& fact, const char* code, const std::string& evidence) {
  fact.diagnostics.push_back({code, lowerFirst(codeOf(code).title), "", "", 0, 0, evidence});
}

struct CloseProgram {
  void operator()(FILE* program) const { pclose(program); }
};

std::string notLookedFor(pid_t other) {
  return "none of browsers; work folders were not looked for, since another wz runs (process " +
         std::to_string(other) + ")";
}

// The first line that a command of a shell prints; empty when it fails before.
std::string firstLineOf(const std::string& command) {
  const std::unique_ptr<FILE, CloseProgram> program(
      popen((command + " 2>/dev/null").c_str(), "re"));
  char line[256] = "";
  if (program == nullptr || fgets(line, sizeof(line), program.get()) == nullptr) return {};
  std::string text(line);
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  return text;
}

// ---- Browser and bus ---------------------------------------------------------------------------

void checkBrowser(MachineFact& fact) {
  std::string program, error;
  if (!workstation::findBrowser("", true, program, error)) return add(fact, "WZ-1001", program);
  const std::string version = firstLineOf(shellWord(program) + " --version");
  if (version.empty()) return add(fact, "WZ-1002", program + " --version prints nothing");
  fact.found = version + ", " + program;
}

void checkBrowserWithoutWindows(MachineFact& fact) {
  std::string whole, program, error;
  if (!workstation::findBrowser("", false, program, error)) {
    fact.found = "none either";
    return;
  }
  const bool isWhole = workstation::findBrowser("", true, whole, error) && whole == program;
  fact.found = !isWhole ? program
                        : std::string("the same; Debian's package ") +
                              workstation::kHeadlessPackage + " starts three times as fast";
}

void checkBus(MachineFact& fact) {
  const std::string program = workstation::findProgram("dbus-daemon");
  if (program.empty()) return add(fact, "WZ-1003", "dbus-daemon is not in PATH");
  fact.found = firstLineOf(shellWord(program) + " --version") + ", " + program;
}

// ---- Namespaces --------------------------------------------------------------------------------

struct Forbidding {
  const char* file;   // of the kernel's settings
  const char* value;  // that forbids
  const char* cure;
};

constexpr Forbidding kForbiddings[] = {
    {"/proc/sys/user/max_user_namespaces", "0", "sudo sysctl user.max_user_namespaces=15000"},
    {"/proc/sys/user/max_mnt_namespaces", "0", "sudo sysctl user.max_mnt_namespaces=15000"},
    {"/proc/sys/kernel/unprivileged_userns_clone", "0",
     "sudo sysctl kernel.unprivileged_userns_clone=1"},
    {"/proc/sys/kernel/apparmor_restrict_unprivileged_userns", "1",
     "sudo sysctl kernel.apparmor_restrict_unprivileged_userns=0"},
};

std::string whatForbids() {
  for (const Forbidding& row : kForbiddings) {
    std::ifstream file(row.file);
    std::string value;
    if (std::getline(file, value) && value == row.value) {
      return std::string(row.file) + " is " + value + ": " + row.cure;
    }
  }
  return "none of the kernel's settings forbids it: a container's profile does";
}

// 0, or the errno with which a child fails to make them.
int tryNamespaces() {
  const workstation::NamespaceIds ids{geteuid(), getegid(), geteuid(), getegid()};
  const pid_t child = fork();
  if (child == 0) _exit(workstation::makePrivateNamespaces(ids) == nullptr ? 0 : errno);
  int status = 0;
  while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (child < 0) return errno;
  return WIFEXITED(status) ? WEXITSTATUS(status) : EPERM;
}

void checkNamespaces(MachineFact& fact) {
  if (const int reason = tryNamespaces(); reason != 0) {
    return add(fact, "WZ-1004", std::string(std::strerror(reason)) + "; " + whatForbids());
  }
  fact.found = "allowed";
}

// ---- Display -----------------------------------------------------------------------------------

void checkDisplay(MachineFact& fact) {
  if (!workstation::hasDisplayServer()) {
    return add(fact, "WZ-1006", "neither DISPLAY nor WAYLAND_DISPLAY is set");
  }
  fact.found = "there is one";
}

void checkSharedMemory(MachineFact& fact) {
  constexpr unsigned long long kEnough = 256;
  struct statvfs status {};
  if (statvfs("/dev/shm", &status) != 0) return add(fact, "WZ-1005", std::strerror(errno));
  const unsigned long long free =
      static_cast<unsigned long long>(status.f_bavail) * status.f_frsize >> 20;
  const std::string text = std::to_string(free) + " MiB are free in /dev/shm";
  if (free < kEnough) return add(fact, "WZ-1005", text);
  fact.found = text;
}

bool isFont(const fs::path& path) {
  constexpr std::string_view kEndings[] = {".ttf", ".otf", ".ttc", ".pfb", ".woff", ".woff2"};
  return std::ranges::find(kEndings, path.extension().string()) != std::end(kEndings);
}

void checkFonts(MachineFact& fact) {
  const char* const home = getenv("HOME");
  std::vector<fs::path> folders{"/usr/share/fonts", "/usr/local/share/fonts"};
  if (home != nullptr) {
    folders.insert(folders.end(),
                   {fs::path(home) / ".fonts", fs::path(home) / ".local/share/fonts"});
  }
  std::size_t count = 0;
  for (const fs::path& folder : folders) {
    std::error_code failure;
    const auto options = fs::directory_options::skip_permission_denied;
    for (fs::recursive_directory_iterator entry(folder, options, failure), end;
         !failure && entry != end; entry.increment(failure)) {
      if (isFont(entry->path())) ++count;
    }
  }
  if (count == 0) return add(fact, "WZ-1007", "none below /usr/share/fonts");
  fact.found = std::to_string(count) + (count == 1 ? " file" : " files");
}

// ---- Keys --------------------------------------------------------------------------------------

// The signers' last dates, told ahead.
void addExpiries(const std::string& keys, MachineFact& fact) {
  for (const char* const role : {"application", "manifest"}) {
    const std::string file = keys + "/signers/" + role + ".der";
    std::string der, refusal;
    CertificateFacts facts;
    if (!wzapp::readFile(file.c_str(), der) ||
        !readFacts(wzapp::viewOf(der), currentTime(), facts, refusal)) {
      continue;
    }
    const auto expiry = expiryOf(facts, "", "", currentTime(), kExpiryNotice);
    if (expiry) add(fact, expiry->code.c_str(), file + ", " + expiry->evidence);
  }
}

void checkKeys(MachineFact& fact) {
  const std::string keys = knownKeyDirectory();
  if (keys.empty() && !ownKeyDirectory().empty()) {
    fact.found = "none yet; they are made at first use, in " + ownKeyDirectory();
    return;
  }
  if (keys.empty()) return add(fact, "WZ-1008", "WZ_KEYS is not set");
  SigningAuthorities authorities;
  if (!authorities.load(keys)) return add(fact, "WZ-0903", keys);
  if (!authorities.areInForce()) return add(fact, "WZ-0905", keys);
  fact.found = keys + ", below the authorities in force";
  addExpiries(keys, fact);
}

void checkAuthorities(MachineFact& fact) { fact.found = trustedText(); }

// ---- Tests of applications ---------------------------------------------------------------------

void checkNode(MachineFact& fact) {
  constexpr int kOldest = 18;
  const std::string program = workstation::findProgram("node");
  const std::string version = program.empty() ? "" : firstLineOf(shellWord(program) + " --version");
  int major = 0;
  if (std::sscanf(version.c_str(), "v%d", &major) != 1 || major < kOldest) {
    return add(fact, "WZ-1010", program.empty() ? "node is not in PATH" : program + " " + version);
  }
  fact.found = version + ", " + program;
}

void checkPlaywright(MachineFact& fact) {
  const std::string program = workstation::findProgram("node");
  constexpr char kScript[] =
      "console.log(require(require.resolve('@playwright/test/package.json', "
      "{paths: [process.cwd()]})).version)";
  const std::string version =
      program.empty() ? "" : firstLineOf(shellWord(program) + " -e " + shellWord(kScript));
  if (version.empty()) return add(fact, "WZ-1011", "@playwright/test is not found from here");
  fact.found = "@playwright/test " + version;
}

struct Check {
  const char* name;
  void (*look)(MachineFact& fact);
};

constexpr Check kChecks[] = {
    {"browser", checkBrowser},
    {"without windows", checkBrowserWithoutWindows},
    {"message bus", checkBus},
    {"namespaces", checkNamespaces},
    {"display", checkDisplay},
    {"shared memory", checkSharedMemory},
    {"fonts", checkFonts},
    {"keys", checkKeys},
    {"authorities", checkAuthorities},
    {"Node.js", checkNode},
    {"Playwright", checkPlaywright},
};

}  // namespace

std::vector<MachineFact> checkMachine(const std::string& terminal) {
  std::vector<MachineFact> facts;
  Progress progress("looking at the machine", std::size(kChecks));
  for (const Check& check : kChecks) {
    progress.step();
    facts.push_back({check.name, "", {}});
    check.look(facts.back());
  }
  const Leftovers left = findLeftovers(terminal);
  facts.push_back({"leftovers", left.other == 0 ? "none" : notLookedFor(left.other), {}});
  for (const std::string& path : left.folders) add(facts.back(), "WZ-1009", path);
  return facts;
}

}  // namespace wz
