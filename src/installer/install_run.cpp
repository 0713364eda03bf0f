#include "installer/install_run.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string_view>
#include <utility>

#include "installer/application_manifest.h"
#include "installer/dependency_check.h"
#include "installer/directories.h"
#include "installer/file_descriptor.h"
#include "installer/listing.h"
#include "installer/messages.h"
#include "installer/package_file.h"
#include "installer/set_aside.h"
#include "support/install_result.h"
#include "support/mutex.h"
#include "support/text.h"
#include "wzapp/wzapp.h"

namespace wzapp {
namespace {

constexpr std::string_view kPackageFileEnding = ".ZIP";

// Held by the run that is going on; it guards the result and everything that the run changes.
Mutex installMutex;

// --- Packages ---------------------------------------------------------------------------------

bool isPackageFile(const std::string& name) { return endsInAnyCase(name, kPackageFileEnding); }

bool hasPackageFiles(const std::vector<ListedEntry>& entries) {
  return std::ranges::any_of(entries, [](const ListedEntry& entry) {
    return entry.name.size() > kPackageFileEnding.size() && isPackageFile(entry.name);
  });
}

void installPackages(const std::vector<ListedEntry>& entries, InstallRun& run) {
  if (hasPackageFiles(entries) && !run.newcomers.noteWhatIsThere()) {
    run.isJudged = false;
    return;
  }
  for (const ListedEntry& entry : entries) {
    // What is not longer than the ending is not looked at, and all the same deleted.
    if (entry.name.size() <= kPackageFileEnding.size()) {
      run.toDelete.push_back({entry.path()});
      continue;
    }
    if (!isPackageFile(entry.name)) continue;
    std::string path = entry.path();
    report("Install %s\n", path.c_str());
    const bool holdsUninstallPackage = installPackageFile(path, run.installed);
    ++run.packageFiles;
    run.toDelete.push_back({std::move(path), holdsUninstallPackage});
  }
}

// A run that cannot find something out judges nothing from there on, though its report has the
// lines that every report has.
void removeWhatMayNotStay(InstallRun& run) {
  if (run.isJudged) {
    run.isJudged = applyMarketplaceRules(run.removed);
  } else {
    report(kRulesLine);
  }
  if (run.isJudged) {
    run.isJudged = checkDependencies(run.removed);
  } else {
    report(kDependenciesLine);
  }
  if (!run.isJudged) run.newcomers.takeBack(run.installed, run.removed);
  run.isDecided = true;
}

// One is enough.
void reportFailedInstallation(const InstallRun& run) {
  const auto failed = std::ranges::find_if(
      run.installed, [&run](const std::string& appId) { return run.removed.contains(appId); });
  if (failed == run.installed.end()) return;
  reportError("Error: Installation of %s failed\n", failed->c_str());
}

// --- Deletion ---------------------------------------------------------------------------------

// Each may be on a file system of its own. The configuration root is among them for what is in none
// of the others, the names of the others included.
constexpr const char* kRoots[] = {kConfigRoot, kAppRoot, kManifestRoot, kFileSystemRoot};

// 0, or the errno with which it failed.
int synchronize(const char* path) {
  const FileDescriptor root(open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (root.isOpen()) return syncfs(root.get()) == 0 ? 0 : errno;
  // What may be passed through, but not be opened, still has its data somewhere. What is not there
  // has none.
  if (errno != ENOENT) sync();
  return 0;
}

// Whether everything that was installed is on stable storage.
bool synchronizeAll() {
  for (const char* const path : kRoots) {
    const int error = synchronize(path);
    if (error == 0) continue;
    reportError("Error: Failed to synchronise '%s' (errno=%d)\n", path, error);
    return false;
  }
  return true;
}

// A directory that is named like a package is only in the way; one with a short name stays unless
// it is empty.
void deleteDealtWith(const std::string& path) {
  const std::size_t nameLength = path.size() - (path.rfind('/') + 1);
  if (nameLength > kPackageFileEnding.size()) {
    removeOrSetAside(path.c_str());
  } else {
    static_cast<void>(std::remove(path.c_str()));
  }
}

// What cannot be brought to stable storage is installed once more by the next run. So is what was
// not judged: new applications were taken back and are only in their packages now; new manifests,
// among them those that uninstall, have had no effect yet. A package whose content could stay, an
// update, costs nothing but the time to install it again.
//
// Among what is deleted, uninstall packages come last: were the run cut short behind one of them,
// the package of the application that it took away would bring it back.
void deletePackages(InstallRun& run) {
  if (run.toDelete.empty() || !run.isJudged || !synchronizeAll()) return;
  std::stable_partition(run.toDelete.begin(), run.toDelete.end(),
                        [](const DealtWith& file) { return !file.isDeletedLast; });
  // One that cannot be deleted is processed again by the next run.
  for (const DealtWith& file : run.toDelete) deleteDealtWith(file.path);
}

// --- The run ----------------------------------------------------------------------------------

void listApplications() {
  report("List of installed applications:\n");
  std::vector<ListedEntry> entries;
  if (listDirectory(kManifestRoot, entries) != Finding::kFound) return;
  std::string sponsor;
  if (!findSponsor(sponsor)) return;
  for (const ListedEntry& entry : entries) {
    const std::string path = entry.pathOf(kMarketplaceManifest);
    std::string appId;
    if (checkManifestSponsor(SponsorMode::kInstall, path, sponsor, appId) !=
        SponsorVerdict::kAccepted) {
      continue;
    }
    report("%s\n", appId.c_str());
  }
}

// The list is gone when the rules are applied to all that is installed, which takes memory, too.
Finding installWhatIsThere(InstallRun& run) WZAPP_REQUIRES(installMutex) {
  std::vector<ListedEntry> entries;
  const Finding finding = listDirectory(kSourceDir, entries);
  if (finding == Finding::kFound) installPackages(entries, run);
  return finding;
}

void runInstallation(InstallRun& run) WZAPP_REQUIRES(installMutex) {
  report("Installing to %s\n", kAppRoot);
  switch (installWhatIsThere(run)) {
    case Finding::kFound:
      removeWhatMayNotStay(run);
      reportFailedInstallation(run);
      deletePackages(run);
      break;
    case Finding::kNone:
      static_cast<void>(wzInstallCreateSourceDir());  // for the next run
      removeWhatMayNotStay(run);
      if (run.isJudged) setInstallResult(kInstallNoPackage);  // whatever the removals came to
      break;
    case Finding::kUnknown:
      run.isJudged = false;
      removeWhatMayNotStay(run);
      break;
  }
  listApplications();
  if (run.packageFiles == 0 && installResult() == kInstallOk) setInstallResult(kInstallNoPackage);
}

// A run that an exception has ended: no memory, or the host's log threw.
void endEarly(InstallRun& run) WZAPP_REQUIRES(installMutex) {
  setInstallResult(kInstallError);
  if (run.isDecided) return;
  try {
    run.newcomers.takeBack(run.installed, run.removed);
  } catch (...) {
    // What is left, the next run judges.
  }
}

InstallResult runLocked() {
  const MutexLock lock(installMutex);
  setInstallResult(kInstallOk);
  InstallRun run;
  try {
    runInstallation(run);
  } catch (...) {
    endEarly(run);
  }
  return installResult();
}

// --- What hosts see ---------------------------------------------------------------------------

// With the sink of the run before: the caller's own is not in use yet.
bool prepareWithLastSink() {
  const InstallSink last = installSink();
  try {
    return prepareConfigRoot(last.log, last.user);
  } catch (...) {
    return false;  // as above
  }
}

constexpr const char* kResultWords[] = {"OK", "NO PACKAGE", "ERROR", "WARNING"};

void reportResult(InstallResult result) {
  try {
    report("Overall result: %s\n", kResultWords[result]);
  } catch (...) {
    // The host's log threw.
  }
}

}  // namespace

int wzInstall(void (*log)(void* user, const char* format, ...), void* user) {
  if (!prepareWithLastSink()) return kInstallError;
  setInstallLog(log, user);
  const InstallResult result = runLocked();
  reportResult(result);
  return result;
}

}  // namespace wzapp
