#include "wz/reports/archive_cause.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string_view>

namespace wz {
namespace {

// PKWARE's APPNOTE: the end of the directory has 22 octets and a comment of up to 65535.
constexpr std::string_view kLocalHeader("PK\3\4", 4);
constexpr std::string_view kRecord("PK\1\2", 4);
constexpr std::string_view kEnd("PK\5\6", 4);
constexpr std::uint64_t kEndSize = 22, kLongestComment = 65535, kRecordSize = 46;
constexpr std::uint64_t kNameLimit = 256;
constexpr std::uint16_t kIn64Bits = 0xFFFF;

class File {
 public:
  explicit File(const std::string& path) : number_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    struct stat status {};
    if (number_ >= 0 && fstat(number_, &status) == 0) {
      size_ = static_cast<std::uint64_t>(status.st_size);
    }
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() {
    if (number_ >= 0) close(number_);
  }

  [[nodiscard]] std::uint64_t size() const { return size_; }

  // As many octets as there are.
  [[nodiscard]] std::string read(std::uint64_t offset, std::uint64_t count) const {
    std::string octets(static_cast<std::size_t>(count), '\0');
    std::size_t have = 0;
    while (have < octets.size()) {
      const ssize_t more = pread(number_, octets.data() + have, octets.size() - have,
                                 static_cast<off_t>(offset + have));
      if (more < 0 && errno == EINTR) continue;
      if (more <= 0) break;
      have += static_cast<std::size_t>(more);
    }
    octets.resize(have);
    return octets;
  }

 private:
  int number_;
  std::uint64_t size_ = 0;
};

std::uint32_t numberAt(std::string_view octets, std::size_t at, std::size_t size) {
  std::uint32_t number = 0;
  for (std::size_t i = size; i > 0; --i) {
    number = number << 8 | static_cast<std::uint8_t>(octets[at + i - 1]);
  }
  return number;
}

// ---- No archive at all -------------------------------------------------------------------------

struct Beginning {
  std::string_view octets;
  const char* kind;
};

constexpr Beginning kBeginnings[] = {
    {"\x1F\x8B", "gzip data"},
    {"7z\xBC\xAF", "a 7z archive"},
    {"Rar!", "a RAR archive"},
    {"%PDF", "a PDF document"},
    {"\x7F"
     "ELF",
     "a program"},
    {"<", "HTML or XML text"},
    {"{", "JSON text"},
    {"-----BEGIN", "PEM text"},
};

std::string describe(const File& file) {
  constexpr std::size_t kShown = 8;
  const std::string begin = file.read(0, 16);
  std::string text = "it has " + std::to_string(file.size()) + " octets";
  for (const Beginning& row : kBeginnings) {
    if (begin.starts_with(row.octets)) return text + " and begins like " + row.kind;
  }
  if (begin.empty()) return text;
  text += " and begins";
  for (std::size_t i = 0; i < std::min(kShown, begin.size()); ++i) {
    char octet[8];
    std::snprintf(octet, sizeof(octet), " %02X",
                  static_cast<unsigned>(static_cast<std::uint8_t>(begin[i])));
    text += octet;
  }
  return text;
}

// ---- The directory -----------------------------------------------------------------------------

struct Directory {
  std::uint64_t offset = 0, end = 0;  // in the file
  std::uint64_t entries = 0;
};

std::optional<std::uint64_t> findEnd(const File& file) {
  const std::uint64_t length = std::min(file.size(), kEndSize + kLongestComment);
  const std::uint64_t start = file.size() - length;
  const std::string tail = file.read(start, length);
  const std::size_t found = tail.rfind(kEnd);
  if (found == std::string::npos || tail.size() - found < kEndSize) return std::nullopt;
  return start + found;
}

ArchiveCause damaged(const std::string& evidence) { return {"WZ-0114", evidence}; }

ArchiveCause walk(const File& file, const Directory& directory) {
  std::uint64_t position = directory.offset;
  for (std::uint64_t i = 0; i < directory.entries; ++i) {
    const std::string record = file.read(position, kRecordSize);
    const std::string which = "record " + std::to_string(i + 1) + " of " +
                              std::to_string(directory.entries) + " at octet " +
                              std::to_string(position);
    if (record.size() < kRecordSize || !record.starts_with(kRecord) || position >= directory.end) {
      return damaged(which + " is no record of a directory");
    }
    const std::uint32_t nameSize = numberAt(record, 28, 2);
    if (nameSize >= kNameLimit) {
      return {"WZ-0113", "a name of " + std::to_string(nameSize) +
                             " octets: " + file.read(position + kRecordSize, 60) + "..."};
    }
    position += kRecordSize + nameSize + numberAt(record, 30, 2) + numberAt(record, 32, 2);
  }
  return damaged("what its directory says does not fit the rest of the file");
}

// Where the archive begins to which the end at `end` belongs, as far as its offsets can be
// believed.
std::optional<std::uint64_t> beginOf(const File& file, std::uint64_t end) {
  const std::string record = file.read(end, kEndSize);
  const std::uint64_t directory = std::uint64_t{numberAt(record, 12, 4)} + numberAt(record, 16, 4);
  if (directory > end) return std::nullopt;
  return end - directory;
}

ArchiveCause examine(const File& file) {
  const std::optional<std::uint64_t> end = findEnd(file);
  if (!end) {
    if (!file.read(0, kLocalHeader.size()).starts_with(kLocalHeader)) {
      return {"WZ-0110", describe(file)};
    }
    return {"WZ-0111", "it begins like an archive and ends after " + std::to_string(file.size()) +
                           " octets without a directory"};
  }
  const std::string record = file.read(*end, kEndSize);
  const std::uint32_t entries = numberAt(record, 10, 2);
  const std::uint64_t size = numberAt(record, 12, 4);
  if (entries == 0) return {"WZ-0112", "its directory has no record"};
  if (entries == kIn64Bits || size > *end) return damaged("its directory cannot lie where it says");
  return walk(file, {*end - size, *end, entries});
}

}  // namespace

ArchiveCause whyNoArchive(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return {"WZ-0115", std::strerror(errno)};
  if (!S_ISREG(status.st_mode)) return {"WZ-0115", "it is no file"};
  if (access(path.c_str(), R_OK) != 0) return {"WZ-0115", std::strerror(errno)};
  return examine(File(path));
}

bool isCutOffBehindAnArchive(const std::string& path) {
  const File file(path);
  const std::optional<std::uint64_t> end = findEnd(file);
  if (!end || !file.read(0, kLocalHeader.size()).starts_with(kLocalHeader)) return false;
  const std::optional<std::uint64_t> begin = beginOf(file, *end);
  return begin && *begin > 0;
}

}  // namespace wz
