#include "verifier/element_walk.h"

namespace verifier {
namespace {

constexpr std::size_t kMostLevels = 25;
constexpr std::size_t kMostIdentifierOctets = 3;
constexpr std::size_t kLargestSize = 0x7FFE;
constexpr std::size_t kMostArcOctets = 5;

std::uint8_t octetAt(std::string_view octets, std::size_t position) {
  return static_cast<std::uint8_t>(octets[position]);
}

bool readIdentifier(std::string_view octets, std::size_t& position, Element& element) {
  if (position >= octets.size()) return false;
  element.identifier = octetAt(octets, position++);
  element.isConstructed = (element.identifier & 0x20) != 0;
  if ((element.identifier & 0x1F) != 0x1F) return true;
  for (std::size_t count = 2; count <= kMostIdentifierOctets; ++count) {
    if (position >= octets.size()) return false;
    if ((octetAt(octets, position++) & 0x80) == 0) return true;
  }
  return false;
}

bool readSize(std::string_view octets, std::size_t& position, Element& element) {
  if (position >= octets.size()) return false;
  const std::uint8_t first = octetAt(octets, position++);
  element.isIndefinite = first == 0x80;
  if (first <= 0x80) {
    element.size = first & 0x7F;
    return true;
  }
  const std::size_t count = first & 0x7FU;
  if (count > 2 || count > octets.size() - position) return false;
  for (std::size_t i = 0; i < count; ++i) {
    element.size = element.size << 8 | octetAt(octets, position++);
  }
  return element.size <= kLargestSize;
}

}  // namespace

std::optional<Element> elementAt(std::string_view octets, std::size_t position) {
  Element element;
  element.start = position;
  if (!readIdentifier(octets, position, element) || !readSize(octets, position, element)) {
    return std::nullopt;
  }
  element.header = position - element.start;
  if (element.size > octets.size() - position) return std::nullopt;
  return element;
}

ElementWalk::ElementWalk(std::string_view octets, std::size_t from)
    : octets_(octets), state_{from, {{true, 0, 0, 0}}, {}} {}

bool ElementWalk::next() {
  if (beforeSibling_) {
    // The sibling was passed over, and is entered after all.
    state_ = *beforeSibling_;
    beforeSibling_.reset();
    if (!step(true)) return false;
  }
  return step(true);
}

bool ElementWalk::nextSibling() {
  beforeSibling_ = state_;
  return step(false);
}

bool ElementWalk::find(int depth, int index) {
  if (!next()) return false;
  while (element().depth != depth || element().index != index) {
    if (!(depth > element().depth + 1 ? next() : nextSibling())) return false;
  }
  return true;
}

bool ElementWalk::step(bool enters) {
  if (state_.position >= octets_.size()) return false;
  const std::optional<Element> read = elementAt(octets_, state_.position);
  if (!read || (read->isIndefinite && !read->isConstructed)) return false;
  Element& element = state_.element;
  Level& level = state_.levels.back();
  element = *read;
  element.depth = static_cast<int>(state_.levels.size()) - 1;
  element.index = level.children;

  const bool isOutermost = state_.levels.size() == 1;
  const bool isEndOfContents = !isOutermost && level.isIndefinite && element.identifier == 0 &&
                               element.size == 0 && element.header == 2;
  if (isEndOfContents) {
    const std::size_t used = level.used + 2;
    state_.levels.pop_back();
    state_.levels.back().used += used;
    state_.position += 2;
  } else if (element.isConstructed && (enters || element.isIndefinite)) {
    ++level.children;
    level.used += element.header;
    state_.position += element.header;
    if (element.isIndefinite || element.size != 0) {
      if (state_.levels.size() == kMostLevels) return false;
      state_.levels.push_back({element.isIndefinite, element.size, 0, 0});
      return true;
    }
  } else {
    ++level.children;
    level.used += element.header + element.size;
    state_.position += element.header + element.size;
  }
  closeFullLevels();
  return true;
}

void ElementWalk::closeFullLevels() {
  std::vector<Level>& levels = state_.levels;
  while (levels.size() > 1 && !levels.back().isIndefinite &&
         levels.back().used >= levels.back().stated) {
    const std::size_t used = levels.back().used;
    levels.pop_back();
    levels.back().used += used;
  }
}

std::vector<Element> childrenOf(std::string_view octets, const Element& parent) {
  std::vector<Element> children;
  ElementWalk walk(octets, parent.start);
  if (!parent.isConstructed || (!parent.isIndefinite && parent.size == 0) || !walk.next()) {
    return children;
  }
  while (walk.nextSibling() && walk.element().depth > 0) {
    if (walk.element().depth > 1) continue;
    const bool isEnd = parent.isIndefinite && walk.element().identifier == 0;
    if (isEnd && walk.element().size == 0) break;
    children.push_back(walk.element());
  }
  return children;
}

std::optional<std::string> oidText(std::string_view content) {
  if (content.empty()) return std::nullopt;
  const unsigned first = octetAt(content, 0);
  const unsigned root = first >= 80 ? 2 : first / 40;
  std::string text = std::to_string(root) + "." + std::to_string(first - 40 * root);
  std::uint64_t arc = 0;
  std::size_t arcOctets = 0;
  for (std::size_t i = 1; i < content.size(); ++i) {
    if (++arcOctets > kMostArcOctets) return std::nullopt;
    arc = arc << 7 | (octetAt(content, i) & 0x7FU);
    if ((octetAt(content, i) & 0x80) != 0) continue;
    text += "." + std::to_string(arc);
    arc = 0;
    arcOctets = 0;
  }
  if (arcOctets != 0) return std::nullopt;
  return text;
}

bool isLongOid(std::string_view content) {
  std::size_t arcOctets = 0;
  for (std::size_t i = 1; i < content.size(); ++i) {
    if (++arcOctets > kMostArcOctets) return true;
    if ((octetAt(content, i) & 0x80) != 0) continue;
    arcOctets = 0;
    // What comes before the place where it breaks off counts.
    const std::optional<std::string> text = oidText(content.substr(0, i + 1));
    if (text && text->size() > kLongestOid) return true;
  }
  return false;
}

bool isOid(std::string_view content, std::string_view text) {
  // Longer content cannot be 30 characters; each arc of its own takes a full stop and a digit.
  if (content.empty() || content.size() > kLongestOid * kMostArcOctets) return false;
  const std::optional<std::string> found = oidText(content);
  return found && found->size() <= kLongestOid && *found == text;
}

std::optional<std::int32_t> smallInteger(std::string_view content) {
  if (content.empty() || content.size() > 4) return std::nullopt;
  std::int64_t value = octetAt(content, 0) >= 0x80 ? -1 : 0;
  for (std::size_t i = 0; i < content.size(); ++i) value = value * 256 + octetAt(content, i);
  return static_cast<std::int32_t>(value);
}

}  // namespace verifier
