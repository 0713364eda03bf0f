// The members of a `Value` that is an object: a ring in the order in which their names first
// appeared, and an index of the names once there are many.

#include <memory>
#include <new>
#include <set>

#include "workstation/zelipc/json_value.h"

namespace zelipc {
namespace {

// Fewer are found fast enough by looking at each, and an index doubles what a member takes. So many
// must have names of more than one octet, and so longer texts.
constexpr std::size_t kIndexedFrom = 128;

}  // namespace

struct JSObject::Value::IndexedMembers {
  struct ByName {
    using is_transparent = void;
    static std::string_view nameOf(const Member* member) { return member->name(); }
    static std::string_view nameOf(std::string_view name) { return name; }
    template <class One, class Other>
    bool operator()(const One& one, const Other& other) const {
      return nameOf(one) < nameOf(other);
    }
  };

  Member* last;
  std::set<const Member*, ByName> byName;
};

JSObject::Value::Member* JSObject::Value::Member::make(std::string_view name, unsigned level) {
  if (name.size() > kMaxCount) throw std::bad_alloc();
  void* const place = ::operator new(sizeof(Member) + name.size());
  auto* const member = new (place) Member(level, name.size());
  name.copy(static_cast<char*>(place) + member->nameOffset(), name.size());
  return member;
}

void JSObject::Value::Member::destroy(const Member* member) noexcept {
  member->~Member();
  ::operator delete(const_cast<Member*>(member));
}

std::string_view JSObject::Value::Member::name() const {
  return {reinterpret_cast<const char*>(this) + nameOffset(), nameSize};
}

// From the beginning of the member: right behind the last thing in it, where its own padding would
// be.
std::size_t JSObject::Value::Member::nameOffset() const {
  const auto* const end = reinterpret_cast<const char*>(&nameSize) + sizeof nameSize;
  return static_cast<std::size_t>(end - reinterpret_cast<const char*>(this));
}

JSObject::Value::Member* JSObject::Value::lastMember() const {
  return isLarge_ ? content_.indexed->last : content_.lastMember;
}

const JSObject::Value::Member* JSObject::Value::firstMember() const {
  const Member* const last = lastMember();
  return last == nullptr ? nullptr : last->next;
}

const JSObject::Value::Member* JSObject::Value::memberAfter(const Member& member) const {
  return &member == lastMember() ? nullptr : member.next;
}

const JSObject::Value::Cell* JSObject::Value::find(std::string_view name) const {
  if (isLarge_) {
    const auto& members = content_.indexed->byName;
    const auto found = members.find(name);
    return found == members.end() ? nullptr : &(*found)->cell;
  }
  const Member* member = firstMember();
  for (; member != nullptr; member = memberAfter(*member)) {
    if (member->name() == name) return &member->cell;
  }
  return nullptr;
}

JSObject::Value::Cell& JSObject::Value::findOrAdd(std::string_view name) {
  const Cell* const found = find(name);
  return found != nullptr ? const_cast<Cell&>(*found) : add(name);
}

JSObject::Value::Cell& JSObject::Value::add(std::string_view name) {
  if (count_ == kMaxCount) throw std::bad_alloc();
  if (count_ + 1 == kIndexedFrom) indexMembers();
  Member* const member = Member::make(name, level + 1U);
  if (isLarge_) {
    try {
      content_.indexed->byName.insert(member);
    } catch (...) {
      Member::destroy(member);
      throw;
    }
  }
  link(member);
  return member->cell;
}

// Behind the last one.
void JSObject::Value::link(Member* member) noexcept {
  Member* const last = lastMember();
  if (last != nullptr) {
    member->next = last->next;
    last->next = member;
  }
  (isLarge_ ? content_.indexed->last : content_.lastMember) = member;
  ++count_;
}

void JSObject::Value::indexMembers() {
  if (isLarge_) return;
  auto indexed = std::make_unique<IndexedMembers>();
  indexed->last = content_.lastMember;
  for (const Member* member = firstMember(); member != nullptr; member = memberAfter(*member)) {
    indexed->byName.insert(member);
  }
  content_.indexed = indexed.release();
  isLarge_ = true;
}

void JSObject::Value::releaseMembers() noexcept {
  const Member* member = firstMember();
  while (member != nullptr) {
    const Member* const next = memberAfter(*member);
    Member::destroy(member);
    member = next;
  }
  if (isLarge_) delete content_.indexed;
}

}  // namespace zelipc
