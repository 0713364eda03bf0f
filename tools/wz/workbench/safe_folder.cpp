#include "wz/workbench/safe_folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <memory>
#include <utility>

namespace wz {
namespace {

using workstation::UniqueFd;

struct FolderCloser {
  void operator()(DIR* folder) const { closedir(folder); }
};

const char* kindOf(mode_t mode) {
  if (S_ISREG(mode)) return "file";
  if (S_ISDIR(mode)) return "folder";
  return S_ISLNK(mode) ? "link" : "other";
}

std::string modeText(mode_t mode) {
  constexpr char kLetters[] = "rwxrwxrwx";
  std::string text;
  for (unsigned i = 0; i < 9; ++i) text += (mode & (0400U >> i)) != 0 ? kLetters[i] : '-';
  return text;
}

std::string timeText(std::time_t time) {
  std::tm parts{};
  std::array<char, 32> text{};
  gmtime_r(&time, &parts);
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

}  // namespace

SafeFolder::SafeFolder(const std::string& path)
    : folder_(::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {}

UniqueFd SafeFolder::open(const std::string& name, int flags) const {
  if (!folder_ || name.find('\0') != std::string::npos) return UniqueFd();
  open_how how = {};
  // Without blocking: a pipe must not hold up anybody.
  how.flags = static_cast<unsigned>(flags | O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
  long file = -1;
  do {
    file = ::syscall(SYS_openat2, folder_.get(), name.c_str(), &how, sizeof how);
  } while (file < 0 && (errno == EAGAIN || errno == EINTR));  // EAGAIN: a folder was moved
  return UniqueFd(static_cast<int>(file));
}

UniqueFd SafeFolder::openFile(const std::string& name, std::uint64_t& size) const {
  UniqueFd file = open(name, 0);
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return UniqueFd();
  size = static_cast<std::uint64_t>(status.st_size);
  return file;
}

bool SafeFolder::readFile(const std::string& name, std::size_t limit, std::string& content) const {
  std::uint64_t size = 0;
  const UniqueFd file = openFile(name, size);
  if (!file || size > limit) return false;
  content.assign(size, '\0');
  std::size_t done = 0;
  while (done < content.size()) {
    const ssize_t count = ::read(file.get(), content.data() + done, content.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    done += static_cast<std::size_t>(count);
  }
  content.resize(done);
  return true;
}

bool SafeFolder::list(const std::string& name, std::vector<FolderEntry>& entries) const {
  UniqueFd opened = open(name.empty() ? "." : name, O_DIRECTORY);
  if (!opened) return false;
  const std::unique_ptr<DIR, FolderCloser> folder(
      fdopendir(fcntl(opened.get(), F_DUPFD_CLOEXEC, 0)));
  if (!folder) return false;
  entries.clear();
  while (const dirent* const entry = readdir(folder.get())) {
    const std::string entryName = entry->d_name;
    struct stat status {};
    if (entryName == "." || entryName == "..") continue;
    if (fstatat(opened.get(), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) continue;
    entries.push_back({entryName, kindOf(status.st_mode),
                       static_cast<std::uint64_t>(status.st_size), modeText(status.st_mode),
                       timeText(status.st_mtime)});
  }
  std::sort(entries.begin(), entries.end(), [](const FolderEntry& a, const FolderEntry& b) {
    const bool isFolder = a.kind == "folder";
    return isFolder != (b.kind == "folder") ? isFolder : a.name < b.name;
  });
  return true;
}

}  // namespace wz
