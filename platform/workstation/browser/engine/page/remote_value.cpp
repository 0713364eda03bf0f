#include "workstation/browser/engine/page/remote_value.h"

#include <string_view>
#include <vector>

namespace workstation {
namespace {

std::string numberText(const JsonValue& value) {
  if (value.IsInt64()) return std::to_string(value.GetInt64());
  std::string text = std::to_string(value.GetDouble());
  text.erase(text.find_last_not_of('0') + 1);
  if (!text.empty() && text.back() == '.') text.pop_back();
  return text;
}

// Whether the preview lists what the object holds. Of the others the description tells more.
bool isContainer(const JsonValue& preview) {
  const std::string subtype = jsonString(preview, "subtype");
  constexpr std::string_view kContainers[] = {"", "array", "typedarray", "map", "set"};
  for (const std::string_view container : kContainers) {
    if (subtype == container) return true;
  }
  return false;
}

std::string previewText(const JsonValue& preview);

// Of a map or set: the entries' previews are values by themselves.
std::string entryText(const JsonValue& entry) {
  const auto text = [](const JsonValue& value) {
    const std::string plain = jsonString(value, "description");
    if (jsonString(value, "type") == "string") return jsonQuote(plain);
    return jsonString(value, "type") == "object" ? previewText(value) : plain;
  };
  const std::string value = text(jsonMember(entry, "value"));
  const JsonValue& key = jsonMember(entry, "key");
  return key.IsNull() ? value : text(key) + " => " + value;
}

std::vector<std::string> partsOf(const JsonValue& preview, bool isArray) {
  std::vector<std::string> parts;
  const JsonValue& entries = jsonMember(preview, "entries");
  if (entries.IsArray()) {
    for (const JsonValue& entry : entries.GetArray()) parts.push_back(entryText(entry));
    return parts;
  }
  const JsonValue& properties = jsonMember(preview, "properties");
  if (!properties.IsArray()) return parts;
  for (const JsonValue& property : properties.GetArray()) {
    const std::string value = previewValueText(property);
    parts.push_back(isArray ? value : jsonString(property, "name") + ": " + value);
  }
  return parts;
}

std::string previewText(const JsonValue& preview) {
  std::string description = jsonString(preview, "description");
  if (!isContainer(preview)) return description;
  const bool isArray = jsonString(preview, "subtype") == "array";
  std::string text = isArray || description == "Object" ? "" : description + " ";
  text += isArray ? "[" : "{";
  const std::size_t start = text.size();
  for (const std::string& part : partsOf(preview, isArray)) {
    if (text.size() > start) text += ", ";
    text += part;
  }
  if (jsonBool(preview, "overflow")) text += text.size() > start ? ", …" : "…";
  return text + (isArray ? "]" : "}");
}

}  // namespace

std::string previewValueText(const JsonValue& property) {
  const std::string type = jsonString(property, "type");
  std::string value = jsonString(property, "value");
  if (type == "string") return jsonQuote(value);
  if (type == "accessor") return "(...)";
  if (type == "function") return "ƒ";
  if (value == "Object") return "{…}";
  return value;
}

std::string remoteValueText(const JsonValue& remote) {
  const JsonValue& preview = jsonMember(remote, "preview");
  if (preview.IsObject()) return previewText(preview);
  const JsonValue& value = jsonMember(remote, "value");
  if (value.IsString()) return jsonString(value);
  if (value.IsBool()) return value.GetBool() ? "true" : "false";
  for (const char* name : {"unserializableValue", "description"}) {
    std::string text = jsonString(remote, name);
    if (!text.empty()) return text;
  }
  if (value.IsNumber()) return numberText(value);
  const std::string subtype = jsonString(remote, "subtype");
  return subtype.empty() ? jsonString(remote, "type") : subtype;
}

bool isExpandable(const JsonValue& remote) {
  if (jsonString(remote, "objectId").empty()) return false;
  if (jsonString(remote, "type") == "function") return true;
  const std::string subtype = jsonString(remote, "subtype");
  return jsonString(remote, "type") == "object" && subtype != "proxy" && subtype != "regexp";
}

}  // namespace workstation
