#include "wz/reports/installed_applications.h"

#include <sys/stat.h>

#include <filesystem>
#include <system_error>

#include "installer/application_manifest.h"
#include "installer/version.h"
#include "support/text.h"
#include "wz/reports/packaged_manifest.h"
#include "wz/words/nearest.h"
#include "wzapp/wzapp.h"

namespace wz {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code failure;
  for (fs::directory_iterator entry(folder, failure), end; !failure && entry != end;
       entry.increment(failure)) {
    names.push_back(entry->path().filename().string());
  }
  return names;
}

// A file that has been written again is another one, or of another time.
std::string stampOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return "-";
  return std::to_string(status.st_ino) + ":" + std::to_string(status.st_mtim.tv_sec) + ":" +
         std::to_string(status.st_mtim.tv_nsec) + ":" + std::to_string(status.st_size);
}

void takeApplication(const std::string& name, InstalledApplications& applications) {
  const std::string upperName = wzapp::toUpper(name);
  const auto stem = wzapp::manifestStem(upperName);
  InstalledApplication& application = applications[stem.value_or(upperName)];
  application.isInstalled = true;
  if (!stem) {
    if (application.id.empty()) application.id = name;
    return;
  }
  const std::string path = std::string(wzapp::wzInstallAppRoot()) + "/" + name;
  const PackagedManifest manifest = readPackagedManifest(path, name);
  application.id = manifest.id.empty() ? name.substr(0, stem->size()) : manifest.id;
  application.version = manifest.version;
  application.stamp += stampOf(path);
  for (const Feature& one : manifest.exportedTriggers) {
    application.exportedTriggers.push_back(one.id);
  }
  for (const Feature& one : manifest.exportedInterfaces) {
    application.exportedInterfaces.push_back(one.id);
  }
}

void takeMarketplaceFolder(const std::string& name, InstalledApplications& applications) {
  const std::string path =
      std::string(wzapp::wzInstallManifestRoot()) + "/" + name + "/" + wzapp::kMarketplaceManifest;
  std::error_code failure;
  if (!fs::exists(path, failure)) return;
  InstalledApplication& application = applications[wzapp::toUpper(name)];
  const PackagedManifest manifest = readPackagedManifest(path, name);
  application.marketplaceFolder = name;
  application.sponsors = manifest.sponsors;
  application.marketplaceVersion = manifest.version;
  application.marketplaceStamp = stampOf(path);
  if (application.id.empty()) application.id = manifest.id.empty() ? name : manifest.id;
}

}  // namespace

bool isWrittenAnew(const InstalledApplication& before, const InstalledApplication& now) {
  return before.stamp != now.stamp || before.marketplaceStamp != now.marketplaceStamp;
}

bool isOlderVersion(const std::string& version, const std::string& than) {
  return !version.empty() && !than.empty() && wzapp::Version(version) < wzapp::Version(than);
}

InstalledApplications findInstalledApplications() {
  InstalledApplications applications;
  for (const std::string& name : namesIn(wzapp::wzInstallAppRoot())) {
    takeApplication(name, applications);
  }
  for (const std::string& name : namesIn(wzapp::wzInstallManifestRoot())) {
    takeMarketplaceFolder(name, applications);
  }
  return applications;
}

std::string suggestedId(const InstalledApplications& applications, const std::string& id) {
  std::vector<std::string> ids;
  for (const auto& [upperId, application] : applications) {
    if (application.isInstalled) ids.push_back(application.id);
  }
  const std::string meant = nearest(id, ids);
  return meant.empty() ? meant : "; did you mean " + meant + "?";
}

}  // namespace wz
