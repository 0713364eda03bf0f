#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

#include "crypto/authorities.h"
#include "packaging/temporary_folders.h"
#include "workstation/terminal/terminal_profile.h"
#include "wz/commands/commands.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/reports/package_output.h"
#include "wz/reports/package_report.h"
#include "wz/terminal/installation.h"
#include "wz/terminal/package_files.h"
#include "wz/terminal/terminal_change.h"
#include "wz/terminal/terminal_copy.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

// ---- On a terminal -----------------------------------------------------------------------------

void printTrial(const InstallOutcome& outcome) {
  printLine(outcome.isDone() ? "this terminal would install it, and what it brings would stay"
                             : "this terminal would not install it, or not keep what it brings");
  printOutcome(outcome);
}

// Inside the copy of the terminal, where the package is really installed.
int installOnCopy(const PackageFiles& files, const InspectOptions& options,
                  const std::string& copy) {
  TerminalChange change;
  if (!change.begin(copy) || !files.copyIn()) return kEnvironment;
  const PackageReport& report = files.packages().front().report;
  const InstallOutcome outcome = runInstallation(files.packages(), LogFollower::Display::kNone);
  if (options.asJson) {
    Diagnostics diagnostics = report.diagnostics;
    for (Diagnostic& diagnostic : diagnosticsOf(outcome)) {
      diagnostics.push_back(std::move(diagnostic));
    }
    const bool isDone = exitCodeOf(outcome) == kDone;
    printJsonDocument("inspect", isDone, diagnostics, [&](JsonWriter& writer) {
      putPackage(writer, report);
      writer.Key("onTerminal");
      writer.StartObject();
      putOutcome(writer, outcome);
      writer.EndObject();
    });
  } else {
    printPackage(report, options.verbose);
    printTrial(outcome);
  }
  return exitCodeOf(outcome);
}

// A process that has entered a terminal stays there, and could not take the copy away again. Only
// one with a single thread can enter: _Fork() runs nothing in the child that could bring a second
// one, as ThreadSanitizer does.
template <typename Body>
int inChild(const Body& body) {
  std::fflush(nullptr);
  const pid_t child = _Fork();
  if (child == 0) {
    packaging::leaveFoldersToParent();
    int code = kEnvironment;
    try {
      code = body();
    } catch (const std::exception& problem) {
      printMessage(problem.what());
    }
    finishJson(code);
    if (reportLostOutput()) code = kEnvironment;
    std::fflush(nullptr);
    _exit(code);
  }
  packaging::killBeforeRemoval(child > 0 ? child : 0);
  int status = 0;
  while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  packaging::killBeforeRemoval(0);
  if (child <= 0 || !WIFEXITED(status)) return kEnvironment;
  leaveJsonToChild();
  return WEXITSTATUS(status);
}

// What a package takes of the terminal while it is installed: itself, the archives that come out of
// it, and what comes out of these.
std::uint64_t neededRoom(const PackageReport& report) {
  std::error_code failure;
  const std::uintmax_t file = std::filesystem::file_size(report.file, failure);
  std::uint64_t room = failure ? 0 : file;
  for (const PackageEntry& entry : report.entries) room += entry.size;
  for (const InnerReport& inner : report.inners) {
    for (const PackageEntry& entry : inner.entries) room += entry.size;
  }
  return room;
}

int tryOnTerminal(const InspectOptions& options) {
  PackageFiles files;
  if (const int code = files.open({options.file}, EntrySizes::kCounted); code != kDone) return code;
  TerminalCopy copy;
  std::string error;
  if (!copy.make(options.terminal, neededRoom(files.packages().front().report), error)) {
    printMessage(error);
    return kEnvironment;
  }
  return inChild([&] { return installOnCopy(files, options, copy.directory()); });
}

}  // namespace

int inspect(const InspectOptions& options) {
  (void)packaging::removeFoldersOnSignals();
  std::error_code failure;
  if (!std::filesystem::is_regular_file(options.file, failure)) {
    printMessage("cannot read " + options.file + ": " +
                 (failure ? failure.message() : "it is no file"));
    return kEnvironment;
  }
  if (!options.terminal.empty()) return tryOnTerminal(options);
  const PackageReport report =
      examinePackage(options.file, wzapp::authorities(), EntrySizes::kCounted);
  if (options.asJson) {
    printJsonDocument("inspect", report.isAccepted(), report.diagnostics,
                      [&report](JsonWriter& writer) { putPackage(writer, report); });
  } else {
    printPackage(report, options.verbose);
  }
  return report.isAccepted() ? kDone : kApplicationFailed;
}

}  // namespace wz
