#include "support/terminal_identity.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "support/byte_view.h"
#include "support/format.h"
#include "support/mutex.h"
#include "support/security_list.h"

namespace wzapp {
namespace {

constexpr std::size_t kDigitCount = 6;
constexpr std::size_t kMaxTextSize = 127;
constexpr std::size_t kIdentifierSize = 6;

using Identifier = std::array<std::uint8_t, kIdentifierSize>;

constexpr Identifier kSponsorIdentifiers[] = {
    {0x02, 0x03, 0x20, 0x08, 0x21, 0xC5},
    {0x02, 0x03, 0x01, 0x02, 0x36, 0x51},
    {0x02, 0x03, 0x20, 0x87, 0x16, 0x77},
    {0x02, 0x03, 0x20, 0x87, 0x20, 0x19},
};

struct Sponsor {
  std::string id;
  std::string text;
};

// Takes fields off the front of a record. A field that does not lie inside it is not taken.
class FieldReader {
 public:
  explicit FieldReader(ByteView record) : rest_(record) {}

  std::optional<std::uint32_t> number() {
    std::uint32_t value = 0;
    const std::optional<ByteView> field = octets(sizeof value);
    if (!field) return std::nullopt;
    std::memcpy(&value, field->data(), sizeof value);  // the terminal's own byte order
    return value;
  }

  std::optional<ByteView> octets(std::size_t count) {
    if (count > rest_.size()) return std::nullopt;
    const ByteView field = rest_.first(count);
    rest_ = rest_.subspan(count);
    return field;
  }

  std::optional<ByteView> lengthAndOctets() {
    const std::optional<std::uint32_t> count = number();
    return count ? octets(*count) : std::nullopt;
  }

 private:
  ByteView rest_;
};

// Hands out the terminal's sponsor records one by one.
class SponsorRecords {
 public:
  // The next record; nothing at the end of the list or when the service refuses.
  std::optional<ByteView> next() {
    std::uint16_t length = 0;
    int result = query(length);
    // A look-up that stopped early leaves the service in the middle of its list: once, the end is
    // taken for the beginning.
    if (result == kSecurityListEnded && !std::exchange(hasRetried_, true)) result = query(length);
    hasEndedTwice_ = result == kSecurityListEnded;
    if (result != 0) return std::nullopt;
    return ByteView(buffer_).first(length);
  }

  // Why there was no next record.
  [[nodiscard]] bool hasEndedTwice() const { return hasEndedTwice_; }

 private:
  int query(std::uint16_t& length) {
    length = UINT16_MAX;
    return readSecurityRecord(SecurityList::kSponsors, buffer_, length);
  }

  std::vector<std::uint8_t> buffer_ = std::vector<std::uint8_t>(UINT16_MAX + std::size_t{1});
  bool hasRetried_ = false;
  bool hasEndedTwice_ = false;
};

// The number that the digits give, the least significant first; nothing if one is above 9.
std::optional<std::int32_t> digitsValue(ByteView digits) {
  std::int32_t value = 0;
  for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit) {
    const std::int32_t low = *digit & 15;
    if (low > 9) return std::nullopt;
    value = value * 10 + low;
  }
  return value;
}

bool isSponsorIdentifier(ByteView identifier) {
  return std::any_of(std::begin(kSponsorIdentifiers), std::end(kSponsorIdentifiers),
                     [identifier](const Identifier& known) {
                       return identifier.size() >= known.size() &&
                              std::equal(known.begin(), known.end(), identifier.begin());
                     });
}

// The sponsor's number if `record` is a sponsor record; `reader` then stands before its text.
//
//   record     = length(6) digits identifierLength identifier textLength text
std::optional<std::int32_t> readSponsorId(FieldReader& reader) {
  const std::optional<ByteView> digits = reader.lengthAndOctets();
  if (!digits || digits->size() != kDigitCount) return std::nullopt;
  const std::optional<ByteView> identifier = reader.lengthAndOctets();
  if (!identifier || !isSponsorIdentifier(*identifier)) return std::nullopt;
  return digitsValue(*digits);
}

std::string readSponsorText(FieldReader& reader) {
  const std::optional<ByteView> text = reader.lengthAndOctets();
  if (!text) return std::string();
  const ByteView kept = text->first(std::min(text->size(), kMaxTextSize));
  return std::string(kept.begin(), kept.end());
}

// The sponsor of the first sponsor record; kNone if there is none, or if it is not usable.
Finding readSponsor(Sponsor& sponsor) {
  SponsorRecords records;
  while (const std::optional<ByteView> record = records.next()) {
    if (record->size() < sizeof(std::uint32_t)) return Finding::kNone;
    FieldReader reader(*record);
    const std::optional<std::int32_t> id = readSponsorId(reader);
    if (!id) continue;

    sponsor.text = readSponsorText(reader);
    if (*id == 0 || sponsor.text.empty()) return Finding::kNone;
    format(sponsor.id, "%06d", *id);
    return Finding::kFound;
  }
  return records.hasEndedTwice() ? Finding::kUnknown : Finding::kNone;
}

// Written once, under the mutex, and never freed: a detached thread may outlive static objects.
std::atomic<const Sponsor*> cachedSponsor{nullptr};
Mutex cacheMutex;

// Sees to it that there is a cached sponsor.
Finding findSponsor() {
  if (cachedSponsor.load(std::memory_order_acquire) != nullptr) return Finding::kFound;

  const MutexLock lock(cacheMutex);
  if (cachedSponsor.load(std::memory_order_acquire) != nullptr) return Finding::kFound;
  auto sponsor = std::make_unique<Sponsor>();
  const Finding finding = readSponsor(*sponsor);
  if (finding == Finding::kFound) {
    cachedSponsor.store(sponsor.release(), std::memory_order_release);
  }
  return finding;
}

}  // namespace

Finding getTerminalSponsor(std::string& id, std::string& text) {
  id.clear();
  text.clear();
  const Finding finding = findSponsor();
  if (finding != Finding::kFound) return finding;
  const Sponsor& sponsor = *cachedSponsor.load(std::memory_order_acquire);
  id = sponsor.id;
  text = sponsor.text;
  return finding;
}

}  // namespace wzapp
