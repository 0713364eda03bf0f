// The members of JSObject but for reading and writing JSON text, and what may be relied upon beyond
// the public header:
//
// - Members keep the order in which their names first appeared; of two with one name in a text the
//   last counts. A reference to a member or element stays good while others are added, until what
//   holds it is assigned to, parsed into, made something else or destroyed. A value may be assigned
//   its own part, or become its own part.
// - Arrays and objects nest 512 levels deep at most. A deeper text is refused. What code puts
// deeper
//   is lost: of a copied value it becomes null, and `[]` and `append` there give a place that
//   belongs to nothing.
// - Integers are those of long long; a literal beyond, or with fraction or exponent, is a double,
//   and one beyond all doubles the largest of them. asInt() of a double gives its integer part, or
//   the nearest integer that there is.
// - Texts are any octets. dump() writes what is not UTF-8 as U+FFFD, and infinities and NaN as
// null.
//   A text that parse() takes is UTF-8 (without octet order mark); the escape of half a surrogate
//   pair reads as U+FFFD.
// - Several threads may read one value. What has no memory throws std::bad_alloc and leaves the
//   value as it was; parse() too: a good text must not pass for a malformed one.
//
// No Value at all stands for {}, so that a JSObject which is only made to be assigned to costs no
// allocation.

#include <cmath>
#include <limits>
#include <utility>

#include "workstation/zelipc/json_value.h"

namespace zelipc {
namespace {

// The integer part of `real`, or the nearest integer that there is.
long long toInteger(double real) {
  using Limits = std::numeric_limits<long long>;
  constexpr double kBeyond = 9223372036854775808.0;  // 2^63
  if (std::isnan(real)) return 0;
  if (real >= kBeyond) return Limits::max();
  if (real < -kBeyond) return Limits::min();
  return static_cast<long long>(real);
}

}  // namespace

JSObject::JSObject() : value_(nullptr) {}
JSObject::JSObject(bool value) : value_(new Value(Value::kRootLevel)) { value_->set(value); }
JSObject::JSObject(int value) : JSObject(static_cast<long long>(value)) {}
JSObject::JSObject(long long value) : value_(new Value(Value::kRootLevel)) { value_->set(value); }
JSObject::JSObject(double value) : value_(new Value(Value::kRootLevel)) { value_->set(value); }

// No text at all, a null pointer, is null.
JSObject::JSObject(const char* value) : value_(nullptr) {
  Value text(Value::kRootLevel);
  if (value != nullptr) text.set(std::string_view(value));
  value_ = new Value(std::move(text));
}

JSObject::JSObject(const std::string& value) : value_(nullptr) {
  Value text(Value::kRootLevel);
  text.set(std::string_view(value));
  value_ = new Value(std::move(text));
}

JSObject::JSObject(const JSObject& other)
    : value_(other.value_ == nullptr ? nullptr
                                     : new Value(Value::copy(other.value_, Value::kRootLevel))) {}

JSObject& JSObject::operator=(const JSObject& other) {
  if (this == &other || (value_ == nullptr && other.value_ == nullptr)) return *this;
  if (other.value_ != nullptr && !other.value_->isContainer()) {
    Value::of(*this).assignSimple(*other.value_);
    return *this;
  }
  const unsigned level = value_ == nullptr ? Value::kRootLevel : value_->level;
  Value content = Value::copy(other.value_, level);  // `other` may be part of this value
  Value::of(*this).swap(content);
  return *this;
}

JSObject::~JSObject() { delete value_; }

JSObject JSObject::array() {
  JSObject array;
  array.value_ = new Value(Value::kRootLevel);
  array.value_->setArray();
  return array;
}

bool JSObject::isNull() const { return value_ != nullptr && value_->isNull(); }
bool JSObject::isBool() const { return Value::get(*this, Value::Type::kBool) != nullptr; }
bool JSObject::isInt() const { return Value::get(*this, Value::Type::kInteger) != nullptr; }
bool JSObject::isNumber() const {
  return isInt() || Value::get(*this, Value::Type::kReal) != nullptr;
}
bool JSObject::isString() const { return Value::get(*this, Value::Type::kText) != nullptr; }
bool JSObject::isArray() const { return Value::get(*this, Value::Type::kArray) != nullptr; }
bool JSObject::isObject() const {
  return value_ == nullptr || Value::get(*this, Value::Type::kObject) != nullptr;
}

bool JSObject::asBool() const {
  const Value* const boolean = Value::get(*this, Value::Type::kBool);
  return boolean != nullptr && boolean->boolean();
}

long long JSObject::asInt() const {
  if (const Value* const integer = Value::get(*this, Value::Type::kInteger))
    return integer->integer();
  return toInteger(asDouble());
}

double JSObject::asDouble() const {
  if (const Value* const real = Value::get(*this, Value::Type::kReal)) return real->real();
  const Value* const integer = Value::get(*this, Value::Type::kInteger);
  return integer == nullptr ? 0 : static_cast<double>(integer->integer());
}

std::string JSObject::asString() const {
  const Value* const text = Value::get(*this, Value::Type::kText);
  return text == nullptr ? std::string() : std::string(text->text());
}

std::size_t JSObject::size() const {
  return value_ == nullptr || !value_->isContainer() ? 0 : value_->size();
}

bool JSObject::has(const std::string& key) const {
  const Value* const object = Value::get(*this, Value::Type::kObject);
  return object != nullptr && object->find(key) != nullptr;
}

std::vector<std::string> JSObject::keys() const {
  std::vector<std::string> names;
  const Value* const object = Value::get(*this, Value::Type::kObject);
  if (object == nullptr) return names;
  names.reserve(object->size());
  const Value::Member* member = object->firstMember();
  for (; member != nullptr; member = object->memberAfter(*member)) {
    names.emplace_back(member->name());
  }
  return names;
}

const JSObject& JSObject::operator[](const std::string& key) const {
  const Value* const object = Value::get(*this, Value::Type::kObject);
  const Value::Cell* const member = object == nullptr ? nullptr : object->find(key);
  return member == nullptr ? Value::sharedNull() : member->object;
}

JSObject& JSObject::operator[](const std::string& key) {
  Value& value = Value::of(*this);
  if (!value.mayHoldOthers()) return value.overflow(*this);
  if (!isObject()) value.setObject();
  return value.findOrAdd(key).object;
}

const JSObject& JSObject::at(std::size_t index) const {
  const Value* const array = Value::get(*this, Value::Type::kArray);
  if (array == nullptr || index >= array->size()) return Value::sharedNull();
  return array->element(index).object;
}

JSObject& JSObject::append(const JSObject& value) {
  Value& self = Value::of(*this);
  if (!self.mayHoldOthers()) return self.overflow(*this) = value;
  Value content = Value::copy(value.value_, self.level + 1U);  // may be part of this value
  if (!isArray()) self.setArray();
  Value::Cell& element = self.append();
  element.value.swap(content);
  return element.object;
}

}  // namespace zelipc
