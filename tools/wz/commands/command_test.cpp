#include "wz/commands/command_test.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <system_error>
#include <thread>

#include "workstation/browser/browser_control.h"
#include "workstation/terminal/program_search.h"
#include "wz/commands/run_setup.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/reports/test_report.h"
#include "wz/terminal/followed_program.h"
#include "wz/terminal/swept_folder.h"
#include "wz/words/exit_code.h"
#include "wz/words/shell_word.h"

namespace wz {
namespace {

namespace fs = std::filesystem;

constexpr const char* kConfigurations[] = {"playwright.config.js", "playwright.config.mjs",
                                           "playwright.config.cjs", "playwright.config.ts",
                                           "playwright.config.mts"};
constexpr const char* kTestFolder = "tests";
constexpr const char* kRunner = "@playwright/test";
constexpr const char* kFixtures = "wzapp-playwright";
constexpr int kOldestNode = 18;

// ---- What is needed ----------------------------------------------------------------------------

bool hasConfiguration(const fs::path& folder) {
  std::error_code failure;
  for (const char* const name : kConfigurations) {
    if (fs::exists(folder / name, failure)) return true;
  }
  return false;
}

// The folder with the tests: "tests" of the one that is named, or that itself.
bool findTests(const std::string& named, fs::path& folder) {
  std::error_code failure;
  const fs::path given = fs::canonical(named, failure);
  if (failure) {
    printMessage("there is no folder " + named);
    return false;
  }
  for (const fs::path& candidate : {given / kTestFolder, given}) {
    folder = candidate;
    if (hasConfiguration(folder)) return true;
  }
  printMessage(named + " has no tests: neither it nor its folder " + kTestFolder + " has a " +
               kConfigurations[0] + " (wz new DIR makes an example)");
  return false;
}

// A package as Node.js finds it: in a node_modules of the folder or of one above it.
fs::path findPackage(const fs::path& folder, const std::string& name) {
  std::error_code failure;
  for (fs::path at = folder;; at = at.parent_path()) {
    fs::path package = at / "node_modules" / name;
    if (fs::exists(package / "package.json", failure)) return package;
    if (at == at.parent_path()) return {};
  }
}

fs::path ownProgram() {
  std::error_code failure;
  return fs::read_symlink("/proc/self/exe", failure);
}

// Where the fixtures lie beside this program.
fs::path kitPackage() {
  return ownProgram().parent_path().parent_path() / "share/wzapp/playwright";
}

// The output of a program that says its version; empty when it cannot be started.
std::string versionOf(const std::string& program) {
  std::FILE* const pipe = popen((shellWord(program) + " --version 2>/dev/null").c_str(), "re");
  if (pipe == nullptr) return {};
  char line[64] = "";
  if (std::fgets(line, sizeof line, pipe) == nullptr) line[0] = '\0';
  pclose(pipe);
  return line;
}

std::string findNode() {
  for (const char* const name : {"node", "nodejs"}) {
    std::string program = workstation::findProgram(name);
    if (program.empty()) continue;
    const std::string version = versionOf(program);  // "v20.1.0"
    if (version.size() > 1 && std::atoi(version.c_str() + 1) >= kOldestNode) return program;
    printMessage(program + " is too old; the tests need Node.js " + std::to_string(kOldestNode) +
                 " or later");
    return {};
  }
  printMessage("the tests need Node.js " + std::to_string(kOldestNode) +
               " or later, and there is no program node in the PATH; on Debian: apt install "
               "nodejs npm");
  return {};
}

// The runner's program. Empty after a message that says how what is missing is installed.
fs::path findRunner(const fs::path& folder) {
  std::string missing;
  const fs::path runner = findPackage(folder, kRunner);
  if (runner.empty()) missing += std::string(" ") + kRunner;
  if (findPackage(folder, kFixtures).empty()) missing += " " + shellWord(kitPackage().string());
  if (missing.empty()) return runner / "cli.js";
  printMessage("the tests in " + folder.string() +
               " lack packages of Node.js; this installs them: cd " + shellWord(folder.string()) +
               " && npm install --save-dev --install-links" + missing);
  return {};
}

// ---- The run -----------------------------------------------------------------------------------

constexpr char kFolderPrefix[] = "wz-test-";

[[noreturn]] void become(const fs::path& folder, const std::vector<std::string>& command,
                         bool isReported) {
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  // What is read from its report is told by this program alone.
  if (isReported && dup2(STDERR_FILENO, STDOUT_FILENO) < 0) _exit(kEnvironment);
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& argument : command)
    arguments.push_back(const_cast<char*>(argument.data()));
  arguments.push_back(nullptr);
  if (chdir(folder.c_str()) == 0) execv(arguments.front(), arguments.data());
  printMessage("cannot start " + command.front() + ": " + std::strerror(errno));
  _exit(kEnvironment);
}

std::vector<pid_t> children() {
  std::vector<pid_t> found;
  std::ifstream list("/proc/self/task/" + std::to_string(getpid()) + "/children");
  for (pid_t child = 0; list >> child;) found.push_back(child);
  return found;
}

// What a runner that was killed has left: asked to end, and after a while made to.
void endLeftovers() {
  using std::chrono::milliseconds;
  constexpr int kPolite = 50, kMost = 100;
  for (int i = 0; i < kMost; ++i) {
    while (waitpid(-1, nullptr, WNOHANG) > 0) {
    }
    const std::vector<pid_t> left = children();
    if (left.empty()) return;
    for (const pid_t child : left) kill(child, i < kPolite ? SIGTERM : SIGKILL);
    std::this_thread::sleep_for(milliseconds(100));
  }
}

// ---- What is told of it ------------------------------------------------------------------------

// The runner writes a report that is read, instead of telling in its own way.
void askForReport(const std::string& file, std::vector<std::string>& command) {
  command.emplace_back("--reporter=json");
  for (const char* const name : {"PLAYWRIGHT_JSON_OUTPUT_NAME", "PLAYWRIGHT_JSON_OUTPUT_FILE"}) {
    setenv(name, file.c_str(), 1);
  }
  setenv("FORCE_COLOR", "0", 1);
}

// False after a message where there is none.
bool tellReport(const std::string& file, const fs::path& folder, bool isPassed, bool asJson) {
  TestReport report;
  if (!readTestReport(file, report)) {
    printMessage("the test runner has written no report; without --json and --quiet it tells why");
    return false;
  }
  Diagnostics diagnostics = diagnosticsOf(report);
  if (!isPassed && diagnostics.empty()) {
    diagnostics.push_back({"WZ-0930", "the tests could not all be run", "", "", 0, 0,
                           "the runner has ended without success"});
  }
  if (!asJson) {
    printDiagnostics(diagnostics, false);
    return true;
  }
  printJsonDocument("test", isPassed, diagnostics, [&](JsonWriter& writer) {
    putText(writer, "folder", folder.string());
    putTestReport(writer, report);
  });
  return true;
}

}  // namespace

int testApplication(const TestOptions& options) {
  fs::path folder;
  if (!findTests(options.folder, folder)) return kEnvironment;
  const std::string node = findNode();
  if (node.empty()) return kEnvironment;
  const fs::path program = findRunner(folder);
  if (program.empty()) return kEnvironment;
  SweptFolder temporary;
  std::string problem;
  if (!temporary.make(kFolderPrefix, problem)) {
    printMessage(problem);
    return kEnvironment;
  }
  const std::string browsers = temporary.path() + "/browsers";
  setenv("WZ_PROGRAM", ownProgram().c_str(), 1);
  setenv(kBrowserLender, browsers.c_str(), 1);
  setenv("TMPDIR", temporary.path().c_str(), 1);
  std::vector<std::string> command = {node, program.string(), "test"};
  command.insert(command.end(), options.arguments.begin(), options.arguments.end());

  const bool isReported = options.asJson || volume() == Volume::kQuiet;
  const std::string report = temporary.path() + "/report.json";
  if (isReported) askForReport(report, command);

  prctl(PR_SET_CHILD_SUBREAPER, 1);
  if (startFollowed([&] { become(folder, command, isReported); }) < 0) {
    printMessage(std::string("cannot start ") + node + ": " + std::strerror(errno));
    return kEnvironment;
  }
  // Most of what a test takes is the start of a browser, so the tests share what shows the pages
  // and not the pages. Where that cannot be, each starts a browser of its own.
  std::string error;
  std::unique_ptr<workstation::BrowserLender> lender = workstation::lendBrowsers(browsers, error);
  const int status = awaitFollowed();
  lender.reset();
  endLeftovers();
  if (WIFEXITED(status) && WEXITSTATUS(status) == kEnvironment) return kEnvironment;
  const bool isPassed = WIFEXITED(status) && WEXITSTATUS(status) == 0;
  if (isReported && !tellReport(report, folder, isPassed, options.asJson)) return kEnvironment;
  return isPassed ? kDone : kApplicationFailed;
}

}  // namespace wz
