#include "wz/matrix/worker_lines.h"

#include <cstddef>

#include "support/byte_view.h"
#include "wz/reports/package_report.h"

namespace wz {
namespace {

// Entries end with a stroke, the path of each with a colon.
constexpr char kPathEnd = ':', kEntryEnd = '/';
constexpr char kFolder = 'd', kFile = 'f';

std::string hex(std::string_view text) { return hexText(wzapp::viewOf(text)); }

int valueOf(char digit) { return digit <= '9' ? digit - '0' : digit - 'a' + 10; }

std::string fromHex(std::string_view text) {
  std::string octets;
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
    octets += static_cast<char>(valueOf(text[i]) * 16 + valueOf(text[i + 1]));
  }
  return octets;
}

}  // namespace

std::string entriesText(const ImageEntries& entries) {
  std::string text;
  for (const ImageEntry& entry : entries) {
    text += (entry.isFolder ? kFolder : kFile) + hex(entry.path) + kPathEnd + hex(entry.content) +
            kEntryEnd;
  }
  return text;
}

ImageEntries entriesIn(std::string_view text) {
  ImageEntries entries;
  while (!text.empty()) {
    const std::size_t colon = text.find(kPathEnd), end = text.find(kEntryEnd);
    entries.push_back({fromHex(text.substr(1, colon - 1)), text.front() == kFolder,
                       fromHex(text.substr(colon + 1, end - colon - 1))});
    text.remove_prefix(end + 1);
  }
  return entries;
}

}  // namespace wz
