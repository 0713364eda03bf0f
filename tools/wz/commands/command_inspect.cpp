#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "packaging/temporary_folders.h"
#include "wz/commands/commands.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/reports/package_output.h"
#include "wz/reports/package_report.h"
#include "wz/reports/readable_file.h"
#include "wz/terminal/installation.h"
#include "wz/terminal/package_files.h"
#include "wz/terminal/trial.h"
#include "wz/terminal/trusted_authorities.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

using Reports = std::vector<PackageReport>;

void putJudged(JsonWriter& writer, const PackageReport& report) {
  putPackage(writer, report);
  putSecondOpinion(writer, secondOpinion(report, trustedAuthorities()));
}

// One package is the result itself; of several there is a list.
void putPackages(JsonWriter& writer, const Reports& reports) {
  if (reports.size() == 1) return putJudged(writer, reports.front());
  putRows(writer, "packages", reports,
          [&writer](const PackageReport& report) { putJudged(writer, report); });
}

void printPackages(const Reports& reports) {
  bool isFirst = true;
  for (const PackageReport& report : reports) {
    const SecondOpinion opinion = secondOpinion(report, trustedAuthorities());
    const bool isSound = report.isAccepted() && opinion.differences.empty();
    if (isSound && volume() == Volume::kQuiet) continue;
    if (!isFirst) printLine("");
    isFirst = false;
    printPackage(report, volume() == Volume::kVerbose);
    printSecondOpinion(opinion);
  }
}

Diagnostics diagnosticsOf(const Reports& reports) {
  Diagnostics all;
  for (const PackageReport& report : reports) {
    all.insert(all.end(), report.diagnostics.begin(), report.diagnostics.end());
  }
  return all;
}

// ---- On a terminal -----------------------------------------------------------------------------

void printTrial(const InstallOutcome& outcome) {
  const bool isOne = outcome.packages.size() == 1;
  const std::string what = isOne ? "it" : "them", brings = isOne ? "brings" : "bring";
  const std::string who = isOne ? "it" : "they";
  if (outcome.isDone()) {
    printSuccess("this terminal would install " + what + ", and what " + who + " " + brings +
                 " would stay");
  } else {
    printLine("this terminal would not install " + what + ", or not keep what " + who + " " +
              brings);
  }
  printOutcome(outcome);
}

int tellTrial(const Reports& reports, const InspectOptions& options,
              const InstallOutcome& outcome) {
  const int code = exitCodeOf(outcome);
  if (!options.asJson) {
    printPackages(reports);
    printTrial(outcome);
    return code;
  }
  Diagnostics diagnostics = diagnosticsOf(reports);
  for (Diagnostic& diagnostic : wz::diagnosticsOf(outcome)) {
    diagnostics.push_back(std::move(diagnostic));
  }
  printJsonDocument("inspect", code == kDone, diagnostics, [&](JsonWriter& writer) {
    putPackages(writer, reports);
    writer.Key("onTerminal");
    writer.StartObject();
    putOutcome(writer, outcome);
    writer.EndObject();
  });
  return code;
}

int tryOnTerminal(const InspectOptions& options) {
  PackageFiles files;
  if (const int code = files.open(options.files, EntrySizes::kCounted); code != kDone) return code;
  Reports reports;
  for (const WaitingPackage& package : files.packages()) reports.push_back(package.report);
  return tryOnCopy(options.terminal, files, [&](const InstallOutcome& outcome) {
    return tellTrial(reports, options, outcome);
  });
}

}  // namespace

int inspect(const InspectOptions& options) {
  (void)packaging::removeFoldersOnSignals();
  if (!std::ranges::all_of(options.files, isReadableFile)) return kEnvironment;
  if (!options.terminal.empty()) return tryOnTerminal(options);
  Reports reports;
  for (const std::string& file : options.files) {
    reports.push_back(examinePackage(file, trustedAuthorities(), EntrySizes::kCounted));
  }
  const bool areAccepted =
      std::ranges::all_of(reports, [](const PackageReport& report) { return report.isAccepted(); });
  if (options.asJson) {
    printJsonDocument("inspect", areAccepted, diagnosticsOf(reports),
                      [&reports](JsonWriter& writer) { putPackages(writer, reports); });
  } else {
    printPackages(reports);
  }
  return areAccepted ? kDone : kApplicationFailed;
}

}  // namespace wz
