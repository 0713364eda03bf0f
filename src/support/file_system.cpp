#include "support/file_system.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>
#include <vector>

namespace wzapp {
namespace {

constexpr std::string_view kSeparators = "/\\";
constexpr mode_t kDirectoryMode = 0777;
constexpr std::size_t kBlockSize = 4096;

// A file that is read from its beginning.
class SourceFile {
 public:
  // Without blocking, for whatever somebody put there: a pipe would hold its reader for as long as
  // it has no writer, or one who does not write.
  explicit SourceFile(const char* path)
      : number_(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {}
  SourceFile(const SourceFile&) = delete;
  SourceFile& operator=(const SourceFile&) = delete;
  ~SourceFile() {
    if (isOpen()) close(number_);
  }

  [[nodiscard]] bool isOpen() const { return number_ >= 0; }

  // Appends what the file holds to `content`. 0 at its end; EFBIG where it has more than `limit`
  // octets, and the errno of a read that fails, with what came before.
  [[nodiscard]] int read(std::size_t limit, std::string& content) const {
    std::array<char, kBlockSize> block;
    while (true) {
      const ssize_t count = ::read(number_, block.data(), block.size());
      if (count < 0) return errno;
      if (count == 0) return 0;
      if (static_cast<std::size_t>(count) > limit - content.size()) return EFBIG;
      content.append(block.data(), static_cast<std::size_t>(count));
    }
  }

 private:
  int number_;
};

Finding readOnce(const char* path, std::size_t limit, std::string& content) {
  const SourceFile file(path);
  if (!file.isOpen()) return findingOf(errno);
  std::string octets;
  const int error = file.read(limit, octets);
  if (error == EFBIG) return Finding::kNone;
  if (error != 0 && error != EISDIR) return Finding::kUnknown;
  content = std::move(octets);
  return Finding::kFound;
}

// Takes the component before the first separator, or all there is, off the front of `path`. It is
// empty where `path` begins with a separator.
std::string_view takeComponent(std::string_view& path) {
  const std::size_t separator = path.find_first_of(kSeparators);
  const std::string_view component = path.substr(0, separator);
  path.remove_prefix(separator == std::string_view::npos ? path.size() : separator + 1);
  return component;
}

// Cuts the last component off `path`, behind its first `rootSize` octets.
void dropComponent(std::string& path, std::size_t rootSize) {
  const std::size_t separator = path.rfind('/');
  path.resize(separator == std::string::npos ? rootSize : std::max(separator, rootSize));
}

bool endsInParentComponent(std::string_view path) {
  return path.ends_with("/..") || path.ends_with("\\..");
}

bool makeDirectory(const std::string& path) { return mkdir(path.c_str(), kDirectoryMode) == 0; }

}  // namespace

bool readFile(const char* path, std::string& content, std::size_t limit) {
  content.clear();
  const SourceFile file(path);
  std::string octets;
  if (!file.isOpen() || file.read(limit, octets) == EFBIG) return false;
  content = std::move(octets);
  return true;
}

Finding readWholeFile(const char* path, std::string& content, std::size_t limit) {
  content.clear();
  return findOut([&] { return readOnce(path, limit, content); });
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

void normalizePath(std::string_view path, std::string& normalized) {
  normalized.clear();
  normalized.reserve(path.size() + 1);
  std::string_view rest = path;
  const std::string_view first = takeComponent(rest);
  if (!path.empty() && (first.empty() || first.ends_with(':'))) {
    normalized.append(first).append("/");
  } else {
    rest = path;
  }

  const std::size_t rootSize = normalized.size();
  std::size_t names = 0;  // that a ".." folds with; each ".." that stays is in front of them
  while (!rest.empty()) {
    const std::string_view component = takeComponent(rest);
    if (component.empty() || component == ".") continue;
    const bool isParent = component == "..";
    if (isParent && names > 0) {
      dropComponent(normalized, rootSize);
      --names;
      continue;
    }
    if (!isParent) ++names;
    if (normalized.size() > rootSize) normalized += '/';
    normalized += component;
  }
  if (normalized.empty()) normalized = ".";
}

std::string normalizePath(const std::string& path) {
  std::string normalized;
  normalizePath(path, normalized);
  return normalized;
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

Finding findStatus(const char* path, struct stat& status) {
  return findOut([&] { return fileStat(path, status) == 0 ? Finding::kFound : findingOf(errno); });
}

int linkStat(const char* path, struct stat& status) { return lstat(path, &status); }

}  // namespace wzapp
