#include "installer/tree_removal.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "installer/file_descriptor.h"
#include "installer/messages.h"
#include "installer/place.h"
#include "support/directory_stream.h"
#include "support/file_system.h"
#include "support/finding.h"
#include "support/install_result.h"

namespace wzapp {
namespace {

constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
// Directories above the current one that stay open. Those further up are opened again from below,
// so that the depth of a tree is no question of descriptors.
constexpr std::size_t kMaxOpenLevels = 16;

// An entry as its directory lists it.
struct Entry {
  std::string name;
  unsigned char type = DT_UNKNOWN;  // DT_DIR, DT_REG ... in case the file system tells
};

// The entries of an open directory, without "." and "..". False when it cannot be read to its end.
bool readEntries(DIR* stream, std::vector<Entry>& entries) {
  while (const struct dirent* const found = readEntry(stream)) {
    if (!isDotEntry(*found)) entries.push_back({found->d_name, found->d_type});
  }
  return errno == 0;
}

void moveToEnd(std::vector<Entry>& entries, std::string_view name) {
  const auto found = std::find_if(entries.begin(), entries.end(),
                                  [name](const Entry& entry) { return entry.name == name; });
  if (found != entries.end()) std::rotate(found, found + 1, entries.end());
}

// Whether `attempt`, which tells of its failure by errno, succeeds, tried again at once where that
// passes: what stays of an old version would be mixed with the new one.
template <class Attempt>
bool succeedsAtLast(Attempt attempt) {
  return findOut([&] { return findingOfAttempt(attempt()); }) == Finding::kFound;
}

// One removal. Goes down and up with a stack of its own: a tree may be deeper than the stack of a
// host's thread bears.
class TreeRemoval {
 public:
  TreeRemoval(std::string path, Quiet quiet, std::span<const std::string_view> last)
      : path_(std::move(path)), quiet_(quiet), last_(last) {}

  // False when something was left.
  [[nodiscard]] bool run();

 private:
  // A directory whose entries are being removed.
  struct Level {
    std::string name;           // in the directory above
    DirectoryStream stream;     // open unless the directory is, or has been, too far up
    FileDescriptor descriptor;  // open instead when the directory is near again
    dev_t device = 0;           // of a directory that was closed
    ino_t inode = 0;
    std::vector<Entry> entries;
    std::size_t next = 0;  // the first of `entries` that was not dealt with

    [[nodiscard]] bool isOpen() const { return stream || descriptor.isOpen(); }
    [[nodiscard]] int number() const { return stream ? dirfd(stream.get()) : descriptor.get(); }
  };

  [[nodiscard]] int current() const {
    return levels_.empty() ? start_.directory.get() : levels_.back().number();
  }
  [[nodiscard]] bool isSilent() const {
    return quiet_ == Quiet::kEverything || (quiet_ == Quiet::kTop && levels_.empty());
  }

  void remove(const Entry& entry);
  [[nodiscard]] bool enter(const std::string& name);
  [[nodiscard]] bool list(const std::string& name, Level& level) const;
  void leave();
  static void closeLevel(Level& level);
  [[nodiscard]] bool reopenAbove();
  void leaveUnlisted(const std::string& name);
  void unlink(const std::string& name, int flags);
  [[nodiscard]] bool hasStatus(const std::string& name, struct stat& status) const;
  void warnUnreadable();
  void warnNotRemoved(int error);

  Place start_;
  std::string path_;  // of what is being removed, for the messages
  Quiet quiet_;
  std::span<const std::string_view> last_;
  std::vector<Level> levels_;
  bool hasLeftSomething_ = false;
};

bool TreeRemoval::run() {
  if (!succeedsAtLast([this] { return findPlace(path_, start_); })) {
    const int error = errno;
    struct stat status;
    // A link in the way: what is there is not where its path says.
    if (linkStat(path_.c_str(), status) == 0) warnNotRemoved(error);
    return !hasLeftSomething_;
  }
  remove({start_.name, DT_UNKNOWN});
  while (!levels_.empty()) {
    Level& level = levels_.back();
    if (level.next == level.entries.size()) {
      leave();
      continue;
    }
    const Entry& entry = level.entries[level.next++];
    path_.append("/").append(entry.name);
    remove(entry);
  }
  return !hasLeftSomething_;
}

// Removes what path_ names now, or enters it; path_ is cut back unless it was entered. Of what has
// no status nothing is said, but it is only asked for where it matters.
void TreeRemoval::remove(const Entry& entry) {
  const std::string& name = entry.name;
  const std::size_t parentLength = levels_.empty() ? path_.size() : path_.size() - name.size() - 1;
  struct stat status;
  const bool isAsked = entry.type == DT_UNKNOWN;
  if (!isAsked || hasStatus(name, status)) {
    if (isAsked ? S_ISDIR(status.st_mode) : entry.type == DT_DIR) {
      if (enter(name)) return;
      if (hasStatus(name, status)) leaveUnlisted(name);
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
  if (!succeedsAtLast([&] { return list(name, level); })) return false;
  if (levels_.empty()) {
    for (const std::string_view last : last_) moveToEnd(level.entries, last);
  }
  if (levels_.size() >= kMaxOpenLevels) closeLevel(levels_[levels_.size() - kMaxOpenLevels]);
  levels_.push_back(std::move(level));
  return true;
}

bool TreeRemoval::list(const std::string& name, Level& level) const {
  FileDescriptor descriptor(openat(current(), name.c_str(), kDirectoryFlags));
  if (!descriptor.isOpen()) return false;
  level.stream.reset(fdopendir(descriptor.get()));
  if (!level.stream) return false;
  static_cast<void>(descriptor.release());  // the stream closes it
  level.entries.clear();
  return readEntries(level.stream.get(), level.entries);
}

// Removes the directory whose entries were dealt with.
void TreeRemoval::leave() {
  const bool isAboveOpen = succeedsAtLast([this] { return reopenAbove(); });
  const int error = errno;
  const std::string name = std::move(levels_.back().name);
  levels_.pop_back();
  if (isAboveOpen) {
    unlink(name, AT_REMOVEDIR);
  } else {
    // The way back is lost, mostly since somebody has moved it elsewhere. What is left stays for
    // another run.
    warnNotRemoved(error);
    levels_.clear();
  }
  if (!levels_.empty()) path_.resize(path_.size() - name.size() - 1);
}

// A directory without an identity, device and inode 0, is not found again.
void TreeRemoval::closeLevel(Level& level) {
  struct stat status;
  if (level.isOpen() && succeedsAtLast([&] { return fstat(level.number(), &status) == 0; })) {
    level.device = status.st_dev;
    level.inode = status.st_ino;
  }
  level.stream.reset();
  level.descriptor = FileDescriptor();
}

// Sees to it that the directory above the current one is open. False with errno when it cannot be
// opened, ENOENT when it is not the one that led here.
bool TreeRemoval::reopenAbove() {
  if (levels_.size() < 2) return true;
  Level& above = levels_[levels_.size() - 2];
  if (above.isOpen()) return true;
  FileDescriptor descriptor(openat(current(), "..", kDirectoryFlags));
  struct stat status;
  if (!descriptor.isOpen() || fstat(descriptor.get(), &status) != 0) return false;
  if (status.st_dev != above.device || status.st_ino != above.inode) {
    errno = ENOENT;
    return false;
  }
  above.descriptor = std::move(descriptor);
  return true;
}

// It may be empty, and then it goes all the same.
void TreeRemoval::leaveUnlisted(const std::string& name) {
  if (quiet_ == Quiet::kEverything) {
    hasLeftSomething_ = true;
    return;
  }
  warnUnreadable();
  unlink(name, AT_REMOVEDIR);
}

void TreeRemoval::unlink(const std::string& name, int flags) {
  if (succeedsAtLast([&] { return unlinkat(current(), name.c_str(), flags) == 0; })) return;
  const int error = errno;
  struct stat status;
  if (hasStatus(name, status)) warnNotRemoved(error);
}

bool TreeRemoval::hasStatus(const std::string& name, struct stat& status) const {
  return succeedsAtLast(
      [&] { return fstatat(current(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0; });
}

void TreeRemoval::warnUnreadable() {
  if (!isSilent()) reportWarning(kUnreadableDirectory, path_.c_str());
}

void TreeRemoval::warnNotRemoved(int error) {
  hasLeftSomething_ = true;
  if (isSilent()) return;
  reportWarning("Warning: Failed to remove '%s' (errno=%d)\n", path_.c_str(), error);
}

}  // namespace

bool removeTree(const std::string& path, Quiet quiet, std::span<const std::string_view> last) {
  return TreeRemoval(path, quiet, last).run();
}

bool removeFile(const std::string& path) {
  Place place;
  if (!findPlace(path, place)) return false;
  const int directory = place.directory.get();
  if (unlinkat(directory, place.name.c_str(), 0) == 0) return true;
  return errno == EISDIR && unlinkat(directory, place.name.c_str(), AT_REMOVEDIR) == 0;
}

}  // namespace wzapp
