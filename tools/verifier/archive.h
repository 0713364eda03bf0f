/// ZIP archives (PKWARE's APPNOTE.TXT) as terminals read them. Which entries there are, and under
/// which names, is what the directory at the end says; libarchive unpacks them.
#ifndef VERIFIER_ARCHIVE_H
#define VERIFIER_ARCHIVE_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "verifier/cause.h"

namespace verifier {

class Archive {
 public:
  /// What the directory says of an entry.
  struct Entry {
    std::uint16_t flags;
    std::uint16_t method;
    std::uint32_t crc;
    std::uint32_t packedSize;
    std::uint32_t size;
    std::size_t nameSize;
    std::size_t offset;  ///< of the local header
  };

  /// The octets outlive the archive.
  explicit Archive(std::string_view octets);

  /// Good, or why nothing of it can be read: WZ-0110 to WZ-0114.
  [[nodiscard]] Cause cause() const { return cause_; }

  /// By name, "/" for "\"; of entries of one name the last.
  [[nodiscard]] const std::map<std::string, Entry>& entries() const { return entries_; }

  /// Whether unpacking can begin: the entry's own header says what the directory says.
  [[nodiscard]] bool canOpen(const Entry& entry) const { return packedOctets(entry).has_value(); }

  /// What comes out of an entry, which is never more than its stated size; nothing when what should
  /// come is damaged or is missing.
  [[nodiscard]] std::optional<std::string> unpack(const Entry& entry) const;

  /// The same for an entry that is to have all its stated octets, and no more than `limit`.
  [[nodiscard]] std::optional<std::string> unpackWhole(const Entry& entry, std::size_t limit) const;

 private:
  [[nodiscard]] Cause readDirectory();
  [[nodiscard]] std::optional<std::string_view> packedOctets(const Entry& entry) const;

  std::string_view octets_;
  std::size_t prefix_ = 0;  ///< octets in front of the archive that its offsets do not count
  std::map<std::string, Entry> entries_;
  Cause cause_;
};

}  // namespace verifier

#endif  // VERIFIER_ARCHIVE_H
