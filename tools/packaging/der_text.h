/// Elements of DER (ITU-T X.690) as octet strings, for what is written once and not in haste.
#ifndef PACKAGING_DER_TEXT_H
#define PACKAGING_DER_TEXT_H

#include <string>
#include <string_view>

namespace packaging {

inline constexpr unsigned char kDerInteger = 0x02, kDerOctetString = 0x04, kDerNull = 0x05,
                               kDerIA5String = 0x16, kDerSequence = 0x30, kDerSet = 0x31;

/// The identifier octet of a constructed element [number].
[[nodiscard]] constexpr unsigned char derTagged(unsigned number) {
  return static_cast<unsigned char>(0xA0 | number);
}

/// One element: identifier octet, length, content.
[[nodiscard]] std::string derElement(unsigned char identifier, std::string_view content);

/// An OBJECT IDENTIFIER from dotted text, which must be one.
[[nodiscard]] std::string derOid(std::string_view dotted);

}  // namespace packaging

#endif  // PACKAGING_DER_TEXT_H
