#include "support/file_system.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string_view>
#include <vector>

namespace wzapp {
namespace {

constexpr std::string_view kSeparators = "/\\";
constexpr mode_t kDirectoryMode = 0777;
constexpr std::size_t kBlockSize = 4096;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

using OpenFile = std::unique_ptr<std::FILE, FileCloser>;

// Without blocking, for whatever somebody put there: a pipe would hold its reader for as long as it
// has no writer, or one who does not write.
OpenFile openForReading(const char* path) {
  const int descriptor = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (descriptor < 0) return nullptr;
  OpenFile file(fdopen(descriptor, "rb"));
  if (!file) close(descriptor);
  return file;
}

// The components of `path`, the empty ones before, between and behind separators included. None for
// an empty path.
std::vector<std::string_view> splitComponents(std::string_view path) {
  std::vector<std::string_view> components;
  while (!path.empty()) {
    const std::size_t separator = path.find_first_of(kSeparators);
    components.push_back(path.substr(0, separator));
    if (separator == std::string_view::npos) return components;
    path.remove_prefix(separator + 1);
    if (path.empty()) components.push_back(path);
  }
  return components;
}

bool endsInParentComponent(std::string_view path) {
  return path.ends_with("/..") || path.ends_with("\\..");
}

bool makeDirectory(const std::string& path) { return mkdir(path.c_str(), kDirectoryMode) == 0; }

}  // namespace

bool readFile(const char* path, std::string& content) {
  content.clear();
  const OpenFile file = openForReading(path);
  if (!file) return false;

  std::array<char, kBlockSize> block;
  std::string octets;
  std::size_t count = 0;
  do {
    count = std::fread(block.data(), 1, block.size(), file.get());
    if (count > kMaxFileSize - octets.size()) return false;
    octets.append(block.data(), count);
  } while (count == block.size());
  content = std::move(octets);
  return true;
}

bool isAbsolutePath(const std::string& path) {
  if (path.empty()) return false;
  const std::size_t separator = path.find_first_of(kSeparators);
  if (separator == 0) return true;
  const std::size_t cut = separator == std::string::npos ? path.size() : separator;
  return path[cut - 1] == ':';
}

std::string dirName(const std::string& path) {
  const std::size_t last = path.find_last_of(kSeparators);
  if (last == std::string::npos) return ".";
  const bool isOnlySeparator = path.find_first_of(kSeparators) == last;
  const bool keepsSeparator = last == 0 || (isOnlySeparator && isAbsolutePath(path));
  return path.substr(0, keepsSeparator ? last + 1 : last);
}

std::string normalizePath(const std::string& path) {
  std::vector<std::string_view> components = splitComponents(path);
  std::string result;
  std::size_t first = 0;
  if (!components.empty() && (components[0].empty() || components[0].ends_with(':'))) {
    result.append(components[0]).append("/");
    first = 1;
  }

  std::vector<std::string_view> kept;
  for (std::size_t i = first; i < components.size(); ++i) {
    const std::string_view component = components[i];
    if (component.empty() || component == ".") continue;
    if (component == ".." && !kept.empty() && kept.back() != "..") {
      kept.pop_back();
    } else {
      kept.push_back(component);
    }
  }

  for (std::size_t i = 0; i < kept.size(); ++i) {
    if (i > 0) result += '/';
    result += kept[i];
  }
  return result.empty() ? "." : result;
}

std::string joinPath(const std::string& base, const std::string& path) {
  if (isAbsolutePath(path)) return path;
  return normalizePath(base + "/" + path);
}

bool makePath(const std::string& path) {
  // Up to what exists, then down again. `missing` holds the lengths of the paths to create, the
  // longest first.
  std::vector<std::size_t> missing;
  struct stat status;
  std::string parent = path;
  while (!parent.empty() && fileStat(parent.c_str(), status) != 0) {
    if (endsInParentComponent(parent)) return false;
    missing.push_back(parent.size());
    const std::size_t separator = parent.find_last_of(kSeparators);
    parent.resize(separator == std::string::npos ? 0 : separator);
  }

  for (auto length = missing.rbegin(); length != missing.rend(); ++length) {
    if (!makeDirectory(path.substr(0, *length))) return false;
  }
  return true;
}

bool writeWhole(int descriptor, ByteView octets) {
  while (!octets.empty()) {
    const ssize_t count = write(descriptor, octets.data(), octets.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    octets = octets.subspan(static_cast<std::size_t>(count));
  }
  return true;
}

int fileStat(const char* path, struct stat& status) { return stat(path, &status); }

int linkStat(const char* path, struct stat& status) { return lstat(path, &status); }

}  // namespace wzapp
