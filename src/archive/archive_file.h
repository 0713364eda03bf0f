// The file behind an archive, as minizip reads it.
//
// minizip reads a directory octet by octet and an entry in large blocks: the first come out of a
// window, the second go straight to where they are wanted. The file is read at positions that are
// kept here (pread), so that who shares its descriptor neither moves them nor notices.
#ifndef WZAPP_ARCHIVE_ARCHIVE_FILE_H
#define WZAPP_ARCHIVE_ARCHIVE_FILE_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace wzapp {

// An open regular file. For one thread at a time. Nothing throws.
class ArchiveFile {
 public:
  ArchiveFile() = default;
  ArchiveFile(const ArchiveFile&) = delete;
  ArchiveFile& operator=(const ArchiveFile&) = delete;
  ~ArchiveFile() { close(); }

  // Takes the file that `descriptor` shows, by a descriptor of its own, which no exec inherits.
  // False, with nothing open, when it is no regular file or there is no descriptor left.
  [[nodiscard]] bool open(int descriptor);

  void close();

  // In octets, when the file was opened.
  [[nodiscard]] std::uint64_t size() const { return size_; }

  // Opens the archive in the file: minizip's handle, an unzFile, to be closed before the file is;
  // null when there is none. The object must stay where it is meanwhile.
  [[nodiscard]] void* openArchive();

  // For minizip, by way of openArchive().
  [[nodiscard]] std::size_t read(std::uint8_t* octets, std::size_t count);
  [[nodiscard]] bool seek(std::uint64_t offset, int origin);
  [[nodiscard]] std::uint64_t position() const { return position_; }
  [[nodiscard]] bool hasFailed() const { return hasFailed_; }

 private:
  static constexpr std::size_t kWindowSize = 4096;

  [[nodiscard]] std::size_t readWindow(std::uint8_t* octets, std::size_t count);
  [[nodiscard]] std::size_t readFile(std::uint8_t* octets, std::size_t count, std::uint64_t from);

  int descriptor_ = -1;  // -1: nothing is open
  std::uint64_t size_ = 0;
  std::uint64_t position_ = 0;  // of the next octet
  bool hasFailed_ = false;

  std::uint64_t windowStart_ = 0;
  std::size_t windowSize_ = 0;  // octets of the window that are there
  std::array<std::uint8_t, kWindowSize> window_;
};

}  // namespace wzapp

#endif  // WZAPP_ARCHIVE_ARCHIVE_FILE_H
