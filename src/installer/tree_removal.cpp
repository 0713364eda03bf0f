#include "installer/tree_removal.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <vector>

#include "installer/file_descriptor.h"
#include "installer/place.h"
#include "support/file_system.h"
#include "support/install_result.h"

namespace wzapp {
namespace {

constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
// Directories above the current one that stay open. Those further up are opened again from below,
// so that the depth of a tree is no question of descriptors.
constexpr std::size_t kMaxOpenLevels = 16;

struct StreamCloser {
  void operator()(DIR* stream) const { closedir(stream); }
};

// Fills `names` with the entries of an open directory, without "." and "..".
bool listNames(const FileDescriptor& directory, std::vector<std::string>& names) {
  FileDescriptor copy(fcntl(directory.get(), F_DUPFD_CLOEXEC, 0));
  if (!copy.isOpen()) return false;
  const std::unique_ptr<DIR, StreamCloser> stream(fdopendir(copy.get()));
  if (!stream) return false;
  static_cast<void>(copy.release());  // the stream closes it
  while (const struct dirent* entry = readdir(stream.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  return true;
}

void moveToEnd(std::vector<std::string>& names, std::string_view name) {
  const auto found = std::find(names.begin(), names.end(), name);
  if (found != names.end()) std::rotate(found, found + 1, names.end());
}

// One removal. Goes down and up with a stack of its own: a tree may be deeper than the stack of a
// host's thread bears.
class TreeRemoval {
 public:
  TreeRemoval(std::string path, Quiet quiet, std::span<const std::string_view> last)
      : path_(std::move(path)), quiet_(quiet), last_(last) {}

  void run();

 private:
  // A directory whose entries are being removed.
  struct Level {
    std::string name;           // in the directory above
    FileDescriptor descriptor;  // not open while it is too far up
    dev_t device = 0;
    ino_t inode = 0;
    std::vector<std::string> names;
    std::size_t next = 0;  // the first of `names` that was not dealt with
  };

  [[nodiscard]] int current() const {
    return levels_.empty() ? start_.directory.get() : levels_.back().descriptor.get();
  }
  [[nodiscard]] bool isSilent() const {
    return quiet_ == Quiet::kEverything || (quiet_ == Quiet::kTop && levels_.empty());
  }

  void remove(const std::string& name);
  [[nodiscard]] bool enter(const std::string& name);
  void leave();
  [[nodiscard]] bool reopenAbove();
  void unlink(const std::string& name, int flags);
  void warnUnreadable() const;
  void warnNotRemoved(int error) const;

  Place start_;
  std::string path_;  // of what is being removed, for the messages
  Quiet quiet_;
  std::span<const std::string_view> last_;
  std::vector<Level> levels_;
};

void TreeRemoval::run() {
  if (!findPlace(path_, start_)) {
    const int error = errno;
    struct stat status;
    // A link in the way: what is there is not where its path says.
    if (linkStat(path_.c_str(), status) == 0 && !isSilent()) warnNotRemoved(error);
    return;
  }
  remove(start_.name);
  while (!levels_.empty()) {
    Level& level = levels_.back();
    if (level.next == level.names.size()) {
      leave();
      continue;
    }
    const std::string& name = level.names[level.next++];
    path_.append("/").append(name);
    remove(name);
  }
}

// Removes what path_ names now, or enters it; path_ is cut back unless it was entered.
void TreeRemoval::remove(const std::string& name) {
  struct stat status;
  const std::size_t parentLength = levels_.empty() ? path_.size() : path_.size() - name.size() - 1;
  if (fstatat(current(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
    if (S_ISDIR(status.st_mode)) {
      if (enter(name)) return;
      if (!isSilent()) warnUnreadable();
      unlink(name, AT_REMOVEDIR);
    } else {
      unlink(name, 0);
    }
  }
  path_.resize(parentLength);
}

// Lists the directory before anything in it is removed. False when that is not possible.
bool TreeRemoval::enter(const std::string& name) {
  Level level;
  level.name = name;
  level.descriptor = FileDescriptor(openat(current(), name.c_str(), kDirectoryFlags));
  struct stat status;
  if (!level.descriptor.isOpen() || fstat(level.descriptor.get(), &status) != 0) return false;
  if (!listNames(level.descriptor, level.names)) return false;
  level.device = status.st_dev;
  level.inode = status.st_ino;
  if (levels_.empty()) {
    for (const std::string_view last : last_) moveToEnd(level.names, last);
  }
  if (levels_.size() >= kMaxOpenLevels) {
    levels_[levels_.size() - kMaxOpenLevels].descriptor = FileDescriptor();
  }
  levels_.push_back(std::move(level));
  return true;
}

// Removes the directory whose entries were dealt with.
void TreeRemoval::leave() {
  const bool isAboveOpen = reopenAbove();
  const std::string name = std::move(levels_.back().name);
  levels_.pop_back();
  if (isAboveOpen) {
    unlink(name, AT_REMOVEDIR);
  } else {
    if (!isSilent()) warnNotRemoved(ENOENT);
    // Somebody has moved it elsewhere, and the way back is lost. What is left stays for another
    // run.
    levels_.clear();
  }
  if (!levels_.empty()) path_.resize(path_.size() - name.size() - 1);
}

// Sees to it that the directory above the current one is open. False when it is not the one that
// led here.
bool TreeRemoval::reopenAbove() {
  if (levels_.size() < 2) return true;
  Level& above = levels_[levels_.size() - 2];
  if (above.descriptor.isOpen()) return true;
  FileDescriptor descriptor(openat(current(), "..", kDirectoryFlags));
  struct stat status;
  if (!descriptor.isOpen() || fstat(descriptor.get(), &status) != 0) return false;
  if (status.st_dev != above.device || status.st_ino != above.inode) return false;
  above.descriptor = std::move(descriptor);
  return true;
}

void TreeRemoval::unlink(const std::string& name, int flags) {
  if (unlinkat(current(), name.c_str(), flags) == 0) return;
  const int error = errno;
  if (!isSilent()) warnNotRemoved(error);
}

void TreeRemoval::warnUnreadable() const {
  reportWarning("Warning: Failed to read directory '%s'.\n", path_.c_str());
}

void TreeRemoval::warnNotRemoved(int error) const {
  reportWarning("Warning: Failed to remove '%s' (errno=%d)\n", path_.c_str(), error);
}

}  // namespace

void removeTree(const std::string& path, Quiet quiet, std::span<const std::string_view> last) {
  TreeRemoval(path, quiet, last).run();
}

bool removeFile(const std::string& path) {
  Place place;
  if (!findPlace(path, place)) return false;
  const int directory = place.directory.get();
  if (unlinkat(directory, place.name.c_str(), 0) == 0) return true;
  return errno == EISDIR && unlinkat(directory, place.name.c_str(), AT_REMOVEDIR) == 0;
}

}  // namespace wzapp
