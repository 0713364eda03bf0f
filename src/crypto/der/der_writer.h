// A small DER writer: elements short enough for buffers on the stack, as in the DigestInfo of an
// RSA signature (RFC 8017).
#ifndef WZAPP_CRYPTO_DER_DER_WRITER_H
#define WZAPP_CRYPTO_DER_DER_WRITER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "crypto/der/der_element.h"
#include "support/byte_view.h"

namespace wzapp {

// One element: identifier octet, one length octet, at most kMaxContent content octets. The length
// is always written as one octet, which is DER's short form up to 127 octets; nothing that the
// library writes comes near that.
class DerBuffer {
 public:
  static constexpr std::size_t kMaxContent = 255;

  // The complete element; good as long as the buffer, until it is written to.
  [[nodiscard]] ByteView encoding() const { return ByteView(octets_).first(kHeader + octets_[1]); }
  [[nodiscard]] ByteView content() const { return encoding().subspan(kHeader); }

 private:
  friend int makeElement(std::uint8_t, ByteView, DerBuffer&);
  friend int appendElement(const DerBuffer&, DerBuffer&);

  static constexpr std::size_t kHeader = 2;

  std::array<std::uint8_t, kHeader + kMaxContent> octets_{};
};

// Each of these returns the size of the element that it made, in octets, or kDerNotFound for
// content that does not fit, and then leaves its output alone. The content may be a view of the
// output.

[[nodiscard]] int makeElement(std::uint8_t identifier, ByteView content, DerBuffer& element);
[[nodiscard]] int makeNull(DerBuffer& element);
[[nodiscard]] int makeOctetString(ByteView octets, DerBuffer& element);

// Puts the element in `element` into a SEQUENCE.
[[nodiscard]] int wrapInSequence(DerBuffer& element);

// Appends `part` to the content of `element`.
[[nodiscard]] int appendElement(const DerBuffer& part, DerBuffer& element);

// Makes an OBJECT IDENTIFIER from dotted text. The text is split at its dots and each piece taken
// as decimal digits, unchecked: what is no OID text gives octets that mean nothing.
// With a null `element` it is only measured.
[[nodiscard]] int textToOid(std::string_view text, DerBuffer* element);

// Makes SEQUENCE { SEQUENCE { OBJECT IDENTIFIER, NULL }, OCTET STRING digest }: 35 octets for
// SHA-1 and 51 for SHA-256.
[[nodiscard]] int makeDigestInfo(std::string_view digestOid, ByteView digest, DerBuffer& element);

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_DER_DER_WRITER_H
