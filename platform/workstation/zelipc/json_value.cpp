#include "workstation/zelipc/json_value.h"

#include <cstring>
#include <new>
#include <utility>

namespace zelipc {

JSObject::Value::Value(unsigned onLevel) noexcept : level(static_cast<std::uint16_t>(onLevel)) {}

JSObject::Value::Value(Value&& source) noexcept : level(source.level) { swap(source); }

JSObject::Value::~Value() { release(); }

JSObject::Value& JSObject::Value::of(JSObject& object) {
  if (object.value_ == nullptr) {
    object.value_ = new Value(kRootLevel);
    object.value_->setObject();
  }
  return *object.value_;
}

void JSObject::Value::clear(JSObject& object) {
  if (object.value_ == nullptr) return;
  Value empty = copy(nullptr, object.value_->level);
  object.value_->swap(empty);
}

JSObject::Value JSObject::Value::copy(const Value* source, unsigned level) {
  Value target(level);
  if (source != nullptr) {
    target.fill(*source);
  } else if (target.mayHoldOthers()) {
    target.setObject();
  }
  return target;
}

// The two steps that recurse stand apart to keep their frames small.
void JSObject::Value::fill(const Value& source) {
  if (source.type_ == Type::kArray) return fillArray(source);
  if (source.type_ == Type::kObject) return fillObject(source);
  assignSimple(source);
}

void JSObject::Value::fillObject(const Value& source) {
  if (!mayHoldOthers()) return;
  setObject();
  const Member* member = source.firstMember();
  for (; member != nullptr; member = source.memberAfter(*member)) {
    add(member->name()).value.fill(member->cell.value);
  }
}

void JSObject::Value::setNull() noexcept {
  release();
  type_ = Type::kNull;
}

void JSObject::Value::set(bool value) noexcept {
  release();
  type_ = Type::kBool;
  content_.boolean = value;
}

void JSObject::Value::set(long long value) noexcept {
  release();
  type_ = Type::kInteger;
  content_.integer = value;
}

void JSObject::Value::set(double value) noexcept {
  release();
  type_ = Type::kReal;
  content_.real = value;
}

// The text may be this value's own.
void JSObject::Value::set(std::string_view value) {
  if (value.size() > kMaxCount) throw std::bad_alloc();
  char* octets = nullptr;
  if (!value.empty()) {
    octets = static_cast<char*>(::operator new(value.size()));
    std::memcpy(octets, value.data(), value.size());
  }
  release();
  type_ = Type::kText;
  count_ = static_cast<std::uint32_t>(value.size());
  content_.text = octets;
}

void JSObject::Value::setArray() noexcept {
  release();
  type_ = Type::kArray;
  content_.cells = nullptr;
}

void JSObject::Value::setObject() noexcept {
  release();
  type_ = Type::kObject;
  content_.lastMember = nullptr;
}

void JSObject::Value::swap(Value& source) noexcept {
  std::swap(type_, source.type_);
  std::swap(isLarge_, source.isLarge_);
  std::swap(count_, source.count_);
  std::swap(content_, source.content_);
}

void JSObject::Value::assignSimple(const Value& source) {
  switch (source.type_) {
    case Type::kBool:
      return set(source.boolean());
    case Type::kInteger:
      return set(source.integer());
    case Type::kReal:
      return set(source.real());
    case Type::kText:
      return set(source.text());
    case Type::kNull:
    case Type::kArray:
    case Type::kObject:
    case Type::kOverflow:
      return setNull();
  }
}

JSObject& JSObject::Value::overflow(JSObject& self) {
  if (level > kMaxLevel + 1) {  // already lost
    setNull();
    return self;
  }
  Cell* const below = new Cell(level + 1U);
  release();
  type_ = Type::kOverflow;
  content_.overflow = below;
  return below->object;
}

// Gives back what belongs to the value; what is left is no value before it gets a type.
void JSObject::Value::release() noexcept {
  if (type_ == Type::kText) ::operator delete(content_.text);
  if (type_ == Type::kArray) releaseArray();
  if (type_ == Type::kObject) releaseMembers();
  if (type_ == Type::kOverflow) delete content_.overflow;
  isLarge_ = false;
  count_ = 0;
}

const JSObject& JSObject::Value::sharedNull() {
  alignas(Cell) static unsigned char place[sizeof(Cell)];
  static const Cell* const cell = new (place) Cell(kRootLevel);
  return cell->object;
}

JSObject::Value::Cell::Cell(unsigned level) noexcept : value(level) { object.value_ = &value; }

// The object would delete its value, which is part of this cell.
JSObject::Value::Cell::~Cell() { object.value_ = nullptr; }

}  // namespace zelipc
