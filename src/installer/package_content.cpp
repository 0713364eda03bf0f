#include "installer/package_content.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <set>
#include <string_view>

#include "installer/application_manifest.h"
#include "installer/entry_path.h"
#include "installer/file_descriptor.h"
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

// Whether a file may be written in place: it is no pipe, and writing shows under no other name.
bool isPlain(const struct stat& status) { return S_ISREG(status.st_mode) && status.st_nlink == 1; }

// False for what is not plain or is gone. Nothing is opened for it: a device would notice.
bool findPlain(const Place& place) {
  struct stat status;
  return fstatat(place.directory.get(), place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         isPlain(status);
}

int replaceFile(const Place& place) {
  if (unlinkat(place.directory.get(), place.name.c_str(), 0) != 0) return -1;
  return createFile(place);
}

// A file that is there keeps its owner, its mode and its place in the directory: it is cut to
// nothing, unless it is not plain. Something else may have taken its place once it was found to be:
// opening follows no link and waits for no reader, and what was opened is looked at again.
int openTarget(const Place& place) {
  const int created = createFile(place);
  if (created >= 0 || errno != EEXIST) return created;
  if (!findPlain(place)) return replaceFile(place);

  FileDescriptor file(openat(place.directory.get(), place.name.c_str(),
                             O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status;
  if (!file.isOpen() || fstat(file.get(), &status) != 0) return -1;
  if (!isPlain(status)) return replaceFile(place);
  return ftruncate(file.get(), 0) == 0 ? file.release() : -1;
}

bool extractEntry(UnZIP& archive, UnZIP::Entry entry, const std::string& destination,
                  const char* root, FilePlaces& places) {
  if (!isBelow(destination, root)) return false;
  const Place* const place = places.make(normalizePath(destination));
  if (place == nullptr) return false;
  return archive.extractToFile(entry, [place] { return openTarget(*place); });
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
