#include "installer/place.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <string_view>

#include "installer/directories.h"

namespace wzapp {
namespace {

// O_PATH asks for the right to pass through a directory only, as the use of a whole path does.
constexpr int kPassFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;
constexpr mode_t kDirectoryMode = 0777;

// Takes the first component that is not empty off the front of `path`, with what separates it;
// empty where there is none.
std::string_view takeComponent(std::string_view& path) {
  path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
  const std::string_view component = path.substr(0, path.find('/'));
  path.remove_prefix(component.size());
  return component;
}

bool isRelative(std::string_view component) { return component == "." || component == ".."; }

bool hasRelativeComponent(std::string_view path) {
  while (true) {
    const std::string_view component = takeComponent(path);
    if (component.empty()) return false;
    if (isRelative(component)) return true;
  }
}

// The length of what may be reached through links: the configuration root, or all but the last
// component.
std::size_t trustedLength(std::string_view path) {
  const std::string_view root = kConfigRoot;
  if (path.starts_with(root) && path.substr(root.size()).starts_with('/')) return root.size();
  return path.rfind('/') + 1;
}

FileDescriptor openTrusted(std::string_view path) {
  if (path.empty()) return FileDescriptor(open(".", kPassFlags));
  // What is looked for is nearly always there: without a copy.
  if (path == kConfigRoot) return FileDescriptor(open(kConfigRoot, kPassFlags));
  return FileDescriptor(open(std::string(path).c_str(), kPassFlags));
}

using StepInto = FileDescriptor (*)(const FileDescriptor& directory, const std::string& name);

FileDescriptor openDirectory(const FileDescriptor& directory, const std::string& name) {
  return FileDescriptor(openat(directory.get(), name.c_str(), kPassFlags | O_NOFOLLOW));
}

FileDescriptor openOrMakeDirectory(const FileDescriptor& directory, const std::string& name) {
  FileDescriptor found = openDirectory(directory, name);
  if (found.isOpen() || errno != ENOENT) return found;
  // Of no matter who makes it, openDirectory() tells what it is.
  if (mkdirat(directory.get(), name.c_str(), kDirectoryMode) != 0 && errno != EEXIST) return found;
  return openDirectory(directory, name);
}

// --- The roots --------------------------------------------------------------------------------

constexpr std::string_view kRoots[] = {kAppRoot, kManifestRoot, kFileSystemRoot};

// Whether what lies below the root goes through it at this length of `path`.
bool isRoot(std::string_view path, std::size_t length) {
  return std::ranges::find(kRoots, path.substr(0, length)) != std::end(kRoots);
}

// Where the link leads. What was found to be trusted is what is read: another one may have its name
// by now.
FileDescriptor followTrustedLink(const FileDescriptor& directory, const std::string& name) {
  const FileDescriptor link(openat(directory.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  struct stat status;
  if (!link.isOpen() || fstatat(link.get(), "", &status, AT_EMPTY_PATH) != 0) return {};
  if (!isTrustedLink(status)) {
    errno = ENOTDIR;
    return {};
  }
  char target[PATH_MAX + 1] = {};
  if (readlinkat(link.get(), "", target, PATH_MAX) <= 0) return {};
  return FileDescriptor(openat(directory.get(), target, kPassFlags));
}

bool walk(const std::string& path, StepInto stepInto, Place& place) {
  const std::size_t length = trustedLength(path);
  std::string_view rest = std::string_view(path).substr(length);
  const bool climbs = hasRelativeComponent(rest);
  std::string_view component = takeComponent(rest);
  if (component.empty() || climbs) {
    errno = EINVAL;
    return false;
  }

  Place found;
  found.directory = openTrusted(std::string_view(path).substr(0, length));
  while (found.directory.isOpen()) {
    found.name = component;
    const std::size_t walked = path.size() - rest.size();  // up to where the component ends
    component = takeComponent(rest);
    if (component.empty()) {
      place = std::move(found);
      return true;
    }
    FileDescriptor next = stepInto(found.directory, found.name);
    if (!next.isOpen() && errno == ENOTDIR && isRoot(path, walked)) {
      next = followTrustedLink(found.directory, found.name);
    }
    found.directory = std::move(next);
  }
  return false;
}

}  // namespace

bool isTrustedLink(const struct stat& status) {
  return S_ISLNK(status.st_mode) && (status.st_uid == 0 || status.st_uid == getuid());
}

bool findPlace(const std::string& path, Place& place) { return walk(path, openDirectory, place); }

bool makePlace(const std::string& path, Place& place) {
  return walk(path, openOrMakeDirectory, place);
}

const Place* FilePlaces::make(const std::string& path) {
  const std::size_t length = path.rfind('/') + 1;  // 0: there is no "/"
  const std::string_view directory = std::string_view(path).substr(0, length);
  const std::string_view name = std::string_view(path).substr(length);
  const bool isName = !name.empty() && !isRelative(name);
  if (isName && !directory.empty() && directory == directory_) {
    place_.name = name;
    return &place_;
  }
  directory_.clear();
  if (!makePlace(path, place_)) return nullptr;
  if (isName) directory_ = directory;
  return &place_;
}

}  // namespace wzapp
