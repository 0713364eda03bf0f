// A walk over the elements of a DER text, in pre-order and without allocation.
//
// Every reader of certificates and signature files goes through this walker. It reads nothing
// outside the view that it was made of, whatever the lengths in it claim. A walker is a value of
// its own: several may be under way at once, one walker belongs to one thread at a time.
//
// Returning a constructed element usually enters it: the next step gives its first part. A step
// to the next sibling instead passes an element of definite length over whole:
//
//   30 .. ( 02 .. , 30 .. ( 04 .. ) , 05 00 )
//   A       B       C       D         E        kNext         gives A B C D E
//                                              kNextSibling  gives A B C E after A by kNext
//
// A step by kNext or kToIndex after one by kNextSibling takes that one back and goes again from
// there, so that it leads into C and gives D.
#ifndef WZAPP_CRYPTO_DER_DER_WALKER_H
#define WZAPP_CRYPTO_DER_DER_WALKER_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "crypto/der/der_element.h"
#include "support/byte_view.h"

namespace wzapp {

enum class WalkMode {
  kRestart = 0,      // from the first octet, n steps behind the outermost element
  kToIndex = 1,      // on to element n, counted from the start of the walk; back: restarts. A
                     // reader's mode like the others, although no parser here asks for it
  kNext = 2,         // on by one element, into a constructed one
  kNextSibling = 3,  // on by one element, over a constructed one of definite length
};

class DerWalker {
 public:
  // Levels of nesting, the outermost included.
  static constexpr std::size_t kLevels = 25;

  // Walks `buffer`, which must outlive the walker and its elements.
  explicit DerWalker(ByteView buffer) : buffer_(buffer) { ends_[0] = kNoEnd; }
  DerWalker(const DerWalker&) = delete;
  DerWalker& operator=(const DerWalker&) = delete;

  // Steps and fills `element` with the one at which it stops.
  // `n`: for kRestart and kToIndex the element to stop at; the other modes ignore it.
  // Returns 0, and element.status is 0; or, with element.status left at kDerBadHeader: kDerEnd at
  // the end of the buffer; kDerBadHeader for a header that cannot be read or content that would end
  // outside the buffer; kDerTooLong for more than kLevels levels; kDerIndefinitePrimitive. After a
  // failure the walk stands where it stood before the step that failed, and depth and index of
  // `element` say where that is.
  [[nodiscard]] int walk(WalkMode mode, std::size_t n, DerElement& element);

  // walk() in one mode each.
  [[nodiscard]] int first(DerElement& element) { return walk(WalkMode::kRestart, 0, element); }
  [[nodiscard]] int next(DerElement& element);
  [[nodiscard]] int nextSibling(DerElement& element);

 private:
  static constexpr std::size_t kNoEnd = SIZE_MAX;
  static constexpr std::size_t kNowhere = SIZE_MAX;

  void restart();
  void enterPassedOver();
  void leavePassedOver();
  int step(bool descends, DerElement& element);
  // A call: in its place it would take the registers that every step has to save.
  [[gnu::noinline]] int stepByLongHeader(bool descends, DerElement& element);
  int advance(bool descends, DerElement& element);
  [[nodiscard]] bool isEndOfContents(const DerElement& element) const;
  void openLevel(std::size_t end);
  void closeLevel();
  void closeFullLevels();

  ByteView buffer_;
  std::size_t position_ = 0;
  std::size_t passed_ = 0;    // elements returned since the start of the walk
  std::size_t depth_ = 0;     // innermost open level
  std::size_t children_ = 0;  // elements passed at that level

  // Offset of the element that the last step, one to the next sibling, has passed over. Its level
  // is open as if it had been entered, even if it is one more than may be, and the position is
  // that of its content: whether it is gone into or left behind is for the step that follows.
  std::size_t passedOver_ = kNowhere;

  // The open levels; what lies beyond the innermost one means nothing. A level is full when the
  // position has reached its end and no deeper one is open: an element that runs past its parent
  // takes the position beyond that end. Ends are offsets; kNoEnd outermost and for indefinite
  // lengths.
  std::array<std::size_t, kLevels + 1> ends_;
  std::array<std::size_t, kLevels> outerChildren_;  // children_ of the level around the next one
};

// `der` without the octets behind its first element; all of it where that element cannot be read
// to its end.
[[nodiscard]] ByteView outermostElement(ByteView der);

// How many elements lie below `element`, counted in pre-order until its end or until they can no
// longer be read. All descendants count, not only direct parts. The parsers here count as they
// read; this is for those who look at one element by itself.
[[nodiscard]] std::size_t countParts(const DerElement& element);

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_DER_DER_WALKER_H
