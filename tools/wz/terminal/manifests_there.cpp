#include "wz/terminal/manifests_there.h"

#include <filesystem>
#include <system_error>

#include "installer/application_manifest.h"
#include "support/text.h"
#include "workstation/terminal/terminal_layout.h"
#include "wz/reports/packaged_manifest.h"
#include "wzapp/wzapp.h"

namespace wz {
namespace {

namespace fs = std::filesystem;

void takeFolder(const fs::path& folder, bool isApplication, std::vector<ManifestThere>& all) {
  std::error_code failure;
  for (fs::directory_iterator entry(folder, failure), end; !failure && entry != end;
       entry.increment(failure)) {
    const std::string name = entry->path().filename().string();
    if (!wzapp::manifestStem(wzapp::toUpper(name))) continue;
    const std::string path = entry->path().string();
    all.push_back({path, isApplication, readPackagedManifest(path, name)});
  }
}

}  // namespace

std::vector<ManifestThere> findManifestsThere() {
  std::vector<ManifestThere> all;
  for (const std::string& user : workstation::terminalUsers()) {
    takeFolder(fs::path("/home") / user / "www", false, all);
  }
  takeFolder(wzapp::wzInstallAppRoot(), true, all);
  return all;
}

}  // namespace wz
