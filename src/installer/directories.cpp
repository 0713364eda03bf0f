#include "installer/directories.h"

#include <grp.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <iterator>
#include <new>
#include <optional>
#include <span>

#include "installer/place.h"
#include "support/file_system.h"
#include "support/finding.h"
#include "support/mutex.h"
#include "wzapp/wzapp.h"

namespace wzapp {
namespace {

// --- Source directory -------------------------------------------------------------------------

constexpr const char* kSourceDirGroup = "system";
// Open to all: other programs of the group drop packages here, and the installer removes them.
constexpr mode_t kSourceDirMode = 0777;
// The bits of a mode that are compared: all but set-user-ID, set-group-ID and sticky.
constexpr mode_t kComparedModeBits = 0170777;
constexpr std::size_t kGroupBufferSize = 256;  // a longer entry is a failed look-up

// Results of wzInstallCreateSourceDir().
constexpr int kCreated = 0;
constexpr int kNotCreated = 2;

bool isSourceDirReady() {
  struct stat status;
  return fileStat(kSourceDir, status) == 0 &&
         (status.st_mode & kComparedModeBits) == (S_IFDIR | kSourceDirMode);
}

bool makeSourceDir() {
  static Mutex mutex;  // of two threads at once, each would be in the other's way
  const MutexLock lock(mutex);
  // What counts is that a directory is there afterwards: another program may have been faster, and
  // makePath() takes anything else of that name for it.
  try {
    static_cast<void>(makePath(kSourceDir));
  } catch (const std::bad_alloc&) {
    return false;
  }
  struct stat status;
  return fileStat(kSourceDir, status) == 0 && S_ISDIR(status.st_mode);
}

std::optional<gid_t> findGroup(const char* name) {
  struct group entry;
  struct group* found = nullptr;
  char buffer[kGroupBufferSize];
  if (getgrnam_r(name, &entry, buffer, sizeof buffer, &found) != 0 || found == nullptr) {
    return std::nullopt;
  }
  return found->gr_gid;
}

bool failSourceDir(const InstallSink& sink, const char* format) {
  sink.log(sink.user, format, kSourceDir);
  return false;
}

// Reports to `sink`, not to the install sink: this is no part of an install run.
bool prepareSourceDir(const InstallSink& sink) {
  if (isSourceDirReady()) return true;
  if (!makeSourceDir()) return failSourceDir(sink, "Error: Failed to create %s\n");

  const std::optional<gid_t> group = findGroup(kSourceDirGroup);
  if (!group) {
    sink.log(sink.user, "Error: getgrnam failed\n");
    return false;
  }

  constexpr uid_t kSameOwner = static_cast<uid_t>(-1);
  if (chown(kSourceDir, kSameOwner, *group) != 0) {
    return failSourceDir(sink, "Error: chown(%s) failed\n");
  }
  if (chmod(kSourceDir, kSourceDirMode) != 0) {
    return failSourceDir(sink, "Error: chmod(%s,0777) failed\n");
  }
  return true;
}

// --- Configuration root -----------------------------------------------------------------------

constexpr const char* kNotCreatedRoot = "Failed to create %s\n";
// Stands beside the root while the older layout is moved: whoever finds it there goes on with what
// was cut. Without it, a root that exists is a whole one.
constexpr const char* kMoveMark = "/mnt/flash/etc/config/wzapp.moving";

// What there is to report once the lock is let go: whoever is told may call anything, wzAppRun too.
class Complaints {
 public:
  // For a caller that is false after it.
  bool add(const char* format, const char* path, const char* otherPath = nullptr) {
    complaints_[count_++] = {format, path, otherPath};
    return false;
  }

  void reportTo(const InstallSink& sink) const {
    for (const Complaint& complaint : std::span(complaints_).first(count_)) {
      if (complaint.otherPath == nullptr) {
        sink.log(sink.user, complaint.format, complaint.path);
      } else {
        sink.log(sink.user, complaint.format, complaint.path, complaint.otherPath);
      }
    }
  }

 private:
  struct Complaint {
    const char* format;
    const char* path;
    const char* otherPath;
  };

  std::array<Complaint, std::size(kMigrations) + 1> complaints_;
  std::size_t count_ = 0;
};

bool isOwn(const struct stat& status) { return status.st_uid == getuid(); }

// A link that somebody else made does not become a root.
bool mayBecomeRoot(const char* path) {
  struct stat status;
  const Finding finding =
      findOut([&] { return linkStat(path, status) == 0 ? Finding::kFound : findingOf(errno); });
  return finding == Finding::kFound && (!S_ISLNK(status.st_mode) || isTrustedLink(status));
}

bool move(const Migration& migration) {
  if (!mayBecomeRoot(migration.from)) return false;
  const Finding finding = findOut([&] {
    return std::rename(migration.from, migration.to) == 0 ? Finding::kFound : findingOf(errno);
  });
  if (finding != Finding::kFound) return false;
  if (mayBecomeRoot(migration.to)) return true;
  // It was exchanged meanwhile.
  static_cast<void>(std::rename(migration.to, migration.from));
  return false;
}

// What nobody can tell of may be there: the older layout is looked at this once.
bool mayBeThere(const Migration& migration) {
  struct stat status;
  return findStatus(migration.from, status) != Finding::kNone;
}

void migrate(const Migration& migration, Complaints& complaints) {
  if (!mayBeThere(migration) || move(migration)) return;
  if (!mayBeThere(migration)) return;  // another process was faster
  complaints.add("Failed to move %s to %s\n", migration.from, migration.to);
}

// Before the root is there, whose existence would say that it is over. Without the mark, as where
// nobody may write, the move is made all the same.
void markMove() {
  if (std::ranges::any_of(kMigrations, mayBeThere)) static_cast<void>(makePath(kMoveMark));
}

void unmarkMove() { static_cast<void>(rmdir(kMoveMark)); }

void moveOlderLayout(Complaints& complaints) {
  for (const Migration& migration : kMigrations) migrate(migration, complaints);
  unmarkMove();
}

// The first start under this layout. On success `status` is that of the new root.
bool createConfigRoot(struct stat& status, Complaints& complaints) {
  markMove();
  if (!makePath(kConfigRoot)) {
    unmarkMove();
    return complaints.add(kNotCreatedRoot, kConfigRoot);
  }
  if (findStatus(kConfigRoot, status) != Finding::kFound || !isOwn(status)) {
    unmarkMove();
    return complaints.add("Failed to create %s for correct user\n", kConfigRoot);
  }
  moveOlderLayout(complaints);
  return true;
}

// An earlier first start was cut. False where nobody can tell: a root with half of the applications
// must not be taken for a whole one.
bool finishCutMove(Complaints& complaints) {
  struct stat status;
  const Finding finding =
      findOut([&] { return findingOfAttempt(linkStat(kMoveMark, status) == 0); });
  if (finding == Finding::kUnknown) return complaints.add(kNotCreatedRoot, kConfigRoot);
  if (finding == Finding::kFound && S_ISDIR(status.st_mode) && isOwn(status)) {
    moveOlderLayout(complaints);
  }
  return true;
}

bool checkConfigRoot(const struct stat& status, Complaints& complaints) {
  if (!S_ISDIR(status.st_mode)) return complaints.add("%s is not a directory\n", kConfigRoot);
  if (!isOwn(status)) return complaints.add("%s is owned by wrong user\n", kConfigRoot);
  return true;
}

bool makeConfigRootUsable(Complaints& complaints) {
  struct stat status;
  switch (findStatus(kConfigRoot, status)) {
    case Finding::kFound:
      return checkConfigRoot(status, complaints) && finishCutMove(complaints);
    case Finding::kNone:
      return createConfigRoot(status, complaints) && checkConfigRoot(status, complaints);
    case Finding::kUnknown:
      break;
  }
  // Not for the first start: what is there already must not be taken for missing.
  return complaints.add(kNotCreatedRoot, kConfigRoot);
}

}  // namespace

bool prepareConfigRoot(InstallLog log, void* user) {
  static Mutex mutex;
  const InstallSink sink = {log != nullptr ? log : silentInstallLog, user};
  Complaints complaints;
  bool isUsable = false;
  {
    const MutexLock lock(mutex);
    setInstallLog(sink.log, sink.user);
    isUsable = makeConfigRootUsable(complaints);
  }
  complaints.reportTo(sink);
  return isUsable;
}

const char* wzInstallSourceDir() { return kSourceDir; }

const char* wzInstallAppRoot() { return kAppRoot; }

const char* wzInstallManifestRoot() { return kManifestRoot; }

int wzInstallCreateSourceDir(void (*log)(void* user, const char* format, ...), void* user) {
  try {
    return prepareSourceDir({log, user}) ? kCreated : kNotCreated;
  } catch (...) {
    return kNotCreated;  // the host's log threw
  }
}

int wzInstallCreateSourceDir() { return wzInstallCreateSourceDir(silentInstallLog, nullptr); }

}  // namespace wzapp
