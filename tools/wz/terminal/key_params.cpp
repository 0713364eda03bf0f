#include "wz/terminal/key_params.h"

namespace wz {
namespace {

using zelipc::JSObject;

// The keys that have no character of their own, with the numbers that scripts of old look at.
struct NamedKey {
  const char* name;
  int number;
  const char* text;  // what it types
};

constexpr NamedKey kNamedKeys[] = {
    {"Enter", 13, "\r"},   {"Escape", 27, ""},    {"Backspace", 8, ""}, {"Tab", 9, ""},
    {"Delete", 46, ""},    {"ArrowLeft", 37, ""}, {"ArrowUp", 38, ""},  {"ArrowRight", 39, ""},
    {"ArrowDown", 40, ""}, {"Home", 36, ""},      {"End", 35, ""},      {"PageUp", 33, ""},
    {"PageDown", 34, ""},  {"F1", 112, ""},       {"F2", 113, ""},      {"F3", 114, ""},
    {"F4", 115, ""},       {"F5", 116, ""},       {"F6", 117, ""},      {"F7", 118, ""},
    {"F8", 119, ""},       {"F9", 120, ""},       {"F10", 121, ""},     {"F11", 122, ""},
    {"F12", 123, ""},
};

}  // namespace

JSObject keyParams(const std::string& key) {
  JSObject params;
  params["key"] = JSObject(key);
  for (const NamedKey& named : kNamedKeys) {
    if (key != named.name) continue;
    params["code"] = JSObject(key);
    params["windowsVirtualKeyCode"] = JSObject(named.number);
    if (named.text[0] != '\0') params["text"] = JSObject(named.text);
    return params;
  }
  params["text"] = JSObject(key);
  if (key.size() != 1) return params;
  const char c = key[0];
  if (c >= '0' && c <= '9') params["code"] = JSObject("Digit" + key);
  const bool isSmall = c >= 'a' && c <= 'z';
  const bool isKey = isSmall || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == ' ';
  if (isKey) params["windowsVirtualKeyCode"] = JSObject(isSmall ? c - 'a' + 'A' : int{c});
  return params;
}

}  // namespace wz
