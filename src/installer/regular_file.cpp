#include "installer/regular_file.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "installer/place.h"

namespace wzapp {
namespace {

constexpr int kMaxLinks = 40;  // as the kernel
constexpr int kLookFlags = O_PATH | O_NOFOLLOW | O_CLOEXEC;
constexpr int kReadFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

FileDescriptor fail(int error) {
  errno = error;
  return {};
}

// Moves `place` to where `path` leads, seen from the directory of `place`. False when there is no
// such directory. Links on the way to it are followed: finding a directory is no act.
bool moveTo(const std::string& path, Place& place) {
  const std::size_t length = path.rfind('/') + 1;  // 0: there is no "/"
  const std::string directory = length == 0 ? "." : path.substr(0, length);
  const int from = place.directory.isOpen() ? place.directory.get() : AT_FDCWD;
  place.directory =
      FileDescriptor(openat(from, directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  place.name = path.substr(length);
  return place.directory.isOpen();
}

// What the place holds: 0 with errno when that cannot be found out.
mode_t typeOf(const FileDescriptor& file) {
  struct stat status;
  return file.isOpen() && fstat(file.get(), &status) == 0 ? status.st_mode & S_IFMT : 0;
}

bool readLink(const FileDescriptor& link, std::string& target) {
  char buffer[PATH_MAX];
  const ssize_t length = readlinkat(link.get(), "", buffer, sizeof buffer);
  if (length <= 0 || length == static_cast<ssize_t>(sizeof buffer)) return false;
  target.assign(buffer, static_cast<std::size_t>(length));
  return true;
}

FileDescriptor openFound(const Place& place) {
  FileDescriptor file(openat(place.directory.get(), place.name.c_str(), kReadFlags));
  if (!file.isOpen() || typeOf(file) == S_IFREG) return file;
  return fail(ENODEV);
}

}  // namespace

FileDescriptor openRegularFile(const std::string& path) {
  Place place;
  std::string target;
  for (int links = 0; links <= kMaxLinks; ++links) {
    if (!moveTo(links == 0 ? path : target, place)) return {};
    const FileDescriptor found(openat(place.directory.get(), place.name.c_str(), kLookFlags));
    const mode_t type = typeOf(found);
    if (type == S_IFREG) return openFound(place);
    if (type == 0) return {};
    if (type != S_IFLNK) return fail(ENODEV);
    if (!readLink(found, target)) return fail(ENAMETOOLONG);
  }
  return fail(ELOOP);
}

}  // namespace wzapp
