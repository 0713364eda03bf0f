#include "installer/temporary_file.h"

#include <fcntl.h>
#include <sys/statvfs.h>

#include <cerrno>

#include "installer/directories.h"
#include "installer/set_aside.h"
#include "support/file_system.h"

namespace wzapp {
namespace {

constexpr mode_t kFileMode = 0600;
// The free space is asked for once for so many octets.
constexpr std::uint64_t kGrant = std::uint64_t{1} << 20;

// Whatever has the name: anybody may have put it there.
void removeByName() { removeOrSetAside(kTemporaryFile); }

FileDescriptor create() {
  FileDescriptor file(
      open(kTemporaryFile, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kFileMode));
  if (file.isOpen() || errno != EEXIST) return file;
  // What is there stays, as another user's does in a directory with the sticky bit: without a name.
  return FileDescriptor(open(kSourceDir, O_TMPFILE | O_EXCL | O_RDWR | O_CLOEXEC, kFileMode));
}

}  // namespace

TemporaryFile::~TemporaryFile() { giveUp(); }

void TemporaryFile::begin(Space space) {
  removeByName();
  file_ = create();
  space_ = space;
  granted_ = 0;
}

void TemporaryFile::append(ByteView octets) {
  if (!file_.isOpen()) return;
  if (!hasSpaceFor(octets.size()) || !writeWhole(file_.get(), octets)) giveUp();
}

bool TemporaryFile::hasSpaceFor(std::uint64_t size) {
  if (space_ == Space::kAll) return true;
  if (granted_ < size) {
    struct statvfs status;
    if (fstatvfs(file_.get(), &status) != 0) return false;
    const std::uint64_t free = std::uint64_t{status.f_bavail} * status.f_frsize;
    if (free < kReserve + kGrant) return false;
    granted_ = kGrant;
  }
  granted_ -= size;
  return true;
}

void TemporaryFile::giveUp() {
  if (file_.isOpen()) {
    // Somebody may have given it another name. Where it fails, nothing else could be done either.
    [[maybe_unused]] const int ignored = ftruncate(file_.get(), 0);
    file_ = FileDescriptor();
  }
  removeByName();
}

}  // namespace wzapp
