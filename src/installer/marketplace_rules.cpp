#include "installer/marketplace_rules.h"

#include <optional>
#include <vector>

#include "installer/application_manifest.h"
#include "installer/application_removal.h"
#include "installer/directories.h"
#include "installer/listing.h"
#include "installer/messages.h"
#include "installer/tree_removal.h"
#include "support/file_system.h"
#include "support/install_result.h"
#include "support/terminal_identity.h"
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

bool exists(const std::string& path) {
  struct stat status;
  return fileStat(path.c_str(), status) == 0;
}

// --- Manifests --------------------------------------------------------------------------------

// Gives the application up: it counts as removed, and its id is no longer known.
void giveUp(std::string& appId, AppIds& removed) {
  if (!appId.empty()) removed.insert(appId);
  appId.clear();
}

// Sets `appId` to the application that the marketplace manifest admits, or to nothing.
void readMarketplaceManifest(const ListedEntry& entry, const std::string& sponsor,
                             std::string& appId, AppIds& removed) {
  const std::string path = entry.path + "/" + kMarketplaceManifest;
  appId.clear();
  if (!exists(path)) {
    reportWarning("Warning: %s not found\n", path.c_str());
    return;
  }
  if (!checkManifestSponsor(SponsorMode::kInstall, path, sponsor, appId)) giveUp(appId, removed);
}

void checkDirectoryName(const ListedEntry& entry, std::string& appId, AppIds& removed) {
  if (appId.empty() || toUpper(appId) == toUpper(entry.name)) return;
  report("Mismatching directory name %s\n", entry.name.c_str());  // not an error of the run
  giveUp(appId, removed);
}

// A refused uninstall manifest leaves the application installed, though it counts as removed.
void readUninstallManifest(const ListedEntry& entry, const std::string& sponsor, std::string& appId,
                           AppIds& removed, Verdicts& verdicts) {
  const std::string path = entry.path + "/" + kUninstallManifest;
  if (!exists(path)) return;
  std::string uninstallId;
  if (checkManifestSponsor(SponsorMode::kUninstall, path, sponsor, uninstallId)) {
    if (uninstallId != appId) return;
    verdicts.toUninstall.insert(toUpper(appId));
    appId.clear();
    return;
  }
  report("Removing invalid uninstall package %s\n", path.c_str());
  removeFile(path);
  if (!appId.empty()) removed.insert(appId);
}

Verdicts readManifests(const std::vector<ListedEntry>& entries, const std::string& sponsor,
                       AppIds& removed) {
  Verdicts verdicts;
  for (const ListedEntry& entry : entries) {
    report(kCheckingLine, entry.name.c_str());
    std::string appId;
    readMarketplaceManifest(entry, sponsor, appId, removed);
    checkDirectoryName(entry, appId, removed);
    readUninstallManifest(entry, sponsor, appId, removed, verdicts);
    if (!appId.empty()) verdicts.valid.insert(toUpper(appId));
  }
  return verdicts;
}

// --- Removals ---------------------------------------------------------------------------------

void reportRemoving(const std::string& path) { report(kRemovingLine, path.c_str()); }

void removeInvalidApplications(const Verdicts& verdicts) {
  std::vector<ListedEntry> entries;
  static_cast<void>(listDirectory(kAppRoot, entries));  // no root: no application
  for (const ListedEntry& entry : entries) {
    const std::string upperName = toUpper(entry.name);
    if (const std::optional<std::string> stem = manifestStem(upperName)) {
      if (verdicts.isValid(*stem)) continue;
      reportRemoving(entry.path);
      removeTree(entry.path, Quiet::kNothing);
      continue;
    }
    if (verdicts.isValid(upperName)) continue;
    if (!verdicts.toUninstall.contains(upperName)) {
      // Not an error of the run: its result stays.
      report("Error: No valid marketplace manifest found for %s\n", upperName.c_str());
    }
    reportRemoving(entry.path);
    removeApplication(entry);
  }
}

void removeInvalidManifests(const Verdicts& verdicts) {
  std::vector<ListedEntry> entries;
  static_cast<void>(listDirectory(kManifestRoot, entries));
  for (const ListedEntry& entry : entries) {
    if (verdicts.isValid(toUpper(entry.name))) continue;
    reportRemoving(entry.path);
    removeManifestDirectory(entry);
  }
}

// Without a manifest root no application may stay.
void removeAllApplications(AppIds& removed) {
  std::vector<ListedEntry> entries;
  if (!listDirectory(kAppRoot, entries)) return;
  for (const ListedEntry& entry : entries) {
    if (!manifestStem(toUpper(entry.name))) {
      // Not an error of the run: its result stays.
      report("Error: No marketplace manifest found for %s\n", entry.name.c_str());
      reportRemoving(entry.path);
      continue;
    }
    reportRemoving(entry.path);
    // The bare name is meant: a file of that name where the process works is asked.
    const std::string appId = readManifestAppId(entry.name);
    if (!appId.empty()) removed.insert(appId);
  }
  reportRemoving(kAppRoot);
  removeTree(kAppRoot, Quiet::kNothing);
}

}  // namespace

void applyMarketplaceRules(AppIds& removed) {
  report("postinstall\n");
  std::string sponsor;
  std::string sponsorText;
  getTerminalSponsor(sponsor, sponsorText);

  std::vector<ListedEntry> entries;
  if (!listDirectory(kManifestRoot, entries)) {
    removeAllApplications(removed);
    return;
  }
  const Verdicts verdicts = readManifests(entries, sponsor, removed);
  removeInvalidApplications(verdicts);
  removeInvalidManifests(verdicts);
}

}  // namespace wzapp
