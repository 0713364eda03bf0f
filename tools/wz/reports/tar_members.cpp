#include "wz/reports/tar_members.h"

#include <algorithm>
#include <cstddef>

namespace wz {
namespace {

constexpr std::size_t kBlock = 512;
constexpr std::size_t kNameSize = 100, kSizeOffset = 124, kSizeLength = 12, kMagicOffset = 257;

// The number of octets of a member, in its header as octal digits.
std::size_t sizeOf(std::string_view header) {
  std::size_t size = 0;
  for (const char c : header.substr(kSizeOffset, kSizeLength)) {
    if (c < '0' || c > '7') break;
    size = 8 * size + static_cast<std::size_t>(c - '0');
  }
  return size;
}

}  // namespace

bool isTarArchive(std::string_view octets) {
  return octets.size() >= kBlock && octets.substr(kMagicOffset, 5) == "ustar";
}

// A header of one block, the content in whole blocks; a block of zeros ends it.
std::vector<TarMember> tarMembers(std::string_view archive) {
  std::vector<TarMember> members;
  while (archive.size() >= kBlock && archive[0] != '\0') {
    const std::string_view header = archive.substr(0, kBlock);
    const std::string_view name = header.substr(0, kNameSize);
    const std::size_t size = sizeOf(header);
    archive.remove_prefix(kBlock);
    if (size > archive.size()) break;
    members.push_back({name.substr(0, name.find('\0')), archive.substr(0, size)});
    archive.remove_prefix(std::min(archive.size(), (size + kBlock - 1) / kBlock * kBlock));
  }
  return members;
}

}  // namespace wz
