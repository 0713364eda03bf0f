#include <algorithm>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "authority_table/table_file.h"
#include "packaging/temporary_folders.h"
#include "wz/check/folder_check.h"
#include "wz/check/terminal_engine.h"
#include "wz/commands/commands.h"
#include "wz/commands/signing_options.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/reports/readable_file.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

CheckReport checkOne(const std::string& file, const CheckOptions& options) {
  std::error_code failure;
  return std::filesystem::is_directory(file, failure) ? checkFolder(file, options)
                                                      : checkPackage(file, options);
}

// Nobody names a folder to be judged by another table. False after a message.
bool hasTable(const std::string& keys) { return isReadableFile(authority_table::tablePath(keys)); }

void printWords(const CheckReport& report) {
  const bool isRefused = hasErrors(report.diagnostics);
  if (volume() != Volume::kQuiet || isRefused) {
    printLine(report.file + ": " + countText(report.diagnostics));
  }
  printDiagnostics(report.diagnostics, volume() == Volume::kVerbose);
}

void printJson(const std::vector<CheckReport>& reports) {
  Diagnostics all;
  for (const CheckReport& report : reports) {
    all.insert(all.end(), report.diagnostics.begin(), report.diagnostics.end());
  }
  printJsonDocument("check", !hasErrors(all), all, [&reports](JsonWriter& writer) {
    writer.Key("files");
    writer.StartArray();
    for (const CheckReport& report : reports) {
      writer.StartObject();
      putText(writer, "file", report.file);
      putTexts(writer, "applications", report.ids);
      putFlag(writer, "accepted", !hasErrors(report.diagnostics));
      putNumber(writer, "findings", report.diagnostics.size());
      writer.EndObject();
    }
    writer.EndArray();
  });
}

}  // namespace

int check(const CheckFilesOptions& options) {
  (void)packaging::removeFoldersOnSignals();
  SigningAuthorities authorities;
  if (!options.keys.empty() && !hasTable(options.keys)) return kEnvironment;
  if (!options.keys.empty() && !authorities.load(options.keys)) return kEnvironment;
  CheckOptions how;
  how.engine = options.engine;
  if (options.engine == 0 && !options.terminal.empty() &&
      !readTerminalEngine(options.terminal, how.engine)) {
    return kEnvironment;
  }
  how.isRelease = options.isRelease;
  how.authorities = authorities.rows();
  how.areInForce = authorities.areInForce();
  std::vector<CheckReport> reports;
  for (const std::string& file : options.files) {
    std::error_code failure;
    const bool isFolder = std::filesystem::is_directory(file, failure);
    if (!isFolder && !isReadableFile(file)) return kEnvironment;
    if (options.isRelease && isFolder) {
      printMessage(file + " is a folder, which nobody has signed; --release is about packages");
      return kUsage;
    }
    reports.push_back(checkOne(file, how));
  }
  checkTogether(reports);
  dropAllowed(options.allowed, reports);
  if (options.asJson) {
    printJson(reports);
  } else {
    for (const CheckReport& report : reports) printWords(report);
  }
  const bool isRefused = std::ranges::any_of(
      reports, [](const CheckReport& report) { return hasErrors(report.diagnostics); });
  return isRefused ? kApplicationFailed : kDone;
}

}  // namespace wz
