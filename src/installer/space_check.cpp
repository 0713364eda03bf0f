#include "installer/space_check.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "archive/unzip.h"
#include "installer/file_descriptor.h"
#include "installer/place.h"
#include "installer/temporary_file.h"
#include "support/directory_stream.h"

namespace wzapp {
namespace {

constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr std::uint64_t kStatusBlock = 512;  // of st_blocks
// What lies deeper in the old version is not counted: it may go, or not.
constexpr std::size_t kMaxDepth = 32;

std::uint64_t addSaturating(std::uint64_t a, std::uint64_t b) {
  return a > UINT64_MAX - b ? UINT64_MAX : a + b;
}

std::string_view directoryOf(std::string_view path) { return path.substr(0, path.rfind('/') + 1); }

// The octets of the longest directory path, its "/" included, that both begin with.
std::size_t commonLength(std::string_view a, std::string_view b) {
  const auto differing = std::ranges::mismatch(a, b).in1;
  return directoryOf(a.substr(0, static_cast<std::size_t>(differing - a.begin()))).size();
}

Finding lookAt(int directory, const std::string& name, struct stat& status) {
  return findOut([&] {
    return findingOfAttempt(fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0);
  });
}

Finding lookFor(const std::string& path, Place& place, struct stat& status) {
  const Finding finding = findOut([&] { return findingOfAttempt(findPlace(path, place)); });
  return finding == Finding::kFound ? lookAt(place.directory.get(), place.name, status) : finding;
}

// Null where it cannot be listed.
DirectoryStream openStream(int parent, const std::string& name) {
  DirectoryStream stream;
  static_cast<void>(findOut([&] {
    FileDescriptor directory(openat(parent, name.c_str(), kDirectoryFlags));
    if (directory.isOpen()) stream.reset(fdopendir(directory.get()));
    if (stream) static_cast<void>(directory.release());  // the stream closes it
    return findingOfAttempt(stream != nullptr);
  }));
  return stream;
}

}  // namespace

SpaceCheck::SpaceCheck(std::string_view root) {
  lastDirectory_.reserve(root.size() + 1 + UnZIP::kNameLimit);  // for all that follow
  lastDirectory_.append(root).append("/*");
  limit_ = findOut([this] { return findLimit(); });
  lastDirectory_.pop_back();
}

Finding SpaceCheck::findLimit() {
  Place inside;
  struct stat directory;
  struct statvfs status;
  if (!findPlace(lastDirectory_, inside) || fstat(inside.directory.get(), &directory) != 0 ||
      fstatvfs(inside.directory.get(), &status) != 0) {
    return findingOfAttempt(false);
  }
  device_ = directory.st_dev;
  if (status.f_blocks == 0 || status.f_frsize == 0) return Finding::kNone;
  blockSize_ = status.f_frsize;
  free_.octets = std::uint64_t{status.f_bavail} * status.f_frsize;
  free_.files = status.f_files == 0 ? UINT64_MAX : std::uint64_t{status.f_favail};
  return Finding::kFound;
}

// --- The new version --------------------------------------------------------------------------

void SpaceCheck::addWritten(const std::string& path, std::uint64_t size) {
  // Sorted names keep the files of a directory together, so that each is entered once.
  const std::string_view directory = directoryOf(path);
  const std::string_view entered = directory.substr(commonLength(directory, lastDirectory_));
  const auto directories = static_cast<std::uint64_t>(std::ranges::count(entered, '/'));
  lastDirectory_ = directory;

  const std::uint64_t blocks = size / blockSize_ + (size % blockSize_ == 0 ? 0 : 1);
  const std::uint64_t octets = blocks > UINT64_MAX / blockSize_ ? UINT64_MAX : blocks * blockSize_;
  needed_.octets = addSaturating(needed_.octets, octets);
  needed_.octets = addSaturating(needed_.octets, directories * blockSize_);
  needed_.files += 1 + directories;
}

// --- The old version --------------------------------------------------------------------------

void SpaceCheck::addFreed(const struct stat& status) {
  hasOldVersion_ = true;
  if (status.st_dev != device_) return;
  if (!S_ISDIR(status.st_mode) && status.st_nlink > 1) return;  // it stays under another name
  freed_.octets =
      addSaturating(freed_.octets, static_cast<std::uint64_t>(status.st_blocks) * kStatusBlock);
  ++freed_.files;
}

void SpaceCheck::addReplaced(const std::string& path) {
  Place place;
  struct stat status;
  const Finding finding = lookFor(path, place, status);
  if (finding == Finding::kUnknown) hasOldVersion_ = true;  // which frees nothing
  if (finding == Finding::kFound && !S_ISDIR(status.st_mode)) addFreed(status);
}

void SpaceCheck::addRemoved(const std::string& path) {
  Place place;
  struct stat status;
  const Finding finding = lookFor(path, place, status);
  if (finding == Finding::kUnknown) hasOldVersion_ = true;  // which frees nothing
  if (finding == Finding::kFound) addTree(place.directory.get(), place.name, status, kMaxDepth);
}

// What cannot be looked at frees nothing.
void SpaceCheck::addTree(int parent, const std::string& name, const struct stat& status,
                         std::size_t depth) {
  addFreed(status);
  if (!S_ISDIR(status.st_mode) || depth == 0) return;
  const DirectoryStream stream = openStream(parent, name);
  if (!stream) return;
  const int directory = dirfd(stream.get());
  while (const struct dirent* found = readEntry(stream.get())) {
    const std::string entry = found->d_name;
    struct stat below;
    if (isDotEntry(*found) || lookAt(directory, entry, below) != Finding::kFound) continue;
    addTree(directory, entry, below, depth - 1);
  }
}

// --- The answer -------------------------------------------------------------------------------

bool SpaceCheck::fits() const {
  if (limit_ != Finding::kFound) return limit_ == Finding::kNone;
  const std::uint64_t octets = addSaturating(free_.octets, freed_.octets);
  return octets >= TemporaryFile::kReserve && needed_.octets <= octets - TemporaryFile::kReserve &&
         needed_.files <= addSaturating(free_.files, freed_.files);
}

}  // namespace wzapp
