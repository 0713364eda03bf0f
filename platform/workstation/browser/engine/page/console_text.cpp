#include "workstation/browser/engine/page/console_text.h"

#include <cmath>
#include <cstdlib>

#include "workstation/browser/engine/page/console_table.h"
#include "workstation/browser/engine/page/remote_value.h"

namespace workstation {
namespace {

struct LevelName {
  const char* name;
  int level;
};

// Of console calls and of log entries; all others are information.
constexpr LevelName kLevels[] = {
    {"error", 3}, {"assert", 3}, {"warning", 4}, {"debug", 7}, {"verbose", 7},
};

// What the browser itself puts in where the page has given nothing.
constexpr const char* kNoAssertionText = "console.assert";
constexpr const char* kNoTraceText = "console.trace";

using Expanded = std::map<std::size_t, std::string>;

std::string argumentText(const JsonValue& args, std::size_t index, const Expanded& expanded) {
  const auto better = expanded.find(index);
  if (better != expanded.end()) return better->second;
  return remoteValueText(args[static_cast<rapidjson::SizeType>(index)]);
}

// %d and %i, %f: what a page's parseInt and parseFloat would make of the text.
std::string integerText(const JsonValue& arg) {
  std::string text = remoteValueText(arg);
  if (jsonString(arg, "type") == "bigint") return text;
  char* end = nullptr;
  const double number = std::strtod(text.c_str(), &end);
  if (end == text.c_str() || !std::isfinite(number)) return "NaN";
  return std::to_string(static_cast<long long>(std::trunc(number)));
}

std::string floatText(const JsonValue& arg) {
  const std::string text = remoteValueText(arg);
  char* end = nullptr;
  (void)std::strtod(text.c_str(), &end);
  return end == text.c_str() ? "NaN" : text.substr(0, static_cast<std::size_t>(end - text.c_str()));
}

// Applies the format characters of the first argument; `next` becomes the first argument that none
// of them has used.
std::string formatted(const JsonValue& args, const Expanded& expanded, std::size_t& next) {
  const std::string format = jsonString(jsonMember(args[0], "value"));
  std::string text;
  next = 1;
  for (std::size_t i = 0; i < format.size(); ++i) {
    const char kind = format[i] == '%' && i + 1 < format.size() ? format[i + 1] : '\0';
    if (kind == '%') {
      text += '%';
      ++i;
      continue;
    }
    const bool isKnown =
        kind != '\0' && std::string_view("sdifoOc").find(kind) != std::string::npos;
    if (!isKnown || next >= args.Size()) {
      text += format[i];
      continue;
    }
    const JsonValue& arg = args[static_cast<rapidjson::SizeType>(next)];
    if (kind == 'd' || kind == 'i') text += integerText(arg);
    if (kind == 'f') text += floatText(arg);
    if (kind == 's' || kind == 'o' || kind == 'O') text += argumentText(args, next, expanded);
    ++next;  // %c is a style: there are none here
    ++i;
  }
  return text;
}

std::string listText(const JsonValue& args, const Expanded& expanded) {
  std::size_t next = 0;
  std::string text;
  const bool hasFormat = args.Size() > 1 && jsonString(args[0], "type") == "string";
  if (hasFormat) text = formatted(args, expanded, next);
  for (; next < args.Size(); ++next) {
    if (next > 0) text += ' ';
    text += argumentText(args, next, expanded);
  }
  return text;
}

// "https://shop.invalid/app.js" -> "app.js"
std::string frameText(const JsonValue& frame, const std::string& origin) {
  const std::string function = jsonString(frame, "functionName");
  const std::string place = withoutOrigin(jsonString(frame, "url"), origin) + ":" +
                            std::to_string(jsonInt(frame, "lineNumber", 0) + 1) + ":" +
                            std::to_string(jsonInt(frame, "columnNumber", 0) + 1);
  return "\n    at " + (function.empty() ? place : function + " (" + place + ")");
}

}  // namespace

int consoleLevel(const std::string& name) {
  for (const LevelName& row : kLevels) {
    if (name == row.name) return row.level;
  }
  return 6;
}

std::string consoleText(const std::string& type, const JsonValue& args,
                        const std::map<std::size_t, std::string>& expanded) {
  if (!args.IsArray() || args.Empty()) return "";
  if (type == "table") {
    std::string table = consoleTable(jsonMember(args[0], "preview"));
    if (!table.empty()) return table;
    return argumentText(args, 0, expanded);
  }
  // console.dir and the like take further arguments that are not meant to be shown.
  if (type == "dir") return argumentText(args, 0, expanded);
  std::string text = listText(args, expanded);
  if (type == "assert")
    return text == kNoAssertionText ? "Assertion failed" : "Assertion failed: " + text;
  if (type == "trace") return text == kNoTraceText ? "Trace" : "Trace: " + text;
  return text;
}

std::string stackText(const JsonValue& stackTrace, const std::string& origin) {
  std::string text;
  const JsonValue& frames = jsonMember(stackTrace, "callFrames");
  if (!frames.IsArray()) return text;
  for (const JsonValue& frame : frames.GetArray()) text += frameText(frame, origin);
  return text;
}

SourcePlace placeOf(const JsonValue& stackTrace, const std::string& origin) {
  const JsonValue& frames = jsonMember(stackTrace, "callFrames");
  if (!frames.IsArray()) return {};
  for (const JsonValue& frame : frames.GetArray()) {
    const std::string url = jsonString(frame, "url");
    if (url.empty()) continue;
    return {withoutOrigin(url, origin), jsonInt(frame, "lineNumber", -1) + 1,
            jsonInt(frame, "columnNumber", -1) + 1};
  }
  return {};
}

std::string withoutOrigin(const std::string& url, const std::string& origin) {
  const std::string prefix = origin + '/';
  return url.compare(0, prefix.size(), prefix) == 0 ? url.substr(prefix.size()) : url;
}

std::string withoutOrigins(std::string text, const std::string& origin) {
  const std::string prefix = origin + '/';
  for (std::size_t at = 0; (at = text.find(prefix, at)) != std::string::npos;)
    text.erase(at, prefix.size());
  return text;
}

}  // namespace workstation
