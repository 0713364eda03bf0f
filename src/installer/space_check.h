// Whether a new version fits in the place of the old one.
//
// One that does not would leave a part of the application, and the old version would be gone. What
// it takes is known beforehand, from the sizes that its archive states. They may lie: an entry
// never brings more octets than that, and one that brings less only has an update refused that
// would have fitted.
#ifndef WZAPP_INSTALLER_SPACE_CHECK_H
#define WZAPP_INSTALLER_SPACE_CHECK_H

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "support/finding.h"

namespace wzapp {

// Adds up what a new version takes and what goes for it. For one thread at a time. The only
// exception is std::bad_alloc.
class SpaceCheck {
 public:
  // `root` is the directory below which it all happens, on one file system, without "/" at its end.
  explicit SpaceCheck(std::string_view root);

  // A file of `size` octets will be written to `path`, a normalised one below the root. Directories
  // count as often as their first file does not follow another of theirs.
  void addWritten(const std::string& path, std::uint64_t size);

  // The file or the tree at `path` will be removed, or the file there will be written anew. Nothing
  // when there is none. Where nobody can tell, as without a descriptor left, there is an old
  // version, and it frees nothing.
  void addRemoved(const std::string& path);
  void addReplaced(const std::string& path);

  // Whether anything goes for the new version.
  [[nodiscard]] bool hasOldVersion() const { return hasOldVersion_; }

  // Whether there is room, in octets and in files, once the old version is gone, with
  // TemporaryFile::kReserve left. True also where the file system knows no limit, but not where
  // nobody can tell.
  [[nodiscard]] bool fits() const;

 private:
  // Of a file system.
  struct Space {
    std::uint64_t octets = 0;
    std::uint64_t files = 0;  // and directories
  };

  [[nodiscard]] Finding findLimit();
  void addFreed(const struct stat& status);
  void addTree(int parent, const std::string& name, const struct stat& status, std::size_t depth);

  Finding limit_ = Finding::kUnknown;  // kNone: the file system has none
  std::uint64_t blockSize_ = 1;
  dev_t device_ = 0;  // of the file system; what lies on another one frees nothing
  Space free_;
  Space needed_;
  Space freed_;
  std::string lastDirectory_;  // of the file that was added last, with "/" at its end
  bool hasOldVersion_ = false;
};

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_SPACE_CHECK_H
