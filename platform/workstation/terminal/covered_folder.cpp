#include "workstation/terminal/covered_folder.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <string_view>
#include <utility>

#include "workstation/terminal/folder_stream.h"

namespace workstation {
namespace {

bool isEntryName(const std::string& name) { return !name.empty() && name != "." && name != ".."; }

}  // namespace

CoveredFolder::CoveredFolder(std::string path) : path_(std::move(path)) {}

CoveredFolder::~CoveredFolder() {
  for (const auto& [name, held] : held_) {
    if (held.mount >= 0) close(held.mount);
  }
}

void CoveredFolder::keepAll(const std::function<bool(const std::string& name)>& wanted) {
  const FolderStream folder(opendir(path_.c_str()));
  if (folder == nullptr) return;
  while (const dirent* const entry = readdir(folder.get())) {
    const std::string name = entry->d_name;
    // Looking at every home must not mount every home.
    if (isEntryName(name) && wanted(name)) hold(name, false);
  }
}

void CoveredFolder::keep(const std::string& name) {
  if (isEntryName(name) && held_.find(name) == held_.end()) hold(name, true);
}

void CoveredFolder::hold(const std::string& name, bool automount) {
  const std::string place = path_ + "/" + name;
  struct stat status {};
  if (lstat(place.c_str(), &status) != 0) return;
  Held held;
  if (S_ISLNK(status.st_mode)) {
    char target[PATH_MAX];
    const ssize_t length = readlink(place.c_str(), target, sizeof(target));
    if (length <= 0) return;
    held.target.assign(target, static_cast<std::size_t>(length));
  } else {
    const unsigned flags = OPEN_TREE_CLONE | OPEN_TREE_CLOEXEC | AT_RECURSIVE |
                           AT_SYMLINK_NOFOLLOW | (automount ? 0U : unsigned{AT_NO_AUTOMOUNT});
    held.mount = open_tree(AT_FDCWD, place.c_str(), flags);
    if (held.mount < 0) return;
    held.folder = S_ISDIR(status.st_mode);
  }
  held_.emplace(name, std::move(held));
}

bool CoveredFolder::cover() {
  if (mount("terminal", path_.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755") != 0) {
    return false;
  }
  for (const auto& [name, held] : held_) putBack(name, held);
  return true;
}

void CoveredFolder::putBack(const std::string& name, const Held& held) {
  const std::string place = path_ + "/" + name;
  if (!held.target.empty()) {
    (void)!symlink(held.target.c_str(), place.c_str());
    return;
  }
  if (held.folder) {
    (void)mkdir(place.c_str(), 0755);
  } else {
    const int file = open(place.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (file >= 0) close(file);
  }
  (void)move_mount(held.mount, "", AT_FDCWD, place.c_str(), MOVE_MOUNT_F_EMPTY_PATH);
}

bool CoveredFolder::seal() { return sealMount(path_); }

bool sealMount(const std::string& path) {
  constexpr unsigned long kFlags = MS_REMOUNT | MS_BIND | MS_RDONLY | MS_NOSUID | MS_NODEV;
  return mount(nullptr, path.c_str(), nullptr, kFlags, nullptr) == 0;
}

}  // namespace workstation
