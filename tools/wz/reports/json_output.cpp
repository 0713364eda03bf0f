#include "wz/reports/json_output.h"

#include <string>

#include "wz/reports/output.h"

namespace wz {

void putText(JsonWriter& writer, std::string_view value) {
  const std::string text = escaped(value);  // sound UTF-8, with nothing in it that acts
  writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

void putText(JsonWriter& writer, const char* key, std::string_view value) {
  writer.Key(key);
  putText(writer, value);
}

void putTexts(JsonWriter& writer, const char* key, const std::vector<std::string>& values) {
  writer.Key(key);
  writer.StartArray();
  for (const std::string& value : values) putText(writer, value);
  writer.EndArray();
}

void putNumber(JsonWriter& writer, const char* key, std::uint64_t value) {
  writer.Key(key);
  writer.Uint64(value);
}

void putFlag(JsonWriter& writer, const char* key, bool value) {
  writer.Key(key);
  writer.Bool(value);
}

namespace {

std::string textOf(const std::function<void(JsonWriter& writer)>& body) {
  rapidjson::StringBuffer buffer;
  JsonWriter writer(buffer);
  writer.SetIndent(' ', 2);
  writer.StartObject();
  body(writer);
  writer.EndObject();
  return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace

std::string jsonLine(const std::function<void(JsonWriter& writer)>& body) {
  const std::string text = textOf(body);
  std::string line;
  for (std::string_view rest(text); !rest.empty();) {
    const std::size_t end = rest.find('\n');
    line += rest.substr(0, end).substr(rest.find_first_not_of(' '));
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  }
  return line;
}

void printJsonObject(const std::function<void(JsonWriter& writer)>& body, bool inOneLine) {
  if (inOneLine) return printLine(jsonLine(body));
  const std::string text = textOf(body);
  for (std::string_view rest(text); !rest.empty();) {
    const std::size_t end = rest.find('\n');
    printLine(rest.substr(0, end));
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  }
}

}  // namespace wz
