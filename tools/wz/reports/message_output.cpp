#include "wz/reports/message_output.h"

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "wz/reports/output.h"

namespace wz {
namespace {

using zelipc::JSObject;

constexpr int kSchema = 1;

JSObject valueOf(const std::string& json) {
  JSObject value;
  value.parse(json.c_str());
  return value;
}

std::string withoutDelete(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '\x7F') {
      result += "\\u007f";  // only ever inside of a text
    } else {
      result += c;
    }
  }
  return result;
}

}  // namespace

std::string asciiJson(const JSObject& value) {
  using AsciiWriter =
      rapidjson::Writer<rapidjson::StringBuffer, rapidjson::UTF8<>, rapidjson::ASCII<>>;
  const std::string text = value.dump();
  rapidjson::StringStream stream(text.c_str());
  rapidjson::StringBuffer buffer;
  AsciiWriter writer(buffer);
  rapidjson::Reader reader;
  constexpr unsigned kFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseFullPrecisionFlag;
  if (reader.Parse<kFlags>(stream, writer).IsError()) return "null";
  return withoutDelete(std::string(buffer.GetString(), buffer.GetSize()));
}

JSObject MessageOutput::event(const char* name) const {
  const auto sinceBegin = std::chrono::steady_clock::now() - begin_;
  JSObject object;
  object["schema"] = JSObject(kSchema);
  object["time"] = JSObject(static_cast<long long>(
      std::chrono::duration_cast<std::chrono::microseconds>(sinceBegin).count()));
  object["event"] = JSObject(name);
  return object;
}

void MessageOutput::addMessage(const Message& message, JSObject& event) {
  event["from"] = JSObject(message.from);
  event["to"] = JSObject(message.to);
  event["name"] = JSObject(message.name);
  event["flags"] = JSObject(static_cast<long long>(message.flags));
  event["payload"] = valueOf(message.payload);
}

void MessageOutput::print(const JSObject& event) { printLine(asciiJson(event)); }

}  // namespace wz
