// Object identifiers (ITU-T X.660): content octets of the DER form, dotted text, and the short
// ones as values that compare at once.
//
// The first content octet gives the first two arcs and is always read as one octet: 80 or more is
// "2." and the octet less 80, 40 to 79 is "1." and the octet less 40, below that "0." and the
// octet. Every further arc is a number of up to 35 bits in up to five octets, base 128. An arc may
// be padded with 0x80 octets; its text does not show that, and whatever compares here compares as
// if by text.
#ifndef WZAPP_CRYPTO_DER_OID_H
#define WZAPP_CRYPTO_DER_OID_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "crypto/big_endian.h"
#include "crypto/der/der_element.h"
#include "support/byte_view.h"

namespace wzapp {

// Longest dotted text, in characters, that an OID may have to be compared with another.
inline constexpr std::size_t kMaxOidText = 30;

// An OID whose text has at most kMaxOidText characters, without its padding: two are equal when
// their texts are. Such an OID never has more than 14 octets.
class ShortOid {
 public:
  constexpr ShortOid() = default;

  // Reads the content octets of an OBJECT IDENTIFIER.
  // Returns 0; kDerNotFound for a text that is too long and for an arc of more than five octets;
  // kDerTruncatedOid when the content is empty or ends inside an arc. `oid` is filled only on
  // success.
  [[nodiscard]] static int read(ByteView content, ShortOid& oid);

  // Content octets as they stand. Nothing is checked: the result equals one that read() or parse()
  // has made only if read() makes the same of these octets, and none where they are no short OID
  // or padded. The fast way to recognise a known OID.
  [[nodiscard]] static constexpr ShortOid ofOctets(ByteView content);

  // The OID with this text; nothing for a text that no content octets convert to, such as "1.40",
  // "2.05" or one that is too long.
  [[nodiscard]] static constexpr std::optional<ShortOid> parse(std::string_view text);

  // A key of 128 bits: a one, then the octets, the last of them lowest in `low`.
  [[nodiscard]] constexpr std::uint64_t high() const { return high_; }
  [[nodiscard]] constexpr std::uint64_t low() const { return low_; }

  // By the key; the order means nothing else.
  friend constexpr bool operator==(const ShortOid&, const ShortOid&) = default;
  friend constexpr bool operator<(const ShortOid& one, const ShortOid& other) {
    return one.high_ != other.high_ ? one.high_ < other.high_ : one.low_ < other.low_;
  }

 private:
  static constexpr std::size_t kMaxOctets = 14;

  explicit constexpr ShortOid(std::uint8_t first) : low_(0x100U | first) {}

  static constexpr std::uint64_t behindOne(ByteView octets);
  constexpr void append(std::uint8_t octet);
  constexpr void appendArc(std::uint64_t arc);

  std::uint64_t high_ = 0;
  std::uint64_t low_ = 0;
};

// The OID with a text known when compiling; a text that is none does not compile.
consteval ShortOid oid(std::string_view text);

// Whether content octets are this OID, padded or not.
[[nodiscard]] bool isOid(ByteView content, const ShortOid& oid);

// Whether there may be padding in content octets; without it ofOctets() makes of them what read()
// does, or they are no short OID.
[[nodiscard]] bool mayBePadded(ByteView content);

// Writes the dotted text and a terminating NUL.
// `size`: octets at `text`. With 0 nothing is written and the size needed is returned.
// Returns the length of the text (with `size` 0: plus 1); kDerNotFound for an arc of more than five
// octets or a text that does not fit, kDerTruncatedOid as above, and then `text` is empty.
[[nodiscard]] int oidToText(ByteView content, char* text, std::size_t size);

// The same for the content of an element, whatever its identifier.
// Returns as above; kDerInvalidElement for a record that is not valid or of indefinite length.
[[nodiscard]] int oidToText(const DerElement& element, char* text, std::size_t size);

// -------------------------------------------------------------------------------------------------

constexpr void ShortOid::append(std::uint8_t octet) {
  high_ = high_ << 8 | low_ >> 56;
  low_ = low_ << 8 | octet;
}

constexpr std::uint64_t ShortOid::behindOne(ByteView octets) {
  std::uint64_t number = 1;
  for (const std::uint8_t octet : octets) number = number << 8 | octet;
  return number;
}

// Eight octets are loaded at once: a loop over them would be most of what there is to do.
constexpr ShortOid ShortOid::ofOctets(ByteView content) {
  constexpr std::size_t kLowOctets = 8;
  ShortOid oid;
  if (content.empty() || content.size() > kMaxOctets) return oid;
  if (content.size() < kLowOctets) {
    oid.low_ = behindOne(content);
    return oid;
  }
  const std::size_t split = content.size() - kLowOctets;
  oid.high_ = behindOne(content.first(split));
  oid.low_ = loadBigEndian64(content.data() + split);
  return oid;
}

constexpr void ShortOid::appendArc(std::uint64_t arc) {
  for (int shift = 28; shift > 0; shift -= 7) {
    if (arc >> shift != 0) append(static_cast<std::uint8_t>(0x80 | ((arc >> shift) & 0x7F)));
  }
  append(static_cast<std::uint8_t>(arc & 0x7F));
}

constexpr std::optional<ShortOid> ShortOid::parse(std::string_view text) {
  constexpr std::uint64_t kArcLimit = std::uint64_t{1} << 35;
  constexpr std::uint64_t kSecondArcLimits[] = {40, 40, 256 - 80};
  if (text.size() > kMaxOidText) return std::nullopt;

  ShortOid oid;
  std::uint64_t root = 0;
  std::size_t position = 0;
  std::size_t arcs = 0;
  for (;; ++position, ++arcs) {
    const std::size_t start = position;
    std::uint64_t arc = 0;
    for (; position < text.size() && text[position] != '.'; ++position) {
      if (text[position] < '0' || text[position] > '9') return std::nullopt;
      if (position > start && arc == 0) return std::nullopt;  // a leading zero
      arc = 10 * arc + static_cast<std::uint64_t>(text[position] - '0');
      if (arc >= kArcLimit) return std::nullopt;
    }
    if (position == start) return std::nullopt;
    if (arcs == 0) {
      if (arc > 2) return std::nullopt;
      root = arc;
    } else if (arcs == 1) {
      if (arc >= kSecondArcLimits[root]) return std::nullopt;
      oid = ShortOid(static_cast<std::uint8_t>(40 * root + arc));
    } else {
      oid.appendArc(arc);
    }
    if (position == text.size()) break;
  }
  if (arcs == 0) return std::nullopt;
  return oid;
}

consteval ShortOid oid(std::string_view text) { return ShortOid::parse(text).value(); }

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_DER_OID_H
