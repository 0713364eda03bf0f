// A JSON value that can be built and written, but reads nothing.

#include <map>
#include <string>
#include <vector>

#include "zelipc/zelipc.h"

namespace zelipc {

struct JSObject::Value {
  enum Kind { kNull, kBool, kInt, kDouble, kString, kArray, kObject } kind = kObject;
  long long integer = 0;
  double real = 0;
  std::string text;
  std::vector<JSObject> elements;
  std::map<std::string, JSObject> members;
};

namespace {

const JSObject& nullValue() {
  static const JSObject* const kNull = [] {
    JSObject holder;
    return new JSObject(holder["null"]);
  }();
  return *kNull;
}

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') result += '\\';
    if (c == '\n') {
      result += "\\n";
    } else {
      result += c;
    }
  }
  return result + '"';
}

}  // namespace

JSObject::JSObject() : value_(new Value) {}
JSObject::JSObject(bool value) : JSObject() {
  value_->kind = Value::kBool;
  value_->integer = value ? 1 : 0;
}
JSObject::JSObject(int value) : JSObject(static_cast<long long>(value)) {}
JSObject::JSObject(long long value) : JSObject() {
  value_->kind = Value::kInt;
  value_->integer = value;
}
JSObject::JSObject(double value) : JSObject() {
  value_->kind = Value::kDouble;
  value_->real = value;
}
JSObject::JSObject(const char* value) : JSObject(std::string(value)) {}
JSObject::JSObject(const std::string& value) : JSObject() {
  value_->kind = Value::kString;
  value_->text = value;
}
JSObject::JSObject(const JSObject& other) : value_(new Value(*other.value_)) {}
JSObject& JSObject::operator=(const JSObject& other) {
  if (this == &other) return *this;
  Value* const copy = new Value(*other.value_);
  delete value_;
  value_ = copy;
  return *this;
}
JSObject::~JSObject() { delete value_; }

JSObject JSObject::array() {
  JSObject result;
  result.value_->kind = Value::kArray;
  return result;
}

bool JSObject::isNull() const { return value_->kind == Value::kNull; }
bool JSObject::isBool() const { return value_->kind == Value::kBool; }
bool JSObject::isInt() const { return value_->kind == Value::kInt; }
bool JSObject::isNumber() const { return isInt() || value_->kind == Value::kDouble; }
bool JSObject::isString() const { return value_->kind == Value::kString; }
bool JSObject::isArray() const { return value_->kind == Value::kArray; }
bool JSObject::isObject() const { return value_->kind == Value::kObject; }

bool JSObject::asBool() const { return isBool() && value_->integer != 0; }
long long JSObject::asInt() const { return isInt() ? value_->integer : 0; }
double JSObject::asDouble() const { return value_->real; }
std::string JSObject::asString() const { return isString() ? value_->text : ""; }

std::size_t JSObject::size() const { return value_->elements.size() + value_->members.size(); }
bool JSObject::has(const std::string& key) const { return value_->members.count(key) != 0; }

std::vector<std::string> JSObject::keys() const {
  std::vector<std::string> result;
  for (const auto& [key, value] : value_->members) result.push_back(key);
  return result;
}

const JSObject& JSObject::operator[](const std::string& key) const {
  const auto found = value_->members.find(key);
  return found == value_->members.end() ? nullValue() : found->second;
}

JSObject& JSObject::operator[](const std::string& key) {
  value_->kind = Value::kObject;
  const auto [place, isNew] = value_->members.try_emplace(key);
  if (isNew) place->second.value_->kind = Value::kNull;
  return place->second;
}

const JSObject& JSObject::at(std::size_t index) const {
  return index < value_->elements.size() ? value_->elements[index] : nullValue();
}

JSObject& JSObject::append(const JSObject& value) {
  value_->kind = Value::kArray;
  value_->elements.push_back(value);
  return value_->elements.back();
}

int JSObject::parse(const char*) {
  *this = JSObject();
  return -1;
}

std::string JSObject::dump() const {
  std::string text;
  switch (value_->kind) {
    case Value::kNull:
      return "null";
    case Value::kBool:
      return value_->integer != 0 ? "true" : "false";
    case Value::kInt:
      return std::to_string(value_->integer);
    case Value::kDouble:
      return std::to_string(value_->real);
    case Value::kString:
      return quoted(value_->text);
    case Value::kArray:
      for (const JSObject& element : value_->elements) {
        text += (text.empty() ? "" : ",") + element.dump();
      }
      return '[' + text + ']';
    case Value::kObject:
      for (const auto& [key, member] : value_->members) {
        text += (text.empty() ? "" : ",") + quoted(key) + ':' + member.dump();
      }
      return '{' + text + '}';
  }
  return text;
}

}  // namespace zelipc
