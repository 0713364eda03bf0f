// JSON values: what the library reads manifests and payloads with.

#include <cstring>

#include "conformance/check.h"
#include "zelipc/zelipc.h"

namespace conformance {
namespace {

using zelipc::JSObject;

void checkValues(Report& report) {
  report.expect(sizeof(JSObject) == sizeof(void*), "a JSObject is one pointer");
  report.expectEqual(JSObject().dump(), "{}", "a new JSObject is the empty object");
  report.expectEqual(JSObject::array().dump(), "[]", "array() is the empty array");
  report.expect(JSObject(true).isBool() && JSObject(true).asBool(), "a boolean is one");
  report.expectEqual(JSObject(1LL << 40).asInt(), 1LL << 40, "an integer has 64 bits");
  report.expectEqual(JSObject("text").asString(), "text", "a string keeps its text");
  report.expectEqual(JSObject(7).asString(), "", "a number is no string");
  report.expectEqual(JSObject("7").asInt(), 0, "a string is no number");

  JSObject object;
  object["a"] = JSObject(1);
  JSObject copy(object);
  copy["a"] = JSObject(2);
  report.expectEqual(object["a"].asInt(), 1, "copying copies the value");
  const JSObject& constant = object;
  report.expect(constant["none"].isNull() && !constant.has("none"), "a missing member is null");
  report.expect(constant.at(5).isNull(), "an element out of range is null");
  JSObject list = JSObject::array();
  list.append(JSObject("x"));
  report.expect(list.isArray() && list.size() == 1 && list.at(0).asString() == "x",
                "append() makes an array grow");
}

struct Text {
  const char* text;
  bool isWhole;  // read to its end
};

void checkParsing(Report& report) {
  constexpr Text kTexts[] = {
      {"{\"a\": [1, 2.5, null, true]}", true},
      {" \t\r\n{} \n", true},
      {"7", true},
      {"\"\\u00e9\\ud83d\\ude00\"", true},
      {"", false},
      {"   ", false},
      {"{", false},
      {"{\"a\" 1}", false},
      {"nul", false},
      {"[1,]", false},
      {"01", false},
  };
  for (const Text& row : kTexts) {
    JSObject value(1);
    const int octets = value.parse(row.text);
    const int whole = static_cast<int>(std::strlen(row.text));
    const std::string claim = std::string("parse of '") + row.text + "'";
    if (row.isWhole) {
      report.expectEqual(octets, whole, claim + " reads all octets, white space included");
    } else {
      report.expect(octets < whole || octets < 0, claim + " does not read all");
    }
  }
  JSObject failed;
  failed["a"] = JSObject(1);
  report.expectEqual(failed.parse("{\"b\""), -1, "parse of a malformed text gives -1");
  report.expect(failed.isObject() && failed.size() == 0, "after a malformed text it is empty");

  JSObject large;
  report.expect(large.parse("9223372036854775808") > 0 && large.isNumber() && !large.isInt(),
                "an integer beyond 64 bits is a double");
  JSObject escaped;
  static_cast<void>(escaped.parse("\"\\u00e9\""));
  report.expectEqual(escaped.asString(), "\xC3\xA9", "texts are UTF-8");
}

}  // namespace

void checkJson(Report& report) {
  checkValues(report);
  checkParsing(report);
}

}  // namespace conformance
