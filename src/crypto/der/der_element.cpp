#include "crypto/der/der_element.h"

namespace wzapp {

int readLongTag(ByteView buffer, std::size_t& position, std::int32_t& tagNumber) {
  constexpr std::uint8_t kMoreBit = 0x80;
  constexpr std::size_t kMostOctets = 2;  // three with the first one of the identifier
  tagNumber = 0;
  for (std::size_t count = 0;; ++count) {
    if (count == kMostOctets) return kDerTooLong;
    if (position == buffer.size()) return kDerBadHeader;
    const std::uint8_t octet = buffer[position++];
    tagNumber = (tagNumber << 7) | (octet & ~kMoreBit);
    if ((octet & kMoreBit) == 0) return 0;
  }
}

int readInteger(const DerElement& element, std::int32_t& value) {
  const ByteView content = element.content();
  if (content.empty() || content.size() > 4) return kDerBadInteger;
  std::uint32_t number = (content[0] & 0x80U) != 0 ? ~0U : 0U;
  for (const std::uint8_t octet : content) number = (number << 8) | octet;
  value = static_cast<std::int32_t>(number);
  return 0;
}

int readBoolean(const DerElement& element, std::int32_t& value) {
  const ByteView content = element.content();
  if (content.size() != 1) return kDerBadBoolean;
  value = content[0] != 0 ? 1 : 0;
  return 0;
}

}  // namespace wzapp
