#include "installer/application_removal.h"

#include <string>
#include <string_view>

#include "installer/application_manifest.h"
#include "installer/directories.h"
#include "installer/messages.h"
#include "installer/tree_removal.h"
#include "support/install_log.h"

namespace wzapp {
namespace {

// An uninstall manifest alone condemns its application, and so does a marketplace manifest that was
// refused; one that was accepted must not outlive the uninstall manifest.
constexpr std::string_view kManifestsInOrder[] = {kMarketplaceManifest, kUninstallManifest};

std::string dataPath(const DirEntry& entry) {
  return std::string(kFileSystemRoot) + "/" + entry.name;
}

}  // namespace

void removeApplication(const DirEntry& entry) {
  const std::string data = dataPath(entry);
  removeTree(data, Quiet::kEverything);  // only the application's own entry leads to it
  removeTree(entry.path, Quiet::kNothing);
  report(kRemovingLine, data.c_str());
  removeTree(data, Quiet::kTop);
}

void removeManifestDirectory(const DirEntry& entry) {
  removeManifestDirectoryInAdvance(entry);
  removeTree(entry.path, Quiet::kNothing);
}

void removeApplicationInAdvance(const DirEntry& entry) {
  removeTree(dataPath(entry), Quiet::kEverything);
  removeTree(entry.path, Quiet::kEverything);
}

void removeManifestDirectoryInAdvance(const DirEntry& entry) {
  removeTree(entry.path, Quiet::kEverything, kManifestsInOrder);
}

}  // namespace wzapp
