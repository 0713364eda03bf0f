#include "installer/package_content.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <set>
#include <string_view>

#include "installer/application_manifest.h"
#include "installer/entry_path.h"
#include "installer/file_descriptor.h"
#include "installer/place.h"
#include "installer/space_check.h"
#include "installer/tree_removal.h"
#include "support/file_system.h"
#include "support/finding.h"
#include "support/install_result.h"
#include "support/text.h"

namespace wzapp {
namespace {

constexpr std::string_view kManifestEnding = ".MFT";
constexpr mode_t kFileMode = 0666;

// --- The previous version ---------------------------------------------------------------------

using TopDirectories = std::set<std::string_view>;  // views of the index

TopDirectories topDirectories(const UnZIP::Index& index) {
  TopDirectories names;
  for (const auto& [name, position] : index) {
    const std::size_t slash = name.find('/');
    if (slash != std::string_view::npos) names.insert(name.substr(0, slash));
  }
  return names;
}

void removePreviousVersion(const TopDirectories& names, Destination& destination) {
  for (const std::string_view name : names) {
    destination.find(name);
    if (destination.isBelowRoot()) removeTree(destination.path(), Quiet::kNothing);
  }
}

// Whether the new version fits where the old one is. Without an old one there is nothing to lose,
// and what fits is written.
bool hasRoom(const UnZIP::Index& index, const TopDirectories& names, const char* root,
             Destination& destination) {
  SpaceCheck check(root);
  for (const std::string_view name : names) {
    destination.find(name);
    if (destination.isBelowRoot()) check.addRemoved(destination.path());
  }
  for (const auto& [name, record] : index) {
    if (name.ends_with('/')) continue;
    destination.find(name);
    if (!destination.isBelowRoot()) continue;
    if (name.find('/') == std::string_view::npos) check.addReplaced(destination.normalized());
    check.addWritten(destination.normalized(), record.size);
  }
  return !check.hasOldVersion() || check.fits();
}

// Makes room for the new version where that fits. False, with nothing changed, where it does not.
bool replacePreviousVersion(const UnZIP::Index& index, const char* root, Destination& destination) {
  const TopDirectories names = topDirectories(index);
  if (!hasRoom(index, names, root, destination)) return false;
  removePreviousVersion(names, destination);
  return true;
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

// The same where the file system sets no room aside: by what it says is free.
bool hasFreeSpaceFor(int file, const struct stat& old, std::uint64_t size) {
  constexpr std::uint64_t kStatusBlock = 512;  // of st_blocks
  struct statvfs status;
  if (fstatvfs(file, &status) != 0) return false;
  if (status.f_blocks == 0 || status.f_frsize == 0) return true;  // it has no limit
  const std::uint64_t free = std::uint64_t{status.f_bavail} * status.f_frsize;
  const std::uint64_t given = static_cast<std::uint64_t>(old.st_blocks) * kStatusBlock;
  if (size <= free + given) return true;
  errno = ENOSPC;
  return false;
}

// Whether the file, whose status is `old`, has room for so many octets before what it holds is
// given up. The room stays with the file until it is cut. False with errno.
bool hasRoomFor(int file, const struct stat& old, std::uint64_t size) {
  constexpr auto kLargest = static_cast<std::uint64_t>(std::numeric_limits<off_t>::max());
  if (size == 0) return true;
  const auto length = static_cast<off_t>(std::min(size, kLargest));
  if (fallocate(file, FALLOC_FL_KEEP_SIZE, 0, length) == 0) return true;
  const int error = errno;
  if (error == EOPNOTSUPP || error == ENOSYS) return hasFreeSpaceFor(file, old, size);
  // Some file systems keep what they had found by then.
  [[maybe_unused]] const int ignored = ftruncate(file, old.st_size);
  errno = error;
  return false;
}

// A file that is there keeps its owner, its mode and its place in the directory: it is written
// over, unless it is not plain. Something else may have taken its place once it was found to be:
// opening follows no link and waits for no reader, and what was opened is looked at again.
int openTarget(const Place& place, std::uint64_t size) {
  const int created = createFile(place);
  if (created >= 0 || errno != EEXIST) return created;
  if (!findPlain(place)) return replaceFile(place);

  FileDescriptor file(openat(place.directory.get(), place.name.c_str(),
                             O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status;
  if (!file.isOpen() || fstat(file.get(), &status) != 0) return -1;
  if (!isPlain(status)) return replaceFile(place);
  return hasRoomFor(file.get(), status, size) ? file.release() : -1;
}

bool extractOnce(UnZIP& archive, UnZIP::Entry entry, const Destination& destination,
                 FilePlaces& places) {
  const Place* const place = places.make(destination.normalized());
  if (place == nullptr) return false;
  return archive.extractToFile(entry,
                               [place, entry] { return openTarget(*place, entry->second.size); });
}

// Tried again where it fails for a reason that passes: the version before is gone by now.
bool extractEntry(UnZIP& archive, UnZIP::Entry entry, const Destination& destination,
                  FilePlaces& places) {
  if (!destination.isBelowRoot()) return false;
  const Finding finding = findOut([&] {
    errno = 0;  // what fails without a call of the system that fails is the archive's fault
    return findingOfAttempt(extractOnce(archive, entry, destination, places));
  });
  return finding == Finding::kFound;
}

}  // namespace

std::string extractContent(UnZIP& archive, const ContentTarget& target) {
  Destination destination(target.root);
  const bool isRefused =
      target.isReplaced && !replacePreviousVersion(archive.index(), target.root, destination);
  std::string appId;
  FilePlaces places;
  for (auto entry = archive.index().begin(); entry != archive.index().end(); ++entry) {
    const std::string_view name = entry->first;
    if (name.ends_with('/')) continue;
    destination.find(name);
    const std::string& path = destination.path();
    if (isRefused || !extractEntry(archive, entry, destination, places)) {
      reportError("Error: Failed to extract '%s' -> '%s'\n", name.data(), path.c_str());
      continue;
    }
    if (endsInAnyCase(path, kManifestEnding)) appId = readManifestAppId(path);
  }
  return appId;
}

}  // namespace wzapp
