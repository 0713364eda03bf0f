#include "workstation/browser/engine/process/profile_directory.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace workstation {
namespace {

namespace fs = std::filesystem;

constexpr char kNamePrefix[] = "browser-";
constexpr char kLockName[] = "/host.lock";

// The browser puts a socket at .../org.chromium.Chromium.XXXXXX/SingletonSocket; a socket's path
// has at most 107 octets.
constexpr std::size_t kLongestTemporary = 60;

UniqueFd lockDirectory(const std::string& path, int flags) {
  UniqueFd fd(::open((path + kLockName).c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | flags, 0600));
  if (fd && ::flock(fd.get(), LOCK_EX | LOCK_NB) != 0) fd.reset();
  return fd;
}

void removeTree(const std::string& path) {
  std::error_code ignored;  // what cannot go now goes with the next sweep
  fs::remove_all(path, ignored);
}

// Removes the directories whose hosts no longer hold their locks.
void sweep(const std::string& parent) {
  std::error_code error;
  std::vector<std::string> stale;
  for (fs::directory_iterator entry(parent, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (name.compare(0, sizeof kNamePrefix - 1, kNamePrefix) == 0)
      stale.push_back(entry->path().string());
  }
  for (const std::string& path : stale) {
    // One without a lock file is being made or being removed at this moment.
    if (lockDirectory(path, 0)) removeTree(path);
  }
}

std::string parentDirectory(const std::string& terminal) {
  if (!terminal.empty()) return terminal + "/run";
  const char* temporary = std::getenv("TMPDIR");
  const std::string base = temporary != nullptr && *temporary == '/' ? temporary : "/tmp";
  // A folder of the user's own, so that nobody else can put something in the sweep's way.
  return base + "/wz-browser-" + std::to_string(::geteuid());
}

bool isOwnDirectory(const std::string& path) {
  struct stat status = {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
         status.st_uid == ::geteuid();
}

}  // namespace

std::unique_ptr<ProfileDirectory> ProfileDirectory::create(const std::string& terminal,
                                                           std::string& error) {
  const std::string parent = parentDirectory(terminal);
  (void)::mkdir(parent.c_str(), 0700);  // judged by what is there afterwards
  if (!isOwnDirectory(parent)) {
    error = parent + " cannot hold the browser's profile: it is not a directory of this user";
    return nullptr;
  }
  sweep(parent);
  std::string path = parent + '/' + kNamePrefix + std::to_string(::getpid()) + "-XXXXXX";
  if (::mkdtemp(path.data()) == nullptr) {
    error = "cannot create a directory for the browser in " + parent + ": " + std::strerror(errno);
    return nullptr;
  }
  std::unique_ptr<ProfileDirectory> directory(new ProfileDirectory);
  directory->path_ = path;
  directory->lock_ = lockDirectory(path, O_CREAT | O_EXCL);
  if (!directory->lock_ || ::mkdir((path + "/tmp").c_str(), 0700) != 0) {
    error = "cannot set up " + path + ": " + std::strerror(errno);
    return nullptr;
  }
  return directory;
}

ProfileDirectory::~ProfileDirectory() { removeTree(path_); }

std::string ProfileDirectory::temporary() const {
  const std::string own = path_ + "/tmp";
  return own.size() <= kLongestTemporary ? own : "/tmp";
}

}  // namespace workstation
