// A small reader of BER elements in a row, for lists inside of what is known to be sound.
//
// It is independent of DerWalker and takes other forms: identifiers of up to four octets, lengths
// in any number of octets. It never reads outside its buffer. One iterator belongs to one thread
// at a time.
#ifndef WZAPP_CRYPTO_DER_ELEMENT_ITERATOR_H
#define WZAPP_CRYPTO_DER_ELEMENT_ITERATOR_H

#include <cstddef>
#include <cstdint>

#include "support/byte_view.h"

namespace wzapp {

class ElementIterator {
 public:
  // Elements of indefinite length that may lie inside each other.
  static constexpr int kMaxIndefiniteLevels = 25;

  // Reads elements of `buffer`, which must outlive the values, from `position` on.
  explicit ElementIterator(ByteView buffer, std::size_t position = 0)
      : buffer_(buffer), position_(position) {}

  // Reads the element at the position and moves behind it.
  // `value`: the content octets; of an element of indefinite length those before its end of
  // contents.
  // Returns the identifier, its octets joined with the first one highest. 0, with a value without
  // pointer and length and the position unmoved, at the end of the buffer and for an element that
  // does not fit, has an identifier of more than four octets, or is of indefinite length where that
  // is not possible (primitive, or nested too deep). An end of contents reads as 0 too, but has a
  // pointer and is moved behind.
  [[nodiscard]] std::uint32_t next(ByteView& value);

  // Where the next element begins.
  [[nodiscard]] std::size_t position() const { return position_; }

 private:
  ByteView buffer_;
  std::size_t position_;
};

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_DER_ELEMENT_ITERATOR_H
