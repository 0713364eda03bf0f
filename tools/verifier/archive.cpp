#include "verifier/archive.h"

#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

namespace verifier {
namespace {

constexpr std::uint32_t kLocalHeader = 0x04034B50, kDirectoryRecord = 0x02014B50;
constexpr std::string_view kDirectoryEnd("PK\5\6", 4);
constexpr std::size_t kLocalHeaderSize = 30, kDirectoryRecordSize = 46;
constexpr std::size_t kLongestComment = 0xFFFF, kLongestName = 255;
constexpr std::uint16_t kSizesFollow = 0x0008, kStored = 0, kDeflated = 8, kBzip2 = 12;
constexpr std::uint32_t kStatedElsewhere = 0xFFFFFFFF;

// A number, lowest octet first. Where the file ends inside it, terminals read its last octet again
// and again; behind the end they read zeros.
std::uint32_t number(std::string_view octets, std::size_t position, std::size_t size) {
  std::uint32_t value = 0, octet = 0;
  for (std::size_t i = 0; i < size; ++i) {
    const bool isThere = position < octets.size() && i < octets.size() - position;
    if (isThere) octet = static_cast<std::uint8_t>(octets[position + i]);
    value |= octet << (8 * i);
  }
  return value;
}

std::uint16_t number16(std::string_view octets, std::size_t position) {
  return static_cast<std::uint16_t>(number(octets, position, 2));
}

std::uint32_t number32(std::string_view octets, std::size_t position) {
  return number(octets, position, 4);
}

void put(std::string& octets, std::uint32_t value, int size) {
  for (int i = 0; i < size; ++i) octets += static_cast<char>(value >> (8 * i) & 0xFF);
}

// An archive of this one entry, whatever the one that it comes from looks like.
std::string archiveOf(const Archive::Entry& entry, std::string_view packed) {
  std::string octets;
  put(octets, kLocalHeader, 4);
  put(octets, 20, 2);
  put(octets, 0, 2);
  put(octets, entry.method, 2);
  put(octets, 0, 4);
  put(octets, entry.crc, 4);
  put(octets, static_cast<std::uint32_t>(packed.size()), 4);
  put(octets, entry.size, 4);
  put(octets, 1, 2);
  put(octets, 0, 2);
  octets += 'e';
  octets += packed;
  return octets;
}

// Hands an archive to libarchive octet by octet, so that what comes out before a damage does come.
struct Octets {
  std::string_view rest;

  static la_ssize_t readOne(struct archive* /*reader*/, void* self, const void** octet) {
    std::string_view& rest = static_cast<Octets*>(self)->rest;
    if (rest.empty()) return 0;
    *octet = rest.data();
    rest.remove_prefix(1);
    return 1;
  }
};

using Reader = std::unique_ptr<struct archive, decltype(&archive_read_free)>;

// What libarchive makes of it, up to `limit` octets. Nothing when it stumbles before.
std::optional<std::string> readByLibarchive(const std::string& zip, std::size_t limit) {
  const Reader reader(archive_read_new(), archive_read_free);
  if (!reader || archive_read_support_format_zip_streamable(reader.get()) != ARCHIVE_OK ||
      archive_read_set_options(reader.get(), "zip:ignorecrc32") != ARCHIVE_OK) {
    throw std::runtime_error("libarchive without ZIP");
  }
  struct archive_entry* header = nullptr;
  Octets octets{zip};
  if (archive_read_open(reader.get(), &octets, nullptr, Octets::readOne, nullptr) != ARCHIVE_OK ||
      archive_read_next_header(reader.get(), &header) != ARCHIVE_OK) {
    return std::nullopt;
  }
  std::string content;
  while (content.size() < limit) {
    const void* block = nullptr;
    std::size_t size = 0;
    la_int64_t offset = 0;
    const int result = archive_read_data_block(reader.get(), &block, &size, &offset);
    if (result == ARCHIVE_EOF) break;
    // A warning comes with the last octets, of a size that is another than the stated one.
    if (result != ARCHIVE_OK && result != ARCHIVE_WARN) return std::nullopt;
    content.append(static_cast<const char*>(block), size);
    if (result == ARCHIVE_WARN) break;
  }
  content.resize(std::min(content.size(), limit));
  return content;
}

// Terminals know BZIP2 by its number alone: its octets come out as they are.
bool canBegin(std::uint16_t method) {
  return method == kStored || method == kDeflated || method == kBzip2;
}

}  // namespace

Archive::Archive(std::string_view octets) : octets_(octets), cause_(readDirectory()) {
  if (cause_ != kGood) entries_.clear();
}

Cause Archive::readDirectory() {
  const std::size_t end = octets_.rfind(kDirectoryEnd);
  if (end == std::string_view::npos || octets_.size() - end > kLongestComment) {
    return octets_.starts_with("PK\3\4") ? "WZ-0111" : "WZ-0110";
  }
  const std::uint16_t count = number16(octets_, end + 10);
  const std::size_t size = number32(octets_, end + 12);
  const std::size_t offset = number32(octets_, end + 16);
  const bool isOnOneDisk = number32(octets_, end + 4) == 0 && number16(octets_, end + 8) == count;
  if (!isOnOneDisk || offset + size > end) return "WZ-0114";
  prefix_ = end - offset - size;
  if (count == 0) return "WZ-0112";

  std::size_t position = prefix_ + offset;
  for (std::uint16_t i = 0; i < count; ++i) {
    if (position > octets_.size() || octets_.size() - position < kDirectoryRecordSize ||
        number32(octets_, position) != kDirectoryRecord) {
      return "WZ-0114";
    }
    const std::size_t nameSize = number16(octets_, position + 28);
    if (nameSize > kLongestName) return "WZ-0113";
    const Entry entry{number16(octets_, position + 8),  number16(octets_, position + 10),
                      number32(octets_, position + 16), number32(octets_, position + 20),
                      number32(octets_, position + 24), nameSize,
                      number32(octets_, position + 42)};
    const std::size_t extra = number16(octets_, position + 30);
    const std::size_t comment = number16(octets_, position + 32);
    position += kDirectoryRecordSize;
    if (octets_.size() - position < nameSize) return "WZ-0114";
    std::string name(octets_.substr(position, nameSize));
    name.resize(std::min(name.size(), name.find('\0')));
    std::replace(name.begin(), name.end(), '\\', '/');
    entries_.insert_or_assign(name, entry);
    position += nameSize + extra + comment;
  }
  return kGood;
}

// The octets behind the local header, which has to say what the directory says.
std::optional<std::string_view> Archive::packedOctets(const Entry& entry) const {
  const std::size_t start = prefix_ + entry.offset;
  if (start > octets_.size() || octets_.size() - start < kLocalHeaderSize) return std::nullopt;
  const std::string_view local = octets_.substr(start);
  const bool sizesFollow = (number16(local, 6) & kSizesFollow) != 0;
  const auto agrees = [&](std::size_t position, std::uint32_t stated) {
    const std::uint32_t found = number32(local, position);
    return sizesFollow || found == stated || (position != 14 && found == kStatedElsewhere);
  };
  if (number32(local, 0) != kLocalHeader || number16(local, 8) != entry.method ||
      !canBegin(entry.method) || !agrees(14, entry.crc) || !agrees(18, entry.packedSize) ||
      !agrees(22, entry.size) || number16(local, 26) != entry.nameSize) {
    return std::nullopt;
  }
  const std::size_t header = kLocalHeaderSize + entry.nameSize + number16(local, 28);
  if (header > local.size()) return std::string_view();
  return local.substr(header, entry.packedSize);
}

std::optional<std::string> Archive::unpack(const Entry& entry) const {
  const std::optional<std::string_view> packed = packedOctets(entry);
  if (!packed) return std::nullopt;
  const std::size_t wanted = entry.method == kStored ? std::min(entry.packedSize, entry.size)
                                                     : static_cast<std::size_t>(entry.size);
  if (wanted == 0) return std::string();
  if (entry.method == kBzip2) {
    if (packed->size() > wanted) return std::nullopt;
    return std::string(*packed);
  }
  if (entry.method == kStored) {
    // Nothing is to be unpacked.
    if (packed->size() < wanted) return std::nullopt;
    return std::string(packed->substr(0, wanted));
  }
  if (packed->empty()) return std::nullopt;  // not even the end of a stream
  return readByLibarchive(archiveOf(entry, *packed), wanted);
}

std::optional<std::string> Archive::unpackWhole(const Entry& entry, std::size_t limit) const {
  if (entry.size > limit) return std::nullopt;
  std::optional<std::string> content = unpack(entry);
  if (content && content->size() < entry.size) return std::nullopt;
  return content;
}

}  // namespace verifier
