#include "crypto/der_element.h"

namespace wzapp {

namespace {

// Reads the octets of a tag number, which begin at `position`, and moves it behind them.
// Returns as readDerHeader().
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

}  // namespace

// identifier := short | 0x1F-low-bits more* last
// length := 0x00-0x7F | 0x80 indefinite | 0x81 octet | 0x82 octet octet, up to 0x7FFE
int readDerHeader(ByteView buffer, std::size_t offset, DerElement& element) {
  std::size_t position = offset;
  if (position == buffer.size()) return kDerBadHeader;
  const std::uint8_t identifier = buffer[position++];
  std::int32_t tagNumber = identifier & DerElement::kTagBits;
  if (tagNumber == DerElement::kTagBits) {
    if (const int code = readLongTag(buffer, position, tagNumber); code != 0) return code;
  }

  if (position == buffer.size()) return kDerBadHeader;
  const std::uint8_t first = buffer[position++];
  std::int32_t length = first;
  if (first >= kDerIndefiniteForm) {
    const std::size_t count = first - kDerIndefiniteForm;
    if (count > 2) return kDerTooLong;
    if (count > buffer.size() - position) return kDerBadHeader;
    length = count == 0 ? kIndefiniteLength : buffer[position];
    if (count == 2) {
      length = (length << 8) | buffer[position + 1];
      if (length >= kIndefiniteLength) return kDerTooLong;
    }
    position += count;
  }

  element.buffer = buffer;
  element.offset = offset;
  element.identifier = identifier;
  element.constructed = identifier & DerElement::kConstructedBit;
  element.classBits = identifier & DerElement::kClassBits;
  element.tagNumber = tagNumber;
  element.contentLength = length;
  element.headerLength = static_cast<std::int32_t>(position - offset);
  return 0;
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
