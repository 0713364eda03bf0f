#include "wz/terminal/change_causes.h"

#include <algorithm>
#include <set>
#include <string_view>

#include "support/text.h"
#include "wz/reports/log_reading.h"

namespace wz {
namespace {

// ---- Differences -------------------------------------------------------------------------------

using ChangeKind = HistoryChangeKind;

HistoryChange applicationChange(ChangeKind kind, const InstalledApplication& before,
                                const InstalledApplication& now) {
  const InstalledApplication& shown = kind == ChangeKind::kVanished ? before : now;
  HistoryChange change;
  change.kind = kind;
  change.id = shown.id;
  change.versionBefore = before.version;
  change.versionNow = now.version;
  change.isDowngrade = kind == ChangeKind::kChanged && isOlderVersion(now.version, before.version);
  change.exportedTriggers = shown.exportedTriggers;
  change.exportedInterfaces = shown.exportedInterfaces;
  return change;
}

HistoryChange marketplaceChange(ChangeKind kind, const InstalledApplication& before,
                                const InstalledApplication& now) {
  HistoryChange change;
  change.kind = kind;
  change.thing = HistoryThing::kMarketplaceManifest;
  change.id = kind == ChangeKind::kVanished ? before.id : now.id;
  change.versionBefore = before.marketplaceVersion;
  change.versionNow = now.marketplaceVersion;
  change.isDowngrade = kind == ChangeKind::kChanged &&
                       isOlderVersion(now.marketplaceVersion, before.marketplaceVersion);
  return change;
}

// Whether there is a change, and which.
bool findKind(bool was, bool is, bool isAnew, ChangeKind& kind) {
  if (!was && !is) return false;
  if (was && is && !isAnew) return false;
  kind = !was ? ChangeKind::kAppeared : (is ? ChangeKind::kChanged : ChangeKind::kVanished);
  return true;
}

const InstalledApplication& at(const InstalledApplications& all, const std::string& upperId) {
  static const InstalledApplication none;
  const auto found = all.find(upperId);
  return found == all.end() ? none : found->second;
}

// ---- Who did it --------------------------------------------------------------------------------

bool isOf(const InnerReport& inner, InnerKind kind, const std::string& upperId) {
  return inner.kind == kind && wzapp::toUpper(inner.id) == upperId;
}

void nameWhoBrought(const std::vector<WaitingPackage>& packages, InnerKind kind,
                    HistoryChange& change) {
  const std::string upperId = wzapp::toUpper(change.id);
  for (const WaitingPackage& package : packages) {
    for (const InnerReport& inner : package.report.inners) {
      if (!isOf(inner, kind, upperId)) continue;
      change.package = package.file;
      change.archive = inner.entry;
    }
  }
}

void addRule(const std::string& code, const std::string& line, unsigned pass,
             std::vector<HistoryRule>& rules) {
  for (const HistoryRule& rule : rules) {
    if (rule.code == code && rule.line == line) return;
    // The log says less of what is known more closely.
    if (codeOf(rule.code).behind == std::string_view(code)) return;
  }
  rules.push_back({code, line, pass});
}

void addRules(const LogRemarks& remarks, unsigned pass, std::vector<HistoryRule>& rules) {
  for (const LogRemark& remark : remarks) addRule(remark.code->id, remark.line, pass, rules);
}

void addRemoval(const std::vector<LoggedRun>& runs, const std::string& id,
                std::vector<HistoryRule>& rules) {
  for (const LoggedRun& run : runs) {
    const LoggedRemoval* const removal = run.findRemoval(id);
    if (removal != nullptr) addRules(removal->reasons, removal->pass, rules);
  }
}

void explain(const std::vector<WaitingPackage>& packages, const std::vector<LoggedRun>& runs,
             HistoryChange& change) {
  if (change.kind != ChangeKind::kVanished) {
    nameWhoBrought(packages,
                   change.thing == HistoryThing::kApplication ? InnerKind::kApplication
                                                              : InnerKind::kMarketplace,
                   change);
    return;
  }
  addRemoval(runs, change.id, change.rules);
  if (change.rules.empty()) nameWhoBrought(packages, InnerKind::kUninstall, change);
}

// ---- What did not come about -------------------------------------------------------------------

bool isThere(const InnerReport& inner, const InstalledApplication& now) {
  switch (inner.kind) {
    case InnerKind::kApplication:
      return now.isInstalled;
    case InnerKind::kMarketplace:
      return !now.marketplaceFolder.empty();
    case InnerKind::kUninstall:
      return !now.isInstalled;
  }
  return false;
}

bool isAnew(const InnerReport& inner, const InstalledApplication& before,
            const InstalledApplication& now) {
  if (inner.kind == InnerKind::kUninstall) return before.isInstalled;
  return inner.kind == InnerKind::kApplication ? before.stamp != now.stamp
                                               : before.marketplaceStamp != now.marketplaceStamp;
}

// A removal of what was not there is none.
bool isRefused(const InnerReport& inner, const InstalledApplications& before,
               const InstalledApplications& now) {
  const InstalledApplication& was = at(before, wzapp::toUpper(inner.id));
  const InstalledApplication& is = at(now, wzapp::toUpper(inner.id));
  if (inner.kind == InnerKind::kUninstall) return !isThere(inner, is) || !inner.isAccepted();
  return !isThere(inner, is) || !isAnew(inner, was, is);
}

const LoggedPackage* findLogged(const std::vector<LoggedRun>& runs, const std::string& name) {
  for (const LoggedRun& run : runs) {
    for (const LoggedPackage& package : run.packages) {
      if (package.path.substr(package.path.rfind('/') + 1) == name) return &package;
    }
  }
  return nullptr;
}

void addDiagnostics(const Diagnostics& diagnostics, const std::string& entry,
                    std::vector<HistoryRule>& rules) {
  for (const Diagnostic& diagnostic : diagnostics) {
    if (diagnostic.entry == entry && isError(diagnostic)) {
      addRule(diagnostic.code, diagnostic.message, 0, rules);
    }
  }
}

HistoryThing thingOf(InnerKind kind) {
  switch (kind) {
    case InnerKind::kApplication:
      return HistoryThing::kApplication;
    case InnerKind::kMarketplace:
      return HistoryThing::kMarketplaceManifest;
    case InnerKind::kUninstall:
      return HistoryThing::kRemoval;
  }
  return HistoryThing::kApplication;
}

HistoryChange refusal(const WaitingPackage& package, const InnerReport& inner,
                      const std::vector<LoggedRun>& runs) {
  HistoryChange change;
  change.kind = ChangeKind::kRefused;
  change.thing = thingOf(inner.kind);
  change.id = inner.id;
  change.package = package.file;
  change.archive = inner.entry;
  for (const PackagedManifest& manifest : inner.manifests) {
    if (manifest.id != inner.id) continue;
    change.versionNow = manifest.version;
    for (const Feature& one : manifest.exportedTriggers) change.exportedTriggers.push_back(one.id);
    for (const Feature& one : manifest.exportedInterfaces) {
      change.exportedInterfaces.push_back(one.id);
    }
  }
  addDiagnostics(package.report.diagnostics, inner.entry, change.rules);
  if (const LoggedPackage* const logged = findLogged(runs, package.name)) {
    for (const LoggedArchive& archive : logged->archives) {
      if (archive.name == inner.entry) addRules(archive.remarks, 0, change.rules);
    }
  }
  if (!inner.id.empty()) addRemoval(runs, inner.id, change.rules);
  return change;
}

// One in which there is nothing for a terminal.
HistoryChange refusalOf(const WaitingPackage& package, const std::vector<LoggedRun>& runs) {
  HistoryChange change;
  change.kind = ChangeKind::kRefused;
  change.package = package.file;
  for (const Diagnostic& diagnostic : package.report.diagnostics) {
    if (isError(diagnostic)) addRule(diagnostic.code, diagnostic.message, 0, change.rules);
  }
  if (const LoggedPackage* const logged = findLogged(runs, package.name)) {
    addRules(logged->remarks, 0, change.rules);
  }
  return change;
}

}  // namespace

std::vector<HistoryChange> differences(const InstalledApplications& before,
                                       const InstalledApplications& now) {
  std::set<std::string> ids;
  for (const auto& [upperId, application] : before) ids.insert(upperId);
  for (const auto& [upperId, application] : now) ids.insert(upperId);
  std::vector<HistoryChange> changes;
  for (const std::string& id : ids) {
    const InstalledApplication& was = at(before, id);
    const InstalledApplication& is = at(now, id);
    ChangeKind kind{};
    if (findKind(was.isInstalled, is.isInstalled, was.stamp != is.stamp, kind)) {
      changes.push_back(applicationChange(kind, was, is));
    }
    if (findKind(!was.marketplaceFolder.empty(), !is.marketplaceFolder.empty(),
                 was.marketplaceStamp != is.marketplaceStamp, kind)) {
      changes.push_back(marketplaceChange(kind, was, is));
    }
  }
  return changes;
}

std::vector<HistoryChange> explainedDifferences(const InstalledApplications& before,
                                                const InstalledApplications& now,
                                                const std::vector<WaitingPackage>& packages,
                                                const std::vector<std::string>& log) {
  const std::vector<LoggedRun> runs = readInstallLog(log);
  std::vector<HistoryChange> changes = differences(before, now);
  for (HistoryChange& change : changes) explain(packages, runs, change);
  return changes;
}

std::vector<HistoryChange> explainedChanges(const InstalledApplications& before,
                                            const InstalledApplications& now,
                                            const std::vector<WaitingPackage>& packages,
                                            const std::vector<std::string>& log) {
  const std::vector<LoggedRun> runs = readInstallLog(log);
  std::vector<HistoryChange> changes = explainedDifferences(before, now, packages, log);
  for (const WaitingPackage& package : packages) {
    if (package.report.inners.empty()) changes.push_back(refusalOf(package, runs));
    for (const InnerReport& inner : package.report.inners) {
      if (isRefused(inner, before, now)) changes.push_back(refusal(package, inner, runs));
    }
  }
  return changes;
}

bool isBrought(const WaitingPackage& package, const InstalledApplications& before,
               const InstalledApplications& now) {
  const std::vector<InnerReport>& inners = package.report.inners;
  return !inners.empty() && std::ranges::all_of(inners, [&](const InnerReport& inner) {
    const std::string upperId = wzapp::toUpper(inner.id);
    return isThere(inner, at(now, upperId)) && isAnew(inner, at(before, upperId), at(now, upperId));
  });
}

}  // namespace wz
