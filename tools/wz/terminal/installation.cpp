#include "wz/terminal/installation.h"

#include <unistd.h>

#include <algorithm>
#include <memory>
#include <set>
#include <utility>

#include "support/text.h"
#include "wz/reports/identity_warnings.h"
#include "wz/reports/output.h"
#include "wz/terminal/package_files.h"
#include "wz/words/drop_if.h"
#include "wz/words/exit_code.h"
#include "wz/words/explain.h"
#include "wzapp/wzapp.h"

namespace wz {
namespace {

using Change = ApplicationChange;

constexpr char kDidNotStay[] = "WZ-0519";

constexpr const char* kResultWords[] = {"ok", "no package", "error", "warning"};

struct ChangeWords {
  const char* name;  // in JSON
  const char* words;
  const char* wouldWords;
};

const ChangeWords& wordsOf(Change::Kind kind) {
  static constexpr ChangeWords kWords[] = {{"installed", "installed", "would install"},
                                           {"replaced", "replaced", "would replace"},
                                           {"removed", "removed", "would remove"}};
  return kWords[static_cast<int>(kind)];
}

// ---- What changed ------------------------------------------------------------------------------

bool isInstalled(const InstalledApplications& applications, const std::string& upperId) {
  const auto found = applications.find(upperId);
  return found != applications.end() && found->second.isInstalled;
}

bool hasMarketplaceManifest(const InstalledApplications& applications, const std::string& upperId) {
  const auto found = applications.find(upperId);
  return found != applications.end() && !found->second.marketplaceFolder.empty();
}

void addOnce(const Reasons& more, Reasons& reasons) {
  for (const std::string& reason : more) {
    if (std::ranges::find(reasons, reason) == reasons.end()) reasons.push_back(reason);
  }
}

void explainRemoval(const std::string& upperId, const LogFollower& log, Change& change) {
  change.reasons = log.ofApplication(upperId);
  for (const std::string& reason : change.reasons) {
    const LogMatch match = matchLogLine(reason);
    if (match.code != nullptr) addOnce({match.code->id}, change.codes);
  }
  if (change.reasons.empty()) change.reasons.emplace_back("a signed package asked for it");
}

void compare(const InstalledApplications& before, const InstalledApplications& now,
             const LogFollower& log, std::vector<Change>& changes) {
  for (const auto& [upperId, application] : now) {
    if (!application.isInstalled) continue;
    if (!isInstalled(before, upperId)) {
      changes.push_back(
          {Change::Kind::kInstalled, application.id, "", application.version, false, {}, {}});
    } else if (const auto& older = before.at(upperId); isWrittenAnew(older, application)) {
      changes.push_back({Change::Kind::kReplaced,
                         application.id,
                         older.version,
                         application.version,
                         isOlderVersion(application.version, older.version),
                         {},
                         {}});
    }
  }
  for (const auto& [upperId, application] : before) {
    if (!application.isInstalled || isInstalled(now, upperId)) continue;
    changes.push_back(
        {Change::Kind::kRemoved, application.id, application.version, "", false, {}, {}});
    explainRemoval(upperId, log, changes.back());
  }
}

// ---- What became of a package ------------------------------------------------------------------

bool isAsExpected(const InnerReport& inner, const InstalledApplications& now) {
  const std::string upperId = wzapp::toUpper(inner.id);
  switch (inner.kind) {
    case InnerKind::kApplication:
      return isInstalled(now, upperId);
    case InnerKind::kMarketplace:
      return hasMarketplaceManifest(now, upperId);
    case InnerKind::kUninstall:
      return !isInstalled(now, upperId);
  }
  return false;
}

const char* whatIsMissing(InnerKind kind) {
  switch (kind) {
    case InnerKind::kApplication:
      return " is not installed";
    case InnerKind::kMarketplace:
      return " has no marketplace manifest";
    case InnerKind::kUninstall:
      return " is still installed";
  }
  return "";
}

bool isError(const std::string& reason) { return reason.find("Error: ") != std::string::npos; }

// A reason begins with the name of an archive where it is about one.
void addCode(const std::string& file, const std::string& reason, Diagnostics& diagnostics) {
  const LogMatch match = matchLogLine(reason);
  if (match.code == nullptr) return;
  for (const Diagnostic& known : diagnostics) {
    if (known.code == match.code->id ||
        codeOf(known.code).behind == std::string_view(match.code->id))
      return;
  }
  diagnostics.push_back({match.code->id, lowerFirst(match.code->title), file, "", 0, 0, reason});
}

PackageOutcome judgePackage(const WaitingPackage& package, const InstalledApplications& now,
                            const LogFollower& log) {
  PackageOutcome outcome{package.file, true, log.ofPackage(package.name), {}, {}};
  if (std::ranges::any_of(outcome.reasons, isError)) outcome.isDone = false;
  if (package.report.inners.empty()) {
    outcome.isDone = false;
    addOnce({package.report.refusal.empty() ? "there is no archive in it" : package.report.refusal},
            outcome.reasons);
  }
  // Terminals keep a package until what it brought is on stable storage.
  const std::string place = placeOfPackage(package.name);
  if (access(place.c_str(), F_OK) == 0) {
    outcome.isDone = false;
    addOnce(
        {"it is still waiting in " + place +
         ": what it brought could not be brought to stable storage, or it could not be deleted"},
        outcome.reasons);
  }
  for (const InnerReport& inner : package.report.inners) {
    if (isAsExpected(inner, now)) continue;
    outcome.isDone = false;
    if (!inner.id.empty()) addOnce(log.ofApplication(inner.id), outcome.reasons);
    const std::string who = inner.id.empty() ? inner.entry : inner.id;
    addOnce({who + whatIsMissing(inner.kind)}, outcome.reasons);
  }
  outcome.diagnostics = package.report.diagnostics;
  for (const std::string& reason : outcome.reasons) {
    addCode(package.file, reason, outcome.diagnostics);
  }
  return outcome;
}

std::vector<std::string> warningsAbout(const WaitingPackage& package,
                                       const InstalledApplications& before) {
  std::vector<std::string> warnings = package.report.warnings;
  for (std::string& warning : takenIdWarnings(package.report.inners, before)) {
    warnings.push_back(std::move(warning));
  }
  return warnings;
}

// ---- In words ----------------------------------------------------------------------------------

void printReasons(const Reasons& reasons) {
  for (const std::string& reason : reasons) printLine("  " + reason);
}

// Tells each repair once, however many changes and packages want it.
class Repairs {
 public:
  void print(const Diagnostics& diagnostics) {
    for (const Diagnostic& diagnostic : diagnostics) {
      if (wz::isError(diagnostic)) print(diagnostic);
    }
  }

  void print(const Diagnostic& diagnostic) {
    const std::string repair = "  repair of " + diagnostic.code + ": " + repairOf(diagnostic);
    if (!told_.insert(repair).second) return;
    if (volume() == Volume::kVerbose) {
      printLine("  rule of " + diagnostic.code + ": " + codeOf(diagnostic.code).rule);
    }
    printLine(repair);
  }

 private:
  std::set<std::string> told_;
};

std::string withVersion(const std::string& id, const std::string& version) {
  return version.empty() ? id : id + " " + version;
}

void printChange(const Change& change, const char* words) {
  const bool isRemoved = change.kind == Change::Kind::kRemoved;
  const bool isReplaced = change.kind == Change::Kind::kReplaced;
  const std::string& version = isRemoved || isReplaced ? change.versionBefore : change.versionNow;
  std::string line = std::string(words) + " " + withVersion(change.id, version);
  if (isReplaced) {
    line += " by " +
            (change.versionNow == change.versionBefore ? "the same version" : change.versionNow);
  }
  line += change.isDowngrade ? ", a downgrade" : "";
  // What was removed by a rule is no success.
  if (change.codes.empty() && !change.isDowngrade && volume() == Volume::kQuiet) return;
  printLine(line);
  printReasons(change.reasons);
}

// To try it on a copy is no advice where that was done.
Diagnostics withoutTrial(Diagnostics diagnostics) {
  dropIf(diagnostics, [](const Diagnostic& one) { return one.code == kDidNotStay; });
  return diagnostics;
}

void printPackages(const InstallOutcome& outcome, bool isTrial, Repairs& repairs) {
  const char* const done = isTrial ? "would accept " : "done ";
  const char* const rejected = isTrial ? "would reject " : "rejected ";
  for (const PackageOutcome& package : outcome.packages) {
    const bool isSound = package.isDone && package.reasons.empty() && package.warnings.empty();
    if (isSound && volume() == Volume::kQuiet) continue;
    printLine((package.isDone ? done : rejected) + package.file);
    printReasons(package.reasons);
    if (!package.isDone) {
      repairs.print(isTrial ? withoutTrial(package.diagnostics) : package.diagnostics);
    }
    for (const std::string& warning : package.warnings) printLine("  warning: " + warning);
  }
}

}  // namespace

bool InstallOutcome::isDone() const {
  return std::ranges::all_of(packages,
                             [](const PackageOutcome& package) { return package.isDone; });
}

Diagnostics diagnosticsOf(const InstallOutcome& outcome) {
  Diagnostics all;
  for (const PackageOutcome& package : outcome.packages) {
    all.insert(all.end(), package.diagnostics.begin(), package.diagnostics.end());
  }
  return all;
}

InstallOutcome runInstallation(const std::vector<WaitingPackage>& packages,
                               LogFollower::Display display, LogFollower::Watcher watcher) {
  const InstalledApplications before = findInstalledApplications();
  InstallOutcome outcome;
  // A run begins with the log of the one before, which therefore stays until then.
  static std::unique_ptr<LogFollower> last;
  auto log = std::make_unique<LogFollower>(display, packages.size(), std::move(watcher));
  outcome.result = wzapp::wzInstall(LogFollower::take, log.get());
  const InstalledApplications now = findInstalledApplications();
  compare(before, now, *log, outcome.changes);
  for (const WaitingPackage& package : packages) {
    outcome.packages.push_back(judgePackage(package, now, *log));
    outcome.packages.back().warnings = warningsAbout(package, before);
  }
  outcome.log = log->lines();
  log->goQuiet();
  last = std::move(log);
  return outcome;
}

void printOutcome(const InstallOutcome& outcome) {
  printSuccess("");
  for (const Change& change : outcome.changes) printChange(change, wordsOf(change.kind).words);
  if (outcome.changes.empty()) printSuccess("no application changed");
  Repairs repairs;
  printPackages(outcome, false, repairs);
}

void printTrialOutcome(const InstallOutcome& outcome) {
  Repairs repairs;
  for (const Change& change : outcome.changes) {
    printChange(change, wordsOf(change.kind).wouldWords);
    for (const std::string& code : change.codes) {
      if (code == kDidNotStay) continue;
      repairs.print({code, "", "", "", 0, 0, ""});
    }
  }
  if (outcome.changes.empty()) printSuccess("no application would change");
  printPackages(outcome, true, repairs);
}

void putChange(JsonWriter& writer, const ApplicationChange& change) {
  putText(writer, "change", wordsOf(change.kind).name);
  putText(writer, "id", change.id);
  putText(writer, "versionBefore", change.versionBefore);
  putText(writer, "versionNow", change.versionNow);
  putFlag(writer, "downgrade", change.isDowngrade);
  putTexts(writer, "reasons", change.reasons);
  putTexts(writer, "codes", change.codes);
}

void putOutcome(JsonWriter& writer, const InstallOutcome& outcome) {
  putNumber(writer, "result", static_cast<std::uint64_t>(outcome.result));
  putText(writer, "resultWord",
          outcome.result >= 0 && outcome.result < 4 ? kResultWords[outcome.result] : "?");
  putFlag(writer, "done", outcome.isDone());
  writer.Key("packages");
  writer.StartArray();
  for (const PackageOutcome& package : outcome.packages) {
    writer.StartObject();
    putText(writer, "file", package.file);
    putFlag(writer, "done", package.isDone);
    putTexts(writer, "reasons", package.reasons);
    putTexts(writer, "warnings", package.warnings);
    writer.EndObject();
  }
  writer.EndArray();
  putRows(writer, "changes", outcome.changes,
          [&writer](const Change& change) { putChange(writer, change); });
  putTexts(writer, "log", outcome.log);
}

int exitCodeOf(const InstallOutcome& outcome) {
  if (outcome.log.empty()) {
    printMessage(
        "the installation did not begin: the terminal's configuration root in "
        "flash/etc/config/wzapp is no folder of your own");
    return kEnvironment;
  }
  return outcome.isDone() ? kDone : kApplicationFailed;
}

}  // namespace wz
