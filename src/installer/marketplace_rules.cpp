#include "installer/marketplace_rules.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "installer/application_manifest.h"
#include "installer/application_removal.h"
#include "installer/directories.h"
#include "installer/listing.h"
#include "installer/messages.h"
#include "installer/tree_removal.h"
#include "support/install_result.h"
#include "support/text.h"

namespace wzapp {
namespace {

// What the manifests have decided, in upper case.
struct Verdicts {
  AppIds valid;
  AppIds toUninstall;

  [[nodiscard]] bool isValid(const std::string& upperName) const {
    return valid.contains(upperName);
  }
};

// --- Manifests --------------------------------------------------------------------------------

// The manifests of one directory of the manifest root, looked at one after the other. Each step is
// false when it could not find out what it has to know.
class ManifestDirectory {
 public:
  ManifestDirectory(const ListedEntry& entry, const std::string& sponsor, AppIds& removed,
                    Verdicts& verdicts)
      : entry_(entry), sponsor_(sponsor), removed_(removed), verdicts_(verdicts) {}

  [[nodiscard]] bool judge() {
    report(kCheckingLine, entry_.name.c_str());
    if (!readMarketplaceManifest()) return false;
    checkName();
    if (!readUninstallManifest()) return false;
    if (!appId_.empty()) verdicts_.valid.insert(toUpper(appId_));
    return true;
  }

 private:
  [[nodiscard]] bool readMarketplaceManifest();
  void checkName();
  [[nodiscard]] bool readUninstallManifest();

  // Gives the application up: it counts as removed, and its id is no longer known.
  void giveUp() {
    if (!appId_.empty()) removed_.insert(appId_);
    appId_.clear();
  }

  const ListedEntry& entry_;
  const std::string& sponsor_;
  AppIds& removed_;
  Verdicts& verdicts_;
  std::string appId_;  // of the application that the marketplace manifest admits
};

bool ManifestDirectory::readMarketplaceManifest() {
  const std::string path = entry_.pathOf(kMarketplaceManifest);
  const Finding finding = findManifest(path);
  if (finding == Finding::kUnknown) return false;
  if (finding == Finding::kNone) {
    reportWarning("Warning: %s not found\n", path.c_str());
    return true;
  }
  const SponsorVerdict verdict =
      checkManifestSponsor(SponsorMode::kInstall, path, sponsor_, appId_);
  if (verdict == SponsorVerdict::kRefused) giveUp();
  return verdict != SponsorVerdict::kUnknown;
}

void ManifestDirectory::checkName() {
  if (appId_.empty() || toUpper(appId_) == toUpper(entry_.name)) return;
  report("Mismatching directory name %s\n", entry_.name.c_str());  // not an error of the run
  giveUp();
}

// A refused uninstall manifest leaves the application installed, though it counts as removed.
bool ManifestDirectory::readUninstallManifest() {
  const std::string path = entry_.pathOf(kUninstallManifest);
  const Finding finding = findManifest(path);
  if (finding != Finding::kFound) return finding == Finding::kNone;
  std::string uninstallId;
  switch (checkManifestSponsor(SponsorMode::kUninstall, path, sponsor_, uninstallId)) {
    case SponsorVerdict::kUnknown:
      return false;
    case SponsorVerdict::kAccepted:
      if (uninstallId != appId_) return true;
      verdicts_.toUninstall.insert(toUpper(appId_));
      appId_.clear();
      return true;
    case SponsorVerdict::kRefused:
      report("Removing invalid uninstall package %s\n", path.c_str());
      removeFile(path);
      if (!appId_.empty()) removed_.insert(appId_);
      return true;
  }
  return false;
}

bool readManifests(const std::vector<ListedEntry>& entries, const std::string& sponsor,
                   AppIds& removed, Verdicts& verdicts) {
  return std::ranges::all_of(entries, [&](const ListedEntry& entry) {
    return ManifestDirectory(entry, sponsor, removed, verdicts).judge();
  });
}

// --- Removals ---------------------------------------------------------------------------------

void reportRemoving(const std::string& path) { report(kRemovingLine, path.c_str()); }

void removeInvalidApplications(const std::vector<ListedEntry>& entries, const Verdicts& verdicts) {
  for (const ListedEntry& entry : entries) {
    const std::string upperName = toUpper(entry.name);
    if (const std::optional<std::string> stem = manifestStem(upperName)) {
      if (verdicts.isValid(*stem)) continue;
      const std::string path = entry.path();
      reportRemoving(path);
      removeTree(path, Quiet::kNothing);
      continue;
    }
    if (verdicts.isValid(upperName)) continue;
    if (!verdicts.toUninstall.contains(upperName)) {
      // Not an error of the run: its result stays.
      report("Error: No valid marketplace manifest found for %s\n", upperName.c_str());
    }
    reportRemoving(entry.path());
    removeApplication(entry);
  }
}

bool removeInvalidManifests(const Verdicts& verdicts) {
  std::vector<ListedEntry> entries;
  if (listDirectory(kManifestRoot, entries) == Finding::kUnknown) return false;
  for (const ListedEntry& entry : entries) {
    if (verdicts.isValid(toUpper(entry.name))) continue;
    reportRemoving(entry.path());
    removeManifestDirectory(entry);
  }
  return true;
}

// Without a manifest root no application may stay.
void removeAllApplications(const std::vector<ListedEntry>& entries, AppIds& removed) {
  for (const ListedEntry& entry : entries) {
    if (!manifestStem(toUpper(entry.name))) {
      // Not an error of the run: its result stays.
      report("Error: No marketplace manifest found for %s\n", entry.name.c_str());
      reportRemoving(entry.path());
      continue;
    }
    reportRemoving(entry.path());
    // The bare name is meant: a file of that name where the process works is asked.
    const std::string appId = readManifestAppId(entry.name);
    if (!appId.empty()) removed.insert(appId);
  }
  reportRemoving(kAppRoot);
  removeTree(kAppRoot, Quiet::kNothing);
}

// --- The rules --------------------------------------------------------------------------------

// What a run knows once it has looked at everything, and before it removes anything.
struct Judgement {
  bool hasManifestRoot = false;
  bool hasAppRoot = false;
  std::vector<ListedEntry> applications;
  Verdicts verdicts;
  AppIds removed;
};

bool judge(Judgement& judgement) {
  std::string sponsor;
  if (!findSponsor(sponsor)) return false;
  std::vector<ListedEntry> manifests;
  const Finding manifestRoot = listDirectory(kManifestRoot, manifests);
  if (manifestRoot == Finding::kUnknown) return false;
  judgement.hasManifestRoot = manifestRoot == Finding::kFound;
  if (!readManifests(manifests, sponsor, judgement.removed, judgement.verdicts)) return false;
  const Finding appRoot = listDirectory(kAppRoot, judgement.applications);
  judgement.hasAppRoot = appRoot == Finding::kFound;
  return appRoot != Finding::kUnknown;
}

bool carryOut(const Judgement& judgement, AppIds& removed) {
  if (judgement.hasManifestRoot) {
    removeInvalidApplications(judgement.applications, judgement.verdicts);
    return removeInvalidManifests(judgement.verdicts);
  }
  if (judgement.hasAppRoot) removeAllApplications(judgement.applications, removed);
  return true;
}

}  // namespace

bool applyMarketplaceRules(AppIds& removed) {
  report(kRulesLine);
  Judgement judgement;
  if (!judge(judgement)) return false;
  removed.merge(judgement.removed);
  return carryOut(judgement, removed);
}

}  // namespace wzapp
