#include "workstation/zelsec/sponsor_record.h"

#include <array>
#include <bit>
#include <cstddef>

namespace workstation {
namespace {

using Record = std::vector<std::uint8_t>;

// One of the identifiers that mark a sponsor record.
constexpr std::uint8_t kIdentifier[] = {0x02, 0x03, 0x20, 0x08, 0x21, 0xC5};

// In the machine's order of octets.
void appendLength(Record& record, std::size_t length) {
  const auto value = static_cast<std::uint32_t>(length);
  for (const std::uint8_t octet : std::bit_cast<std::array<std::uint8_t, sizeof value>>(value)) {
    record.push_back(octet);
  }
}

}  // namespace

// length(4) digits, least significant first | length(4) identifier | length(4) text
Record sponsorRecord(const std::string& id, const std::string& text) {
  Record record;
  appendLength(record, id.size());
  for (auto digit = id.rbegin(); digit != id.rend(); ++digit) {
    record.push_back(static_cast<std::uint8_t>(*digit - '0'));
  }
  appendLength(record, sizeof(kIdentifier));
  record.insert(record.end(), kIdentifier, kIdentifier + sizeof(kIdentifier));
  appendLength(record, text.size());
  record.insert(record.end(), text.begin(), text.end());
  return record;
}

}  // namespace workstation
