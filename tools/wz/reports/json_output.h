/// JSON on standard output: ASCII alone, every text escaped as for eyes (output.h).
#ifndef WZ_REPORTS_JSON_OUTPUT_H
#define WZ_REPORTS_JSON_OUTPUT_H

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace wz {

/// Everything beyond ASCII as \uNNNN.
using JsonWriter =
    rapidjson::PrettyWriter<rapidjson::StringBuffer, rapidjson::UTF8<>, rapidjson::ASCII<>>;

void putText(JsonWriter& writer, std::string_view value);
void putText(JsonWriter& writer, const char* key, std::string_view value);
void putTexts(JsonWriter& writer, const char* key, const std::vector<std::string>& values);
void putNumber(JsonWriter& writer, const char* key, std::uint64_t value);
void putFlag(JsonWriter& writer, const char* key, bool value);

/// A list of objects, the members of each of which `put` writes.
template <typename Rows, typename Put>
void putRows(JsonWriter& writer, const char* key, const Rows& rows, const Put& put) {
  writer.Key(key);
  writer.StartArray();
  for (const auto& row : rows) {
    writer.StartObject();
    put(row);
    writer.EndObject();
  }
  writer.EndArray();
}

/// An object as one line of text, without a line feed.
[[nodiscard]] std::string jsonLine(const std::function<void(JsonWriter& writer)>& body);

/// Prints an object on standard output, in several lines or in one.
void printJsonObject(const std::function<void(JsonWriter& writer)>& body, bool inOneLine = false);

}  // namespace wz

#endif  // WZ_REPORTS_JSON_OUTPUT_H
