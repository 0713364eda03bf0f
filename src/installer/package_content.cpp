#include "installer/package_content.h"

#include <fcntl.h>

#include <cerrno>
#include <set>
#include <string_view>

#include "installer/application_manifest.h"
#include "installer/entry_path.h"
#include "installer/place.h"
#include "installer/tree_removal.h"
#include "support/file_system.h"
#include "support/install_result.h"
#include "support/text.h"

namespace wzapp {
namespace {

constexpr std::string_view kManifestEnding = ".MFT";
constexpr mode_t kFileMode = 0666;

std::string destinationOf(const std::string& name, const char* root) {
  return joinPath(root, sanitizeEntryPath(name));
}

// --- The previous version ---------------------------------------------------------------------

std::set<std::string> topDirectories(const UnZIP::Index& index) {
  std::set<std::string> names;
  for (const auto& [name, position] : index) {
    const std::size_t slash = name.find('/');
    if (slash != std::string::npos) names.insert(name.substr(0, slash));
  }
  return names;
}

void removePreviousVersion(const UnZIP::Index& index, const char* root) {
  for (const std::string& name : topDirectories(index)) {
    const std::string path = destinationOf(name, root);
    if (isBelow(path, root)) removeTree(path, Quiet::kNothing);
  }
}

// --- Files ------------------------------------------------------------------------------------

int createFile(const Place& place) {
  return openat(place.directory.get(), place.name.c_str(),
                O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kFileMode);
}

// A new file in any case: what is there may be a link, or have another name elsewhere.
int replaceFile(const Place& place) {
  const int file = createFile(place);
  if (file >= 0 || errno != EEXIST) return file;
  if (unlinkat(place.directory.get(), place.name.c_str(), 0) != 0) return -1;
  return createFile(place);
}

bool extractEntry(UnZIP& archive, UnZIP::Entry entry, const std::string& destination,
                  const char* root, FilePlaces& places) {
  if (!isBelow(destination, root)) return false;
  const Place* const place = places.make(normalizePath(destination));
  if (place == nullptr) return false;
  return archive.extractToFile(entry, [place] { return replaceFile(*place); });
}

bool isManifest(const std::string& path) { return toUpper(path).ends_with(kManifestEnding); }

}  // namespace

std::string extractContent(UnZIP& archive, const ContentTarget& target) {
  if (target.isReplaced) removePreviousVersion(archive.index(), target.root);
  std::string appId;
  FilePlaces places;
  for (auto entry = archive.index().begin(); entry != archive.index().end(); ++entry) {
    const std::string& name = entry->first;
    if (name.ends_with('/')) continue;
    const std::string destination = destinationOf(name, target.root);
    if (!extractEntry(archive, entry, destination, target.root, places)) {
      reportError("Error: Failed to extract '%s' -> '%s'\n", name.c_str(), destination.c_str());
      continue;
    }
    if (isManifest(destination)) appId = readManifestAppId(destination);
  }
  return appId;
}

}  // namespace wzapp
