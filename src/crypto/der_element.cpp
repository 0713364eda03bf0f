#include "crypto/der_element.h"

namespace wzapp {

namespace {

constexpr std::uint8_t kConstructedBit = 0x20;
constexpr std::uint8_t kClassBits = 0xC0;
constexpr std::uint8_t kTagBits = 0x1F;  // all ones: the tag number follows in octets of its own
constexpr std::uint8_t kMoreBit = 0x80;
constexpr std::size_t kMaxIdentifierLength = 3;
constexpr std::uint8_t kIndefiniteForm = 0x80;

// identifier := short | 0x1F-low-bits more* last; `position` is moved behind it.
int readIdentifier(ByteView buffer, std::size_t& position, DerElement& element) {
  const std::size_t start = position;
  if (position == buffer.size()) return kDerBadHeader;
  const std::uint8_t first = buffer[position++];
  element.identifier = first;
  element.constructed = first & kConstructedBit;
  element.classBits = first & kClassBits;
  element.tagNumber = first & kTagBits;
  if (element.tagNumber != kTagBits) return 0;

  element.tagNumber = 0;
  for (;;) {
    if (position - start == kMaxIdentifierLength) return kDerTooLong;
    if (position == buffer.size()) return kDerBadHeader;
    const std::uint8_t octet = buffer[position++];
    element.tagNumber = (element.tagNumber << 7) | (octet & ~kMoreBit);
    if ((octet & kMoreBit) == 0) return 0;
  }
}

// length := 0x00-0x7F | 0x80 indefinite | 0x81 octet | 0x82 octet octet, up to 0x7FFE
int readLength(ByteView buffer, std::size_t& position, DerElement& element) {
  if (position == buffer.size()) return kDerBadHeader;
  const std::uint8_t first = buffer[position++];
  if (first < kIndefiniteForm) {
    element.contentLength = first;
    return 0;
  }
  if (first == kIndefiniteForm) {
    element.contentLength = kIndefiniteLength;
    return 0;
  }
  const std::size_t count = first & 0x7FU;
  if (count > 2) return kDerTooLong;
  if (count > buffer.size() - position) return kDerBadHeader;
  std::int32_t length = 0;
  for (std::size_t i = 0; i < count; ++i) length = (length << 8) | buffer[position++];
  if (length >= kIndefiniteLength) return kDerTooLong;
  element.contentLength = length;
  return 0;
}

}  // namespace

int readDerHeader(ByteView buffer, std::size_t offset, DerElement& element) {
  std::size_t position = offset;
  if (const int code = readIdentifier(buffer, position, element); code != 0) return code;
  if (const int code = readLength(buffer, position, element); code != 0) return code;
  element.buffer = buffer;
  element.offset = offset;
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
