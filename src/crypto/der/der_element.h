// One element of a DER text (ITU-T X.690): its header, read and placed.
//
// A record refers into the buffer that it was read from and stays good as long as those octets.
// The reader takes more than DER allows (padded lengths, the indefinite form) and less (lengths up
// to 32766, identifiers up to three octets). Everything here may be used from any thread.
#ifndef WZAPP_CRYPTO_DER_DER_ELEMENT_H
#define WZAPP_CRYPTO_DER_DER_ELEMENT_H

#include <cstddef>
#include <cstdint>

#include "crypto/der/der_error.h"
#include "support/byte_view.h"

namespace wzapp {

// Content length that stands for the indefinite form; the largest real one is one less.
inline constexpr std::int32_t kIndefiniteLength = 32767;

// First length octet of the indefinite form; a greater one says how many length octets follow.
inline constexpr std::uint8_t kDerIndefiniteForm = 0x80;

// Identifier octets that the parsers ask for.
enum DerIdentifier : std::uint32_t {
  kDerBoolean = 0x01,
  kDerInteger = 0x02,
  kDerBitString = 0x03,
  kDerOctetString = 0x04,
  kDerNull = 0x05,
  kDerObjectIdentifier = 0x06,
  kDerPrintableString = 0x13,
  kDerT61String = 0x14,
  kDerIA5String = 0x16,
  kDerSequence = 0x30,
};

struct DerElement {
  static constexpr std::uint8_t kConstructedBit = 0x20;
  static constexpr std::uint8_t kClassBits = 0xC0;
  static constexpr std::uint8_t kTagBits = 0x1F;  // all ones: the tag number follows separately

  std::int32_t status = kDerBadHeader;  // 0 once the element has been read completely
  ByteView buffer;                      // what is walked
  std::size_t offset = 0;               // of the identifier octet in the buffer
  std::uint32_t identifier = 0;   // the whole first octet, class and constructed bits included
  std::uint32_t constructed = 0;  // identifier & 0x20
  std::uint32_t classBits = 0;    // identifier & 0xC0
  std::int32_t tagNumber = 0;
  std::int32_t contentLength = 0;  // in octets, or kIndefiniteLength
  std::int32_t headerLength = 0;   // in octets
  std::uint32_t depth = 0;         // 0: outermost
  std::uint32_t index = 0;         // elements passed before it inside the same parent

  [[nodiscard]] bool isValid() const { return status == 0; }
  [[nodiscard]] bool isIndefinite() const { return contentLength == kIndefiniteLength; }

  // Whether content() and encoding() have something to show: the extent of an indefinite element
  // is not known before its end has been walked to, so no view is ever made of one.
  [[nodiscard]] bool hasView() const { return isValid() && !isIndefinite(); }

  // The content octets; empty without hasView().
  [[nodiscard]] ByteView content() const {
    if (!hasView()) return {};
    return buffer.subspan(offset + static_cast<std::size_t>(headerLength),
                          static_cast<std::size_t>(contentLength));
  }

  // Header and content; empty without hasView().
  [[nodiscard]] ByteView encoding() const {
    if (!hasView()) return {};
    return buffer.subspan(
        offset, static_cast<std::size_t>(headerLength) + static_cast<std::size_t>(contentLength));
  }
};

// Reads the identifier and the length at `offset`, at most the end of the buffer, into the fields
// that they decide; status, depth and index are left alone. The content need not lie in the
// buffer.
//
// Returns 0; or, with `element` left alone, kDerTooLong for an identifier or a length beyond the
// limits and kDerBadHeader when the buffer ends inside the header.
[[nodiscard]] inline int readDerHeader(ByteView buffer, std::size_t offset, DerElement& element);

// The same for the headers of two octets, which most are: an identifier of one octet and a length
// below 128. Returns false, with `element` left alone, for every other one.
[[nodiscard]] inline bool readShortDerHeader(ByteView buffer, std::size_t offset,
                                             DerElement& element);

// Decodes the content as a signed number in two's complement, of 1 to 4 octets.
// Returns 0, or kDerBadInteger and `value` is left alone. The identifier is not looked at.
[[nodiscard]] int readInteger(const DerElement& element, std::int32_t& value);

// `value`: 0 for the octet 0x00, 1 for any other.
// Returns 0, or kDerBadBoolean and `value` is left alone. The identifier is not looked at.
[[nodiscard]] int readBoolean(const DerElement& element, std::int32_t& value);

// -------------------------------------------------------------------------------------------------

// All that a header says, at once.
inline void setDerHeader(DerElement& element, ByteView buffer, std::size_t offset,
                         std::uint8_t identifier, std::int32_t tagNumber,
                         std::int32_t contentLength, std::size_t headerLength) {
  element.buffer = buffer;
  element.offset = offset;
  element.identifier = identifier;
  element.constructed = identifier & DerElement::kConstructedBit;
  element.classBits = identifier & DerElement::kClassBits;
  element.tagNumber = tagNumber;
  element.contentLength = contentLength;
  element.headerLength = static_cast<std::int32_t>(headerLength);
}

// Reads the octets of a tag number, which begin at `position`, and moves it behind them.
// Returns as readDerHeader().
[[nodiscard]] int readLongTag(ByteView buffer, std::size_t& position, std::int32_t& tagNumber);

// identifier := short | 0x1F-low-bits more* last
// length := 0x00-0x7F | 0x80 indefinite | 0x81 octet | 0x82 octet octet, up to 0x7FFE
//
// Inline, and without a field written before the end, because every step of every walk does this.
inline int readDerHeader(ByteView buffer, std::size_t offset, DerElement& element) {
  std::size_t position = offset;
  if (position == buffer.size()) return kDerBadHeader;
  const std::uint8_t identifier = buffer[position++];
  std::int32_t tagNumber = identifier & DerElement::kTagBits;
  if (tagNumber == DerElement::kTagBits) {
    std::size_t behind = position;
    std::int32_t number = 0;
    if (const int code = readLongTag(buffer, behind, number); code != 0) return code;
    position = behind;
    tagNumber = number;
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

  setDerHeader(element, buffer, offset, identifier, tagNumber, length, position - offset);
  return 0;
}

inline bool readShortDerHeader(ByteView buffer, std::size_t offset, DerElement& element) {
  constexpr std::size_t kHeaderLength = 2;
  if (buffer.size() - offset < kHeaderLength) return false;
  const std::uint8_t identifier = buffer[offset];
  const std::uint8_t length = buffer[offset + 1];
  const std::uint8_t tagNumber = identifier & DerElement::kTagBits;
  if (tagNumber == DerElement::kTagBits || length >= kDerIndefiniteForm) return false;

  setDerHeader(element, buffer, offset, identifier, tagNumber, length, kHeaderLength);
  return true;
}

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_DER_DER_ELEMENT_H
