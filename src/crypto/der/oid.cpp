#include "crypto/der/oid.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace wzapp {

namespace {

constexpr std::size_t kMaxArcOctets = 5;
constexpr std::uint8_t kMoreBit = 0x80;

// The two arcs in the first content octet.
struct FirstArcs {
  std::uint32_t first;
  std::uint32_t second;
};

FirstArcs splitFirstOctet(std::uint8_t octet) {
  const std::uint32_t first = std::min(octet / 40U, 2U);
  return {first, octet - 40 * first};
}

// Reads the arc at `position` and moves behind it. 0, kDerNotFound or kDerTruncatedOid.
int readArc(ByteView content, std::size_t& position, std::uint64_t& arc) {
  arc = 0;
  for (std::size_t count = 1; position < content.size(); ++count) {
    if (count > kMaxArcOctets) return kDerNotFound;
    const std::uint8_t octet = content[position++];
    arc = (arc << 7) | (octet & (0xFFU ^ kMoreBit));
    if ((octet & kMoreBit) == 0) return 0;
  }
  return kDerTruncatedOid;
}

std::size_t countDigits(std::uint64_t number) {
  std::size_t digits = 1;
  for (std::uint64_t bound = 10; number >= bound; bound *= 10) ++digits;
  return digits;
}

// Text of which only the length is known once it has outgrown its buffer.
class TextWriter {
 public:
  TextWriter(char* text, std::size_t size) : text_(text), size_(size) {}

  void character(char c) {
    if (length_ < size_) text_[length_] = c;
    ++length_;
  }

  void number(std::uint64_t value) {
    std::array<char, 20> digits;
    const char* end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    for (const char* digit = digits.data(); digit != end; ++digit) character(*digit);
  }

  // Leaves the empty text where a text was asked for.
  int fail(int code) {
    if (size_ > 0) text_[0] = '\0';
    return code;
  }

  [[nodiscard]] std::size_t length() const { return length_; }

 private:
  char* text_;
  std::size_t size_;
  std::size_t length_ = 0;
};

}  // namespace

int ShortOid::read(ByteView content, ShortOid& oid) {
  if (content.empty()) return kDerTruncatedOid;
  ShortOid value(content[0]);
  std::size_t length = 2 + countDigits(splitFirstOctet(content[0]).second);
  for (std::size_t position = 1; position < content.size();) {
    std::uint64_t arc = 0;
    if (const int code = readArc(content, position, arc); code != 0) return code;
    length += 1 + countDigits(arc);
    // Checked before the arc is kept: a text of this length has at most kMaxOctets.
    if (length > kMaxOidText) return kDerNotFound;
    value.appendArc(arc);
  }
  oid = value;
  return 0;
}

bool isOid(ByteView content, const ShortOid& oid) {
  if (ShortOid::ofOctets(content) == oid) return true;
  ShortOid read;
  return mayBePadded(content) && ShortOid::read(content, read) == 0 && read == oid;
}

bool mayBePadded(ByteView content) {
  return std::find(content.begin(), content.end(), kMoreBit) != content.end();
}

int oidToText(ByteView content, char* text, std::size_t size) {
  if (size > 0) text[0] = '\0';
  if (content.empty()) return kDerTruncatedOid;
  const FirstArcs arcs = splitFirstOctet(content[0]);
  TextWriter writer(text, size);
  writer.number(arcs.first);
  writer.character('.');
  writer.number(arcs.second);
  for (std::size_t position = 1; position < content.size();) {
    std::uint64_t arc = 0;
    if (const int code = readArc(content, position, arc); code != 0) return writer.fail(code);
    writer.character('.');
    writer.number(arc);
  }
  const std::size_t length = writer.length();
  if (size == 0) return static_cast<int>(length + 1);
  if (length >= size) return writer.fail(kDerNotFound);
  writer.character('\0');
  return static_cast<int>(length);
}

int oidToText(const DerElement& element, char* text, std::size_t size) {
  if (!element.hasView()) return kDerInvalidElement;
  return oidToText(element.content(), text, size);
}

}  // namespace wzapp
