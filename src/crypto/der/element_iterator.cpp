#include "crypto/der/element_iterator.h"

namespace wzapp {

namespace {

constexpr std::uint8_t kConstructedBit = 0x20;
constexpr std::uint8_t kTagBits = 0x1F;
constexpr std::uint8_t kMoreBit = 0x80;
constexpr std::uint8_t kIndefiniteForm = 0x80;
constexpr std::size_t kMaxIdentifierLength = 4;

// A position that each reader moves behind what it has read.
class Reader {
 public:
  Reader(ByteView buffer, std::size_t position) : buffer_(buffer), position_(position) {}

  // element := identifier length content
  // `levels` is how many elements of indefinite length it already lies in.
  bool readElement(int levels, std::uint32_t& identifier, ByteView& value) {
    bool isConstructed = false;
    bool isIndefinite = false;
    std::size_t length = 0;
    if (!readIdentifier(identifier, isConstructed)) return false;
    if (!readLength(length, isIndefinite)) return false;
    const std::size_t start = position_;
    if (isIndefinite) {
      if (!isConstructed || levels == ElementIterator::kMaxIndefiniteLevels) return false;
      if (!readParts(levels + 1, length)) return false;
    } else {
      if (length > buffer_.size() - start) return false;
      position_ += length;
    }
    value = buffer_.subspan(start, length);
    return true;
  }

  [[nodiscard]] std::size_t position() const { return position_; }

 private:
  bool readOctet(std::uint8_t& octet) {
    if (position_ >= buffer_.size()) return false;
    octet = buffer_[position_++];
    return true;
  }

  bool readIdentifier(std::uint32_t& identifier, bool& isConstructed) {
    std::uint8_t octet = 0;
    if (!readOctet(octet)) return false;
    identifier = octet;
    isConstructed = (octet & kConstructedBit) != 0;
    if ((octet & kTagBits) != kTagBits) return true;
    std::size_t count = 1;
    do {
      if (count++ == kMaxIdentifierLength || !readOctet(octet)) return false;
      identifier = (identifier << 8) | octet;
    } while ((octet & kMoreBit) != 0);
    return true;
  }

  bool readLength(std::size_t& length, bool& isIndefinite) {
    std::uint8_t octet = 0;
    if (!readOctet(octet)) return false;
    length = octet;
    isIndefinite = octet == kIndefiniteForm;
    if (octet <= kIndefiniteForm) return true;
    length = 0;
    for (int count = octet & ~kMoreBit; count > 0; --count) {
      // No buffer has room for a length that would lose its highest octet here.
      if (length >> (8 * (sizeof length - 1)) != 0 || !readOctet(octet)) return false;
      length = (length << 8) | octet;
    }
    return true;
  }

  // parts := element* end-of-contents; `length` becomes that of the elements.
  bool readParts(int levels, std::size_t& length) {
    const std::size_t start = position_;
    for (;;) {
      length = position_ - start;
      std::uint32_t identifier = 0;
      ByteView value;
      if (!readElement(levels, identifier, value)) return false;
      if (identifier == 0) return true;
    }
  }

  ByteView buffer_;
  std::size_t position_;
};

}  // namespace

std::uint32_t ElementIterator::next(ByteView& value) {
  Reader reader(buffer_, position_);
  std::uint32_t identifier = 0;
  if (!reader.readElement(0, identifier, value)) {
    value = {};
    return 0;
  }
  position_ = reader.position();
  return identifier;
}

}  // namespace wzapp
