#include "crypto/der/der_writer.h"

#include <algorithm>
#include <cstring>

namespace wzapp {

namespace {

// Content octets of which only the number is known once they have outgrown the buffer.
struct Content {
  std::array<std::uint8_t, DerBuffer::kMaxContent> octets;
  std::size_t length = 0;

  void append(std::uint64_t octet) {
    if (length < octets.size()) octets[length] = static_cast<std::uint8_t>(octet);
    ++length;
  }

  // Base 128, most significant group first, the top bit on all but the last.
  void appendArc(std::uint64_t arc) {
    int shift = 0;
    while (shift < 63 && arc >> (shift + 7) != 0) shift += 7;
    for (; shift > 0; shift -= 7) append(0x80 | ((arc >> shift) & 0x7F));
    append(arc & 0x7F);
  }
};

// Takes the piece before the next dot off `text`.
std::uint64_t takeArc(std::string_view& text) {
  const std::string_view piece = text.substr(0, text.find('.'));
  text.remove_prefix(std::min(piece.size() + 1, text.size()));
  std::uint64_t arc = 0;
  for (const char c : piece) arc = 10 * arc + static_cast<std::uint64_t>(c - '0');
  return arc;
}

}  // namespace

int makeElement(std::uint8_t identifier, ByteView content, DerBuffer& element) {
  if (content.size() > DerBuffer::kMaxContent) return kDerNotFound;
  // Moved, since the content may already lie in the output.
  if (!content.empty()) {
    std::memmove(element.octets_.data() + DerBuffer::kHeader, content.data(), content.size());
  }
  element.octets_[0] = identifier;
  element.octets_[1] = static_cast<std::uint8_t>(content.size());
  return static_cast<int>(DerBuffer::kHeader + content.size());
}

int makeNull(DerBuffer& element) { return makeElement(kDerNull, {}, element); }

int makeOctetString(ByteView octets, DerBuffer& element) {
  return makeElement(kDerOctetString, octets, element);
}

int wrapInSequence(DerBuffer& element) {
  return makeElement(kDerSequence, element.encoding(), element);
}

int appendElement(const DerBuffer& part, DerBuffer& element) {
  const ByteView appended = part.encoding();
  const std::size_t length = element.content().size();
  if (appended.size() > DerBuffer::kMaxContent - length) return kDerNotFound;
  std::copy(appended.begin(), appended.end(),
            element.octets_.begin() + DerBuffer::kHeader + length);
  element.octets_[1] = static_cast<std::uint8_t>(length + appended.size());
  return static_cast<int>(element.encoding().size());
}

int textToOid(std::string_view text, DerBuffer* element) {
  Content content;
  const std::uint64_t first = takeArc(text);
  const std::uint64_t second = takeArc(text);
  content.append(40 * first + second);
  while (!text.empty()) content.appendArc(takeArc(text));
  if (content.length > DerBuffer::kMaxContent) return kDerNotFound;
  if (element == nullptr) return static_cast<int>(2 + content.length);
  return makeElement(kDerObjectIdentifier, ByteView(content.octets).first(content.length),
                     *element);
}

int makeDigestInfo(std::string_view digestOid, ByteView digest, DerBuffer& element) {
  DerBuffer algorithm;
  DerBuffer null;
  DerBuffer value;
  int size = textToOid(digestOid, &algorithm);
  if (size > 0) size = wrapInSequence(algorithm);
  if (size > 0) size = makeNull(null);
  if (size > 0) size = appendElement(null, algorithm);
  if (size > 0) size = wrapInSequence(algorithm);
  if (size > 0) size = makeOctetString(digest, value);
  if (size > 0) size = appendElement(value, algorithm);
  if (size > 0) element = algorithm;
  return size;
}

}  // namespace wzapp
