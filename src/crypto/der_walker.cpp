#include "crypto/der_walker.h"

#include <algorithm>

namespace wzapp {

int DerWalker::walk(WalkMode mode, std::size_t n, DerElement& element) {
  element.status = kDerBadHeader;
  if (mode == WalkMode::kNextSibling) {
    copy(snapshot_, state_);
    siblingBefore_ = true;
    return step(false, element);
  }
  // Element n is the one that brings the number of elements passed to n + 1.
  const bool restarts =
      mode == WalkMode::kRestart || (mode == WalkMode::kToIndex && n < state_.passed);
  if (restarts) {
    restart();
    return steps(n + 1, element);
  }
  std::size_t count = mode == WalkMode::kNext ? 1 : n + 1 - state_.passed;
  if (siblingBefore_) {
    // Back to before that step. It is gone through once more, now into what it passed over.
    ++count;
    copy(state_, snapshot_);
    siblingBefore_ = false;
  }
  return steps(count, element);
}

// The levels that are not open hold nothing, so that most copies are short.
void DerWalker::copy(State& to, const State& from) {
  to.position = from.position;
  to.passed = from.passed;
  to.depth = from.depth;
  std::copy_n(from.levels.begin(), from.depth + 1, to.levels.begin());
}

void DerWalker::restart() {
  siblingBefore_ = false;
  state_.position = 0;
  state_.passed = 0;
  state_.depth = 0;
  state_.levels[0] = {kIndefiniteLength, 0, 0};
}

int DerWalker::steps(std::size_t count, DerElement& element) {
  for (; count > 0; --count) {
    if (const int code = step(true, element); code != 0) return code;
  }
  return 0;
}

int DerWalker::step(bool descends, DerElement& element) {
  element.status = kDerBadHeader;
  element.depth = static_cast<std::uint32_t>(state_.depth);
  element.index = state_.levels[state_.depth].children;
  if (state_.position == buffer_.size()) return kDerEnd;
  if (readDerHeader(buffer_, state_.position, element) != 0) return kDerBadHeader;

  const bool isConstructed = element.constructed != 0;
  const bool isIndefinite = element.isIndefinite();
  if (isIndefinite && !isConstructed) return kDerIndefinitePrimitive;
  const std::size_t behind =
      buffer_.size() - state_.position - static_cast<std::size_t>(element.headerLength);
  if (!isIndefinite && static_cast<std::size_t>(element.contentLength) > behind) {
    return kDerBadHeader;
  }

  if (isConstructed && (descends || isIndefinite)) {
    if (const int code = enter(element); code != 0) return code;
  } else {
    pass(element);
  }
  closeFullLevels();
  ++state_.passed;
  element.status = 0;
  return 0;
}

int DerWalker::enter(const DerElement& element) {
  const bool opensLevel = element.contentLength != 0;
  if (opensLevel && state_.depth + 1 == kLevels) return kDerTooLong;

  const auto header = static_cast<std::size_t>(element.headerLength);
  Level& level = state_.levels[state_.depth];
  ++level.children;
  level.consumed += header;
  state_.position += header;
  if (opensLevel) state_.levels[++state_.depth] = {element.contentLength, 0, 0};
  return 0;
}

void DerWalker::pass(const DerElement& element) {
  const auto length = static_cast<std::size_t>(element.headerLength + element.contentLength);
  Level& level = state_.levels[state_.depth];
  level.consumed += length;
  state_.position += length;

  const bool isEndOfContents = length == 2 && element.identifier == 0;
  if (isEndOfContents && state_.depth > 0 && level.declared == kIndefiniteLength) {
    closeLevel();
    return;
  }
  ++level.children;
}

// An element may run past its parent; the parent is then full all the same.
void DerWalker::closeFullLevels() {
  while (state_.depth > 0) {
    const Level& level = state_.levels[state_.depth];
    if (level.declared == kIndefiniteLength) return;
    if (level.consumed < static_cast<std::size_t>(level.declared)) return;
    closeLevel();
  }
}

void DerWalker::closeLevel() {
  const std::size_t consumed = state_.levels[state_.depth].consumed;
  --state_.depth;
  state_.levels[state_.depth].consumed += consumed;
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
  const auto length = static_cast<std::size_t>(element.headerLength + element.contentLength);
  DerWalker walker(element.buffer.subspan(element.offset, std::min(length, behind)));
  DerElement part;
  std::size_t count = 0;
  if (walker.first(part) != 0) return 0;
  while (walker.next(part) == 0 && part.depth > 0) ++count;
  return count;
}

}  // namespace wzapp
