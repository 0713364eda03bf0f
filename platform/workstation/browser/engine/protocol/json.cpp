#include "workstation/browser/engine/protocol/json.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstddef>
#include <cstdint>

#include "workstation/browser/engine/protocol/utf8.h"

namespace workstation {
namespace {

// Value of the four hexadecimal digits at `position`, or -1.
int hexUnit(const std::string& text, std::size_t position) {
  if (text.size() - position < 4) return -1;
  int unit = 0;
  for (std::size_t i = position; i < position + 4; ++i) {
    const char c = text[i];
    int digit = -1;
    if (c >= '0' && c <= '9') digit = c - '0';
    if (c >= 'a' && c <= 'f') digit = c - 'a' + 10;
    if (c >= 'A' && c <= 'F') digit = c - 'A' + 10;
    if (digit < 0) return -1;
    unit = unit * 16 + digit;
  }
  return unit;
}

bool isHighSurrogate(int unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool isLowSurrogate(int unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

}  // namespace

// A reader refuses a text for one escaped half of a surrogate pair, which a page can put anywhere.
// Outside of strings a JSON text holds no backslash, so escapes can be walked without reading it.
void repairSurrogates(std::string& text) {
  std::size_t at = text.find('\\');
  while (at != std::string::npos && at + 1 < text.size()) {
    if (text[at + 1] != 'u') {
      at = text.find('\\', at + 2);
      continue;
    }
    const int unit = hexUnit(text, at + 2);
    if (isHighSurrogate(unit) && text.compare(at + 6, 2, "\\u") == 0 &&
        isLowSurrogate(hexUnit(text, at + 8))) {
      at = text.find('\\', at + 12);
      continue;
    }
    if (isHighSurrogate(unit) || isLowSurrogate(unit)) text.replace(at + 2, 4, "fffd");
    at = text.find('\\', at + 2);
  }
}

bool parseJson(std::string text, JsonDocument& document) {
  repairSurrogates(text);
  document.Parse<rapidjson::kParseIterativeFlag>(text.data(), text.size());
  return !document.HasParseError();
}

const JsonValue& jsonNull() {
  // Never destroyed: threads may still ask while the process ends.
  static const auto* const kNull = new JsonValue;
  return *kNull;
}

const JsonValue& jsonMember(const JsonValue& object, const char* name) {
  if (!object.IsObject()) return jsonNull();
  const auto member = object.FindMember(name);
  return member == object.MemberEnd() ? jsonNull() : member->value;
}

std::string jsonString(const JsonValue& value) {
  return value.IsString() ? std::string(value.GetString(), value.GetStringLength()) : std::string();
}

std::string jsonString(const JsonValue& object, const char* name) {
  return jsonString(jsonMember(object, name));
}

int jsonInt(const JsonValue& object, const char* name, int other) {
  const JsonValue& value = jsonMember(object, name);
  return value.IsInt() ? value.GetInt() : other;
}

bool jsonBool(const JsonValue& object, const char* name) {
  const JsonValue& value = jsonMember(object, name);
  return value.IsBool() && value.GetBool();
}

std::string jsonQuote(std::string_view text) {
  static const char kHex[] = "0123456789abcdef";
  const std::string valid = wellFormed(text);
  std::string quoted;
  quoted.reserve(valid.size() + 2);
  quoted += '"';
  for (const char c : valid) {
    const auto octet = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      quoted += '\\';
      quoted += c;
    } else if (octet < 0x20 || octet == 0x7F) {
      quoted += "\\u00";
      quoted += kHex[octet >> 4];
      quoted += kHex[octet & 15];
    } else {
      quoted += c;
    }
  }
  quoted += '"';
  return quoted;
}

std::string jsonText(const JsonValue& value) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  value.Accept(writer);
  return {buffer.GetString(), buffer.GetSize()};
}

JsonObject::JsonObject(const JsonValue& object) : text_(jsonText(object)) { text_.pop_back(); }

void JsonObject::beginMember(std::string_view name) {
  if (text_.size() > 1) text_ += ',';
  text_ += jsonQuote(name);
  text_ += ':';
}

JsonObject& JsonObject::add(std::string_view name, std::string_view value) {
  beginMember(name);
  text_ += jsonQuote(value);
  return *this;
}

JsonObject& JsonObject::add(std::string_view name, const char* value) {
  return add(name, std::string_view(value));
}

JsonObject& JsonObject::add(std::string_view name, long long value) {
  return addRaw(name, std::to_string(value));
}

JsonObject& JsonObject::add(std::string_view name, int value) {
  return addRaw(name, std::to_string(value));
}

JsonObject& JsonObject::add(std::string_view name, bool value) {
  return addRaw(name, value ? "true" : "false");
}

JsonObject& JsonObject::addRaw(std::string_view name, std::string_view json) {
  beginMember(name);
  text_ += json;
  return *this;
}

}  // namespace workstation
