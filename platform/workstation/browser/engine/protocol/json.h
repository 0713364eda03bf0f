/// JSON on the way to and from the browser (RFC 8259), over RapidJSON.
///
/// Text written is always well-formed UTF-8 whatever the strings hold; text read may hold lone
/// surrogates, as page scripts can make them, and reads with U+FFFD in their place.
#ifndef WORKSTATION_BROWSER_ENGINE_JSON_H
#define WORKSTATION_BROWSER_ENGINE_JSON_H

#include <rapidjson/document.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace workstation {

using JsonValue = rapidjson::Value;
using JsonDocument = rapidjson::Document;

/// Reads one JSON text. False for anything malformed; nesting costs heap, never stack.
[[nodiscard]] bool parseJson(std::string text, JsonDocument& document);

/// Replaces each escaped half of a surrogate pair in a JSON text by an escaped U+FFFD.
void repairSurrogates(std::string& json);

/// The shared null.
const JsonValue& jsonNull();

/// The member `name` of an object; a shared null for anything else.
const JsonValue& jsonMember(const JsonValue& object, const char* name);

/// The text of a string, NULs included; empty for any other value.
std::string jsonString(const JsonValue& value);
std::string jsonString(const JsonValue& object, const char* name);

/// A number as an int; `other` for any other value and for what does not fit.
int jsonInt(const JsonValue& object, const char* name, int other);

/// False unless true.
bool jsonBool(const JsonValue& object, const char* name);

/// `text` as a JSON string literal, quotes included. Octets that are no UTF-8 become U+FFFD.
std::string jsonQuote(std::string_view text);

/// A value as compact JSON text.
std::string jsonText(const JsonValue& value);

/// Builds the text of one JSON object, member by member.
class JsonObject {
 public:
  JsonObject() = default;
  /// Begins with the members of `object`, which is one.
  explicit JsonObject(const JsonValue& object);
  JsonObject& add(std::string_view name, std::string_view value);
  JsonObject& add(std::string_view name, const char* value);
  JsonObject& add(std::string_view name, long long value);
  JsonObject& add(std::string_view name, int value);
  JsonObject& add(std::string_view name, bool value);
  /// A value that is JSON text already.
  JsonObject& addRaw(std::string_view name, std::string_view json);

  std::string text() const { return text_ + '}'; }
  std::size_t size() const { return text_.size() + 1; }

 private:
  void beginMember(std::string_view name);

  std::string text_ = "{";
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_JSON_H
