#include "installer/newcomers.h"

#include <string>
#include <vector>

#include "installer/application_manifest.h"
#include "installer/directories.h"
#include "installer/listing.h"
#include "installer/messages.h"
#include "installer/tree_removal.h"
#include "support/install_log.h"
#include "support/text.h"

namespace wzapp {
namespace {

// The application that an entry of the application root belongs to.
std::string applicationOf(const ListedEntry& entry) {
  const std::string upperName = toUpper(entry.name);
  return manifestStem(upperName).value_or(upperName);
}

void remove(const ListedEntry& entry) {
  const std::string path = entry.path();
  report(kRemovingLine, path.c_str());
  removeTree(path, Quiet::kNothing);
}

}  // namespace

bool Newcomers::noteWhatIsThere() {
  std::vector<ListedEntry> entries;
  if (listDirectory(kAppRoot, entries) == Finding::kUnknown) return false;
  for (const ListedEntry& entry : entries) applications_.insert(applicationOf(entry));
  if (listDirectory(kManifestRoot, entries) == Finding::kUnknown) return false;
  for (const ListedEntry& entry : entries) manifests_.insert(toUpper(entry.name));
  isNoted_ = true;
  return true;
}

// The manifest of an application goes first: without it the next run removes the rest, should this
// one be cut short and its packages be gone by then.
void Newcomers::takeBack(const AppIds& installed, AppIds& removed) const {
  if (!isNoted_) return;
  std::vector<ListedEntry> entries;
  static_cast<void>(listDirectory(kManifestRoot, entries));  // reported; the next run judges them
  for (const ListedEntry& entry : entries) {
    const std::string name = toUpper(entry.name);
    if (!manifests_.contains(name) && !applications_.contains(name)) remove(entry);
  }
  static_cast<void>(listDirectory(kAppRoot, entries));
  AppIds gone;
  for (const ListedEntry& entry : entries) {
    std::string name = applicationOf(entry);
    if (applications_.contains(name)) continue;
    remove(entry);
    gone.insert(std::move(name));
  }
  for (const std::string& appId : installed) {
    if (gone.contains(toUpper(appId))) removed.insert(appId);
  }
}

}  // namespace wzapp
