#include "tests/crypto/plain_walker.h"

namespace wzapp_test {

using wzapp::DerElement;
using wzapp::kIndefiniteLength;
using wzapp::WalkMode;

int PlainWalker::walk(WalkMode mode, std::size_t n, DerElement& element) {
  if (mode == WalkMode::kNextSibling) {
    snapshot_ = state_;
    siblingBefore_ = true;
    return step(false, element);
  }
  std::size_t count = 1;
  if (mode == WalkMode::kRestart || (mode == WalkMode::kToIndex && n < state_.passed)) {
    state_ = State();
    siblingBefore_ = false;
    count = n + 1;
  } else if (mode == WalkMode::kToIndex) {
    count = n + 1 - state_.passed;
  }
  if (siblingBefore_) {
    state_ = snapshot_;
    siblingBefore_ = false;
    ++count;
  }
  int code = 0;
  while (code == 0 && count-- > 0) code = step(true, element);
  return code;
}

int PlainWalker::step(bool descends, DerElement& element) {
  element = DerElement();
  element.depth = static_cast<std::uint32_t>(state_.levels.size() - 1);
  element.index = state_.levels.back().children;
  if (state_.position >= buffer_.size()) return wzapp::kDerEnd;
  if (const int code = readHeader(element); code != 0) return code;

  const auto header = static_cast<std::size_t>(element.headerLength);
  const auto content = static_cast<std::size_t>(element.contentLength);
  Level& level = state_.levels.back();
  if (element.constructed != 0 && (descends || content == kIndefiniteLength)) {
    if (content != 0 && state_.levels.size() == 25) return wzapp::kDerTooLong;
    ++level.children;
    level.consumed += header;
    state_.position += header;
    if (content != 0) state_.levels.push_back({content, 0, 0});
  } else {
    state_.position += header + content;
    level.consumed += header + content;
    const bool isMark = element.identifier == 0 && header == 2 && content == 0;
    if (isMark && state_.levels.size() > 1 && level.declared == kIndefiniteLength) {
      closeLevel();
    } else {
      ++level.children;
    }
  }
  while (state_.levels.size() > 1 && state_.levels.back().declared != kIndefiniteLength &&
         state_.levels.back().consumed >= state_.levels.back().declared) {
    closeLevel();
  }
  ++state_.passed;
  element.status = 0;
  return 0;
}

int PlainWalker::readHeader(DerElement& element) const {
  std::size_t position = state_.position;
  std::vector<std::uint8_t> octets;  // of the identifier
  const auto take = [&](std::uint8_t& octet) {
    if (position == buffer_.size()) return false;
    octet = buffer_[position++];
    return true;
  };
  std::uint8_t octet = 0;
  do {
    if (octets.size() == 3 || !take(octet)) return wzapp::kDerBadHeader;
    octets.push_back(octet);
  } while ((octets[0] & 0x1F) == 0x1F && (octets.size() == 1 || octet >= 0x80));
  std::int32_t number = octets[0] & 0x1F;
  if (octets.size() > 1) number = 0;
  for (std::size_t i = 1; i < octets.size(); ++i) number = number * 128 + octets[i] % 128;

  std::int32_t length = 0;
  if (!take(octet)) return wzapp::kDerBadHeader;
  if (octet < 0x80) length = octet;
  if (octet == 0x80) length = kIndefiniteLength;
  if (octet > 0x82) return wzapp::kDerBadHeader;
  for (int count = octet > 0x80 ? octet - 0x80 : 0; count > 0; --count) {
    if (!take(octet)) return wzapp::kDerBadHeader;
    length = 256 * length + octet;
    if (count == 1 && length >= kIndefiniteLength) return wzapp::kDerBadHeader;
  }

  element.buffer = buffer_;
  element.offset = state_.position;
  element.identifier = octets[0];
  element.constructed = octets[0] & 0x20U;
  element.classBits = octets[0] & 0xC0U;
  element.tagNumber = number;
  element.contentLength = length;
  element.headerLength = static_cast<std::int32_t>(position - state_.position);
  if (length == kIndefiniteLength) {
    return element.constructed != 0 ? 0 : wzapp::kDerIndefinitePrimitive;
  }
  const std::size_t left = buffer_.size() - position;
  return static_cast<std::size_t>(length) > left ? static_cast<int>(wzapp::kDerBadHeader) : 0;
}

void PlainWalker::closeLevel() {
  const std::size_t consumed = state_.levels.back().consumed;
  state_.levels.pop_back();
  state_.levels.back().consumed += consumed;
}

}  // namespace wzapp_test
