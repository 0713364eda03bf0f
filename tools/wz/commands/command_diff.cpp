#include <algorithm>
#include <string>
#include <vector>

#include "workstation/terminal/terminal_directory.h"
#include "wz/commands/commands.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/reports/package_difference.h"
#include "wz/reports/package_report.h"
#include "wz/reports/readable_file.h"
#include "wz/terminal/installed_contents.h"
#include "wz/terminal/package_files.h"
#include "wz/terminal/session.h"
#include "wz/terminal/trusted_authorities.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

// False after what is wrong with it has been printed. What would be refused can be compared, too.
bool readContents(const std::string& file, bool asJson, Contents& contents) {
  const PackageReport report = examinePackage(file, trustedAuthorities(), EntrySizes::kDigested);
  if (!report.inners.empty()) {
    contents = contentsOf(report);
    return true;
  }
  if (asJson) {
    printJsonFailure("diff", report.diagnostics);
  } else {
    printDiagnostics(report.diagnostics, false);
  }
  return false;
}

}  // namespace

int showDifference(const DiffOptions& options) {
  const bool isWithInstalled = options.files.size() == 1;
  if (!isWithInstalled && !options.terminal.empty()) {
    printMessage("name two packages, or a terminal and one package, not both");
    return kUsage;
  }
  if (!std::all_of(options.files.begin(), options.files.end(), isReadableFile)) return kEnvironment;
  Contents before, now;
  if (!readContents(options.files.back(), options.asJson, now)) return kApplicationFailed;
  if (isWithInstalled) {
    if (!enterChosenTerminal(options.terminal)) return kEnvironment;
    before = findInstalledContents(now);
  } else if (!readContents(options.files.front(), options.asJson, before)) {
    return kApplicationFailed;
  }
  const std::vector<ContentDifference> differences = compareContents(before, now);
  const std::string first =
      isWithInstalled ? workstation::terminalDirectory() : options.files.front();
  if (!options.asJson) {
    printLine("from " + first + " to " + options.files.back());
    printDifferences(differences);
    return kDone;
  }
  printJsonDocument("diff", true, {}, [&](JsonWriter& writer) {
    putText(writer, "before", first);
    putText(writer, "now", options.files.back());
    putDifferences(writer, differences);
  });
  return kDone;
}

}  // namespace wz
