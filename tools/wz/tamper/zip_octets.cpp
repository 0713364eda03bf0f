#include "wz/tamper/zip_octets.h"

#include <zlib.h>

#include <cstddef>

namespace wz {
namespace {

constexpr std::uint32_t kEntryMagic = 0x04034B50, kRecordMagic = 0x02014B50, kEndMagic = 0x06054B50;
constexpr std::uint16_t kVersion = 20;
constexpr std::uint16_t kFirstDay = 1 << 5 | 1;  // 1980-01-01

void put(std::string& octets, std::uint64_t value, unsigned size) {
  for (unsigned i = 0; i < size; ++i) octets += static_cast<char>(value >> 8 * i & 0xFF);
}

// What the header of an entry and its record in the directory have in common.
void putCommon(std::string& octets, const ZipItem& item) {
  const auto* const content = reinterpret_cast<const Bytef*>(item.content.data());
  put(octets, kVersion, 2);
  put(octets, 0, 2);  // flags
  put(octets, item.method, 2);
  put(octets, 0, 2);  // time
  put(octets, kFirstDay, 2);
  put(octets, crc32(0, content, static_cast<uInt>(item.content.size())), 4);
  put(octets, item.content.size(), 4);  // packed
  put(octets, item.content.size(), 4);
  put(octets, item.name.size(), 2);
  put(octets, 0, 2);  // extra field
}

void putRecord(std::string& octets, const ZipItem& item, std::size_t offset) {
  put(octets, kRecordMagic, 4);
  put(octets, kVersion, 2);  // made by
  putCommon(octets, item);
  put(octets, 0, 2);  // comment
  put(octets, 0, 2);  // disk
  put(octets, 0, 2);  // internal attributes
  put(octets, 0, 4);  // external attributes
  put(octets, offset, 4);
  octets += item.name;
}

}  // namespace

std::string zipOctets(const ZipItems& items) {
  std::string octets, directory;
  for (const ZipItem& item : items) {
    putRecord(directory, item, octets.size());
    put(octets, kEntryMagic, 4);
    putCommon(octets, item);
    octets += item.name + item.content;
  }
  const std::size_t start = octets.size();
  octets += directory;
  put(octets, kEndMagic, 4);
  put(octets, 0, 4);  // disks
  put(octets, items.size(), 2);
  put(octets, items.size(), 2);
  put(octets, directory.size(), 4);
  put(octets, start, 4);
  put(octets, 0, 2);  // comment
  return octets;
}

}  // namespace wz
