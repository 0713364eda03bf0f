#include "wz/terminal/swept_folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "packaging/temporary_folders.h"

namespace wz {
namespace {

namespace fs = std::filesystem;

// A folder that is locked as long as its process lives.
int lockFolder(const fs::path& path) {
  const int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (folder < 0 || flock(folder, LOCK_EX | LOCK_NB) == 0) return folder;
  close(folder);
  return -1;
}

// Removes what programs that were killed have left.
void sweep(const fs::path& parent, const std::string& prefix) {
  std::error_code failure;
  for (fs::directory_iterator entry(parent, failure), end; !failure && entry != end;
       entry.increment(failure)) {
    struct stat status {};
    const fs::path path = entry->path();
    const bool isOurs = path.filename().string().starts_with(prefix) &&
                        lstat(path.c_str(), &status) == 0 && status.st_uid == geteuid();
    const int lock = isOurs ? lockFolder(path) : -1;
    if (lock < 0) continue;
    std::error_code ignored;
    fs::remove_all(path, ignored);
    close(lock);
  }
}

}  // namespace

SweptFolder::~SweptFolder() {
  std::error_code ignored;
  if (!path_.empty()) fs::remove_all(path_, ignored);
  if (lock_ >= 0) close(lock_);
}

bool SweptFolder::make(const std::string& prefix, std::string& error) {
  std::error_code failure;
  const fs::path parent = fs::temp_directory_path(failure);
  if (!failure) sweep(parent, prefix);
  while (!failure) {
    std::string name = (parent / prefix).string() + "XXXXXX";
    if (mkdtemp(name.data()) == nullptr) break;
    lock_ = lockFolder(name);
    // Between its making and its lock another one's sweep may have found it.
    if (lock_ < 0 || !fs::exists(name, failure)) continue;
    path_ = name;
    return true;
  }
  error = packaging::temporaryFolderProblem(parent.string());
  return false;
}

}  // namespace wz
