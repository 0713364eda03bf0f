// The installer's own copy of an inner package: the octets that were verified are those that are
// installed.
//
// Whoever may write to the source directory may change a package file at any time, and take away or
// replace the temporary file by its name. The copy is therefore made in the same pass that digests
// the package, in a file that was created for it and that only the process's own user may open, and
// is used through its descriptor and no longer by its name. The process's own user and the
// superuser can still change it; they can change what is installed just as well.
#ifndef WZAPP_INSTALLER_TEMPORARY_FILE_H
#define WZAPP_INSTALLER_TEMPORARY_FILE_H

#include <cstdint>

#include "installer/file_descriptor.h"
#include "support/byte_view.h"

namespace wzapp {

// The file kTemporaryFile from construction to destruction, when whatever has that name then is
// removed, a directory with its content. Where it cannot be removed or moved, the copy has no name
// at all. For one thread at a time. Nothing throws.
class TemporaryFile {
 public:
  // What a copy of unverified octets leaves free on the file system, in octets.
  static constexpr std::uint64_t kReserve = std::uint64_t{8} << 20;

  TemporaryFile() = default;
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile();

  // Whether a copy may take all that is free, or must leave kReserve.
  enum class Space { kAll, kAllButReserve };

  // Begins a copy in a file of its own, in place of whatever had the name, or beside it.
  void begin(Space space);

  // Appends to the copy. Once that fails, what there is of the copy is given up: it takes no space,
  // and what follows is ignored.
  void append(ByteView octets);

  // Removes the copy and its file, if there is one.
  void giveUp();

  // The file that holds everything that was appended, or -1 when the copy was given up.
  [[nodiscard]] int copy() const { return file_.get(); }

 private:
  [[nodiscard]] bool hasSpaceFor(std::uint64_t size);

  FileDescriptor file_;  // not open: there is no copy
  Space space_ = Space::kAll;
  std::uint64_t granted_ = 0;  // octets that may be appended before the free space is asked for
};

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_TEMPORARY_FILE_H
