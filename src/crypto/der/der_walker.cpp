#include "crypto/der/der_walker.h"

#include <algorithm>

namespace wzapp {

int DerWalker::walk(WalkMode mode, std::size_t n, DerElement& element) {
  if (mode == WalkMode::kNext) return next(element);
  if (mode == WalkMode::kNextSibling) return nextSibling(element);
  // Element n is the one that brings the number of elements passed to n + 1.
  if (mode == WalkMode::kRestart || n < passed_) restart();
  int code = 0;
  for (std::size_t count = n + 1 - passed_; code == 0 && count > 0; --count) code = next(element);
  return code;
}

int DerWalker::next(DerElement& element) {
  if (passedOver_ != kNowhere) enterPassedOver();
  return step(true, element);
}

int DerWalker::nextSibling(DerElement& element) {
  if (passedOver_ != kNowhere) leavePassedOver();
  return step(false, element);
}

void DerWalker::restart() {
  position_ = 0;
  passed_ = 0;
  depth_ = 0;
  children_ = 0;
  passedOver_ = kNowhere;
}

// Its level is open already. One level too many: the step to it is taken back, and fails this time.
void DerWalker::enterPassedOver() {
  if (depth_ == kLevels) {
    position_ = passedOver_;
    --passed_;
    closeLevel();
    --children_;
  }
  passedOver_ = kNowhere;
}

void DerWalker::leavePassedOver() {
  position_ = ends_[depth_];
  closeFullLevels();
  passedOver_ = kNowhere;
}

inline int DerWalker::step(bool descends, DerElement& element) {
  element.status = kDerBadHeader;
  element.depth = static_cast<std::uint32_t>(depth_);
  element.index = static_cast<std::uint32_t>(children_);
  if (readShortDerHeader(buffer_, position_, element)) return advance(descends, element);
  return stepByLongHeader(descends, element);
}

int DerWalker::stepByLongHeader(bool descends, DerElement& element) {
  if (position_ == buffer_.size()) return kDerEnd;
  if (readDerHeader(buffer_, position_, element) != 0) return kDerBadHeader;
  return advance(descends, element);
}

inline int DerWalker::advance(bool descends, DerElement& element) {
  const std::size_t start = position_;
  const bool isConstructed = element.constructed != 0;
  const bool isIndefinite = element.isIndefinite();
  const auto length = static_cast<std::size_t>(element.contentLength);
  const std::size_t content = start + static_cast<std::size_t>(element.headerLength);
  if (isIndefinite && !isConstructed) return kDerIndefinitePrimitive;
  if (!isIndefinite && length > buffer_.size() - content) return kDerBadHeader;

  if (isConstructed && length != 0) {
    if ((descends || isIndefinite) && depth_ + 1 == kLevels) return kDerTooLong;
    if (!descends && !isIndefinite) passedOver_ = start;
    openLevel(isIndefinite ? kNoEnd : content + length);
    position_ = content;
  } else {
    if (isEndOfContents(element)) {
      closeLevel();
    } else {
      ++children_;
    }
    position_ = content + length;
    closeFullLevels();
  }
  ++passed_;
  element.status = 0;
  return 0;
}

inline bool DerWalker::isEndOfContents(const DerElement& element) const {
  return element.identifier == 0 && element.contentLength == 0 && element.headerLength == 2 &&
         depth_ > 0 && ends_[depth_] == kNoEnd;
}

inline void DerWalker::openLevel(std::size_t end) {
  outerChildren_[depth_] = children_ + 1;
  ends_[++depth_] = end;
  children_ = 0;
}

inline void DerWalker::closeLevel() { children_ = outerChildren_[--depth_]; }

inline void DerWalker::closeFullLevels() {
  while (position_ >= ends_[depth_]) closeLevel();
}

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
