/// Archives as octets in memory, with faults where they are asked for (PKWARE's APPNOTE.TXT): every
/// entry is stored as it is.
#ifndef WZ_TAMPER_ZIP_OCTETS_H
#define WZ_TAMPER_ZIP_OCTETS_H

#include <cstdint>
#include <string>
#include <vector>

namespace wz {

struct ZipItem {
  std::string name;
  std::string content;
  std::uint16_t method = 0;  ///< any but 0 is a lie: nobody can unpack it
};

using ZipItems = std::vector<ZipItem>;

/// The archive; directory and entries in the order of the items.
[[nodiscard]] std::string zipOctets(const ZipItems& items);

}  // namespace wz

#endif  // WZ_TAMPER_ZIP_OCTETS_H
