#include "crypto/der_walker.h"

#include <algorithm>

namespace wzapp {

int DerWalker::walk(WalkMode mode, std::size_t n, DerElement& element) {
  if (mode == WalkMode::kNext) return next(element);
  if (mode == WalkMode::kNextSibling) return nextSibling(element);
  // Element n is the one that brings the number of elements passed to n + 1.
  if (mode == WalkMode::kRestart || n < state_.passed) restart();
  if (siblingBefore_) takeBackSibling();
  return steps(n + 1 - state_.passed, element);
}

int DerWalker::next(DerElement& element) {
  if (!siblingBefore_) return step<true>(element);
  // The step to a sibling is gone through once more, now into what it passed over.
  takeBackSibling();
  return steps(2, element);
}

int DerWalker::nextSibling(DerElement& element) {
  snapshot_ = state_;
  siblingBefore_ = true;
  return step<false>(element);
}

void DerWalker::restart() {
  siblingBefore_ = false;
  state_ = {0, 0, 0, 0};
  ends_[0] = kNoEnd;
}

void DerWalker::takeBackSibling() {
  siblingBefore_ = false;
  state_ = snapshot_;
}

// None of these follows a step to a sibling.
int DerWalker::steps(std::size_t count, DerElement& element) {
  int code = 0;
  while (code == 0 && count-- > 0) code = next(element);
  return code;
}

template <bool kDescends>
inline int DerWalker::step(DerElement& element) {
  const ByteView buffer = buffer_;
  std::size_t position = state_.position;
  element.status = kDerBadHeader;
  element.depth = static_cast<std::uint32_t>(state_.depth);
  element.index = static_cast<std::uint32_t>(state_.children);
  if (position == buffer.size()) return kDerEnd;
  if (readDerHeader(buffer, position, element) != 0) return kDerBadHeader;

  const bool isConstructed = element.constructed != 0;
  const bool isIndefinite = element.isIndefinite();
  const auto length = static_cast<std::size_t>(element.contentLength);
  position += static_cast<std::size_t>(element.headerLength);
  if (isIndefinite && !isConstructed) return kDerIndefinitePrimitive;
  if (!isIndefinite && length > buffer.size() - position) return kDerBadHeader;

  if (isConstructed && (kDescends || isIndefinite)) {
    if (length != 0 && state_.depth + 1 == kLevels) return kDerTooLong;
    ++state_.children;
    if (length != 0) openLevel(isIndefinite ? kNoEnd : position + length);
  } else {
    position += length;
    if (isEndOfContents(element)) {
      closeLevel();
    } else {
      ++state_.children;
    }
  }
  while (position >= ends_[state_.depth]) closeLevel();
  state_.position = position;
  ++state_.passed;
  element.status = 0;
  return 0;
}

inline bool DerWalker::isEndOfContents(const DerElement& element) const {
  return element.identifier == 0 && element.contentLength == 0 && element.headerLength == 2 &&
         state_.depth > 0 && ends_[state_.depth] == kNoEnd;
}

inline void DerWalker::openLevel(std::size_t end) {
  children_[state_.depth] = state_.children;
  ends_[++state_.depth] = end;
  state_.children = 0;
}

inline void DerWalker::closeLevel() { state_.children = children_[--state_.depth]; }

ByteView outermostElement(ByteView der) {
  DerWalker walker(der);
  DerElement element;
  if (walker.first(element) != 0) return der;
  if (!element.isIndefinite()) return element.encoding();
  while (walker.next(element) == 0) {
    if (element.depth == 0) return der.first(element.offset);
  }
  return der;
}

std::size_t countParts(const DerElement& element) {
  if (!element.isValid()) return 0;
  const std::size_t behind = element.buffer.size() - element.offset;
  const std::size_t length = static_cast<std::size_t>(element.headerLength) +
                             static_cast<std::size_t>(element.contentLength);
  DerWalker walker(element.buffer.subspan(element.offset, std::min(length, behind)));
  DerElement part;
  std::size_t count = 0;
  if (walker.first(part) != 0) return 0;
  while (walker.next(part) == 0 && part.depth > 0) ++count;
  return count;
}

}  // namespace wzapp
