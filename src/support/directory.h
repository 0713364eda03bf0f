// Directory listing.
#ifndef WZAPP_SUPPORT_DIRECTORY_H
#define WZAPP_SUPPORT_DIRECTORY_H

#include <cstdint>
#include <string>

#include "support/directory_stream.h"

namespace wzapp {

// Values of DirEntry::type.
inline constexpr std::int32_t kRegularFileEntry = 0;
inline constexpr std::int32_t kDirectoryEntry = 1;
inline constexpr std::int32_t kLinkEntry = 2;
inline constexpr std::int32_t kOtherEntry = 3;  // anything else, or one that could not be examined

// Bits of DirEntry::access.
inline constexpr std::uint32_t kReadableAccess = 1;
inline constexpr std::uint32_t kWritableAccess = 2;

// One entry of a directory. The date is that of the last modification, in local time; it, `access`
// and `size` are 0 where the entry could not be examined.
struct DirEntry {
  std::string path;  // directory path, "/", name; without "//" and leading "./"
  std::string name;  // as the directory has it
  std::int32_t type = 0;
  // What the permission bits grant to the process's real user, or else its real group, or else
  // others; not what the kernel would allow.
  std::uint32_t access = 0;
  std::int32_t size = 0;  // octets; 2147483647 where there are more
  std::int32_t year = 0;  // in full
  std::uint8_t month = 0;
  std::uint8_t day = 0;
  std::uint8_t hour = 0;
  std::uint8_t minute = 0;
  std::uint8_t second = 0;  // up to 60
};

// Reads a directory entry by entry, in the directory's own order, "." and ".." included. Owns its
// directory stream. For one thread at a time. The only exception is std::bad_alloc.
class Directory {
 public:
  Directory() = default;
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;
  virtual ~Directory() = default;

  // Opens the directory, after closing the one open before. False when it cannot be opened; read()
  // then yields nothing.
  [[nodiscard]] bool open(const std::string& path);

  // Fills `entry` with the next entry. False at the end, when the directory cannot be read on, or
  // when nothing is open. An entry that
  // cannot be examined, such as a link to nothing, is yielded as kOtherEntry; of any other link it
  // is the target that is examined.
  [[nodiscard]] bool read(DirEntry& entry);

  // Closes the directory; does nothing when none is open.
  void close();

 private:
  DirectoryStream stream_;
  std::string path_;  // as last opened, without "/" at its end
  DirEntry last_;

 protected:
  // A derived class sets this to have read() yield the last entry once more.
  bool pending_ = false;
};

}  // namespace wzapp

#endif  // WZAPP_SUPPORT_DIRECTORY_H
