#include "installer/name_table.h"

#include <cstring>
#include <functional>

namespace wzapp {
namespace {

using Length = std::uint32_t;

constexpr std::size_t kFirstSlots = 16;

}  // namespace

NameTable::Number NameTable::numberOf(std::string_view name) {
  if (isFull()) grow();
  Slot& slot = slots_[slotOf(name)];
  if (slot == kEmpty) {
    names_.push_back(keep(name));
    slot = static_cast<Slot>(names_.size() - 1);
  }
  return slot;
}

std::optional<NameTable::Number> NameTable::find(std::string_view name) const {
  if (slots_.empty()) return std::nullopt;
  const Slot slot = slots_[slotOf(name)];
  if (slot == kEmpty) return std::nullopt;
  return slot;
}

std::string_view NameTable::nameOf(Number number) const {
  const char* const text = names_[number];
  Length length = 0;
  std::memcpy(&length, text, sizeof length);
  return {text + sizeof length, length};
}

// The slot in which the name is, or in which it would be. There is always an empty one.
std::size_t NameTable::slotOf(std::string_view name) const {
  const std::size_t mask = slots_.size() - 1;
  std::size_t at = std::hash<std::string_view>()(name) & mask;
  while (slots_[at] != kEmpty && nameOf(slots_[at]) != name) at = (at + 1) & mask;
  return at;
}

// Three quarters are few enough for names to be close to where their hash tells.
bool NameTable::isFull() const { return names_.size() >= slots_.size() / 4 * 3; }

// No name is compared: all are different.
void NameTable::grow() {
  std::vector<Slot> slots(slots_.empty() ? kFirstSlots : 2 * slots_.size(), kEmpty);
  const std::size_t mask = slots.size() - 1;
  for (Number number = 0; number < names_.size(); ++number) {
    std::size_t at = std::hash<std::string_view>()(nameOf(number)) & mask;
    while (slots[at] != kEmpty) at = (at + 1) & mask;
    slots[at] = number;
  }
  slots_ = std::move(slots);
}

const char* NameTable::keep(std::string_view name) {
  const auto length = static_cast<Length>(name.size());  // of a manifest, which is far shorter
  auto* const text = static_cast<char*>(texts_.allocate(sizeof length + name.size() + 1, 1));
  std::memcpy(text, &length, sizeof length);
  name.copy(text + sizeof length, name.size());
  text[sizeof length + name.size()] = '\0';
  return text;
}

}  // namespace wzapp
