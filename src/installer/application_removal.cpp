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

std::string dataPath(const ListedEntry& entry) {
  return std::string(kFileSystemRoot) + "/" + entry.name;
}

}  // namespace

void removeApplication(const ListedEntry& entry, bool isGone) {
  const std::string data = dataPath(entry);
  bool isDataGone = isGone;
  if (!isGone) {
    isDataGone = removeTree(data, Quiet::kEverything);  // only the application's entry leads to it
    removeTree(entry.path(), Quiet::kNothing);
  }
  report(kRemovingLine, data.c_str());
  if (!isDataGone) removeTree(data, Quiet::kTop);
}

void removeManifestDirectory(const ListedEntry& entry) {
  if (!removeManifestDirectoryInAdvance(entry)) removeTree(entry.path(), Quiet::kNothing);
}

bool removeApplicationInAdvance(const ListedEntry& entry) {
  const bool isDataGone = removeTree(dataPath(entry), Quiet::kEverything);
  const bool isEntryGone = removeTree(entry.path(), Quiet::kEverything);
  return isDataGone && isEntryGone;
}

bool removeManifestDirectoryInAdvance(const ListedEntry& entry) {
  return removeTree(entry.path(), Quiet::kEverything, kManifestsInOrder);
}

}  // namespace wzapp
