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
JSObject::JSObject(bool value) : value_(new Value(Value::kRootLevel, value)) {}
JSObject::JSObject(int value) : JSObject(static_cast<long long>(value)) {}
JSObject::JSObject(long long value) : value_(new Value(Value::kRootLevel, value)) {}
JSObject::JSObject(double value) : value_(new Value(Value::kRootLevel, value)) {}

// No text at all, a null pointer, is null.
JSObject::JSObject(const char* value)
    : value_(value == nullptr ? new Value(Value::kRootLevel)
                              : new Value(Value::kRootLevel, std::string(value))) {}

JSObject::JSObject(const std::string& value) : value_(new Value(Value::kRootLevel, value)) {}

JSObject::JSObject(const JSObject& other)
    : value_(other.value_ == nullptr
                 ? nullptr
                 : new Value(Value::kRootLevel, Value::copy(other.value_, Value::kRootLevel))) {}

JSObject& JSObject::operator=(const JSObject& other) {
  if (this == &other || (value_ == nullptr && other.value_ == nullptr)) return *this;
  if (other.value_ != nullptr && !other.value_->isContainer()) {
    Value::of(*this).assignSimple(*other.value_);
    return *this;
  }
  const unsigned level = value_ == nullptr ? Value::kRootLevel : value_->level;
  Value::Content content = Value::copy(other.value_, level);  // `other` may be part of this value
  Value::of(*this).content = std::move(content);
  return *this;
}

JSObject::~JSObject() { delete value_; }

JSObject JSObject::array() {
  JSObject array;
  array.value_ = new Value(Value::kRootLevel, Value::Array());
  return array;
}

bool JSObject::isNull() const { return value_ != nullptr && value_->isNull(); }
bool JSObject::isBool() const { return Value::get<bool>(*this) != nullptr; }
bool JSObject::isInt() const { return Value::get<long long>(*this) != nullptr; }
bool JSObject::isNumber() const { return isInt() || Value::get<double>(*this) != nullptr; }
bool JSObject::isString() const { return Value::get<std::string>(*this) != nullptr; }
bool JSObject::isArray() const { return Value::get<Value::Array>(*this) != nullptr; }
bool JSObject::isObject() const {
  return value_ == nullptr || Value::get<Value::Members>(*this) != nullptr;
}

bool JSObject::asBool() const {
  const auto* const boolean = Value::get<bool>(*this);
  return boolean != nullptr && *boolean;
}

long long JSObject::asInt() const {
  if (const auto* const integer = Value::get<long long>(*this)) return *integer;
  return toInteger(asDouble());
}

double JSObject::asDouble() const {
  if (const auto* const real = Value::get<double>(*this)) return *real;
  const auto* const integer = Value::get<long long>(*this);
  return integer == nullptr ? 0 : static_cast<double>(*integer);
}

std::string JSObject::asString() const {
  const auto* const text = Value::get<std::string>(*this);
  return text == nullptr ? std::string() : *text;
}

std::size_t JSObject::size() const {
  if (const auto* const array = Value::get<Value::Array>(*this)) return array->size();
  const auto* const members = Value::get<Value::Members>(*this);
  return members == nullptr ? 0 : members->size();
}

bool JSObject::has(const std::string& key) const {
  const auto* const members = Value::get<Value::Members>(*this);
  return members != nullptr && members->find(key) != nullptr;
}

std::vector<std::string> JSObject::keys() const {
  std::vector<std::string> names;
  const auto* const members = Value::get<Value::Members>(*this);
  if (members == nullptr) return names;
  names.reserve(members->size());
  for (const Value::Member& member : members->all()) names.push_back(member.name);
  return names;
}

const JSObject& JSObject::operator[](const std::string& key) const {
  const auto* const members = Value::get<Value::Members>(*this);
  const Value::Cell* const member = members == nullptr ? nullptr : members->find(key);
  return member == nullptr ? Value::sharedNull() : member->object;
}

JSObject& JSObject::operator[](const std::string& key) {
  Value& value = Value::of(*this);
  if (!value.mayHoldOthers()) return value.overflow(*this);
  if (!isObject()) value.content = Value::Members();
  return std::get<Value::Members>(value.content).findOrAdd(key, value.level + 1).object;
}

const JSObject& JSObject::at(std::size_t index) const {
  const auto* const array = Value::get<Value::Array>(*this);
  if (array == nullptr || index >= array->size()) return Value::sharedNull();
  return (*array)[index].object;
}

JSObject& JSObject::append(const JSObject& value) {
  Value& self = Value::of(*this);
  if (!self.mayHoldOthers()) return self.overflow(*this) = value;
  Value::Content content = Value::copy(value.value_, self.level + 1);  // may be part of this value
  if (!isArray()) self.content = Value::Array();
  Value::Cell& element = std::get<Value::Array>(self.content).add(self.level + 1);
  element.value.content = std::move(content);
  return element.object;
}

}  // namespace zelipc
