#include "installer/place.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <vector>

#include "installer/directories.h"

namespace wzapp {
namespace {

// O_PATH asks for the right to pass through a directory only, as the use of a whole path does.
constexpr int kPassFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;

std::vector<std::string> splitPath(std::string_view path) {
  std::vector<std::string> components;
  while (!path.empty()) {
    const std::size_t slash = path.find('/');
    if (slash != 0) components.emplace_back(path.substr(0, slash));
    path.remove_prefix(slash == std::string_view::npos ? path.size() : slash + 1);
  }
  return components;
}

bool isRelative(const std::string& component) { return component == "." || component == ".."; }

// The length of what may be reached through links: the configuration root, or all but the last
// component.
std::size_t trustedLength(std::string_view path) {
  const std::string_view root = kConfigRoot;
  if (path.starts_with(root) && path.substr(root.size()).starts_with('/')) return root.size();
  return path.rfind('/') + 1;
}

}  // namespace

bool findPlace(const std::string& path, Place& place) {
  const std::size_t length = trustedLength(path);
  std::vector<std::string> components = splitPath(std::string_view(path).substr(length));
  const bool climbs = std::any_of(components.begin(), components.end(), isRelative);
  if (components.empty() || climbs) {
    errno = EINVAL;
    return false;
  }

  Place found;
  found.name = std::move(components.back());
  components.pop_back();
  const std::string trusted = path.substr(0, length);
  found.directory = FileDescriptor(open(trusted.empty() ? "." : trusted.c_str(), kPassFlags));
  for (const std::string& component : components) {
    if (!found.directory.isOpen()) return false;
    found.directory =
        FileDescriptor(openat(found.directory.get(), component.c_str(), kPassFlags | O_NOFOLLOW));
  }
  if (!found.directory.isOpen()) return false;
  place = std::move(found);
  return true;
}

}  // namespace wzapp
