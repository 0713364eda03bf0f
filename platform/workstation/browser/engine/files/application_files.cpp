#include "workstation/browser/engine/files/application_files.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace workstation {
namespace {

// Several times what a terminal's whole flash spares for one application.
constexpr long long kLargestFile = 64LL << 20;

// Without blocking: a pipe with a fitting name must not hold up anybody.
constexpr int kOpenFlags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

// For systems without openat2: step by step, and through no link at all.
UniqueFd walkBeneath(int directory, const std::string& name) {
  UniqueFd current(::fcntl(directory, F_DUPFD_CLOEXEC, 0));
  for (std::size_t begin = 0; current;) {
    const std::size_t end = name.find('/', begin);
    const std::string step = name.substr(begin, end - begin);
    if (step == "..") return UniqueFd();
    if (end == std::string::npos)
      return UniqueFd(::openat(current.get(), step.c_str(), kOpenFlags | O_NOFOLLOW));
    if (!step.empty()) {
      current.reset(
          ::openat(current.get(), step.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    }
    begin = end + 1;
  }
  return UniqueFd();
}

UniqueFd openBeneath(int directory, const std::string& name) {
  open_how how = {};
  how.flags = kOpenFlags;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
  long fd = -1;
  do {
    fd = ::syscall(SYS_openat2, directory, name.c_str(), &how, sizeof how);
  } while (fd < 0 && (errno == EAGAIN || errno == EINTR));  // EAGAIN: a folder was moved
  if (fd < 0 && errno == ENOSYS) return walkBeneath(directory, name);
  return UniqueFd(static_cast<int>(fd));
}

std::string withoutTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

}  // namespace

std::shared_ptr<ApplicationFiles> ApplicationFiles::open(const std::string& directory,
                                                         const std::vector<std::string>& fallbacks,
                                                         std::string& error) {
  std::shared_ptr<ApplicationFiles> files(new ApplicationFiles);
  files->directory_ = UniqueFd(::open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!files->directory_) {
    error = "cannot open the application's directory " + directory + ": " + std::strerror(errno);
    return nullptr;
  }
  files->prefixes_.emplace_back();
  const std::string base = withoutTrailingSlashes(directory) + '/';
  for (const std::string& fallback : fallbacks) {
    if (fallback.size() > base.size() && fallback.compare(0, base.size(), base) == 0)
      files->prefixes_.push_back(withoutTrailingSlashes(fallback.substr(base.size())) + '/');
  }
  return files;
}

UniqueFd ApplicationFiles::openFile(const std::string& name, long long& size) const {
  if (name.empty() || name.find('\0') != std::string::npos) return UniqueFd();
  for (const std::string& prefix : prefixes_) {
    UniqueFd file = openBeneath(directory_.get(), prefix + name);
    struct stat status = {};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) continue;
    size = status.st_size;
    return file;
  }
  return UniqueFd();
}

FileResult ApplicationFiles::read(const std::string& name, std::string& content) const {
  long long size = 0;
  const UniqueFd file = openFile(name, size);
  if (!file) return FileResult::kMissing;
  if (size > kLargestFile) return FileResult::kTooLarge;
  std::string octets(static_cast<std::size_t>(size), '\0');
  std::size_t filled = 0;
  while (filled < octets.size()) {
    const ssize_t count = ::read(file.get(), octets.data() + filled, octets.size() - filled);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return FileResult::kMissing;
    if (count == 0) break;  // cut while it was being read
    filled += static_cast<std::size_t>(count);
  }
  octets.resize(filled);
  content.swap(octets);
  return FileResult::kFound;
}

bool ApplicationFiles::contains(const std::string& name) const {
  long long size = 0;
  return static_cast<bool>(openFile(name, size));
}

}  // namespace workstation
