#include "wz/reports/story.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "wz/reports/output.h"

namespace wz {
namespace {

using Buffer = rapidjson::StringBuffer;
using Writer = rapidjson::Writer<Buffer, rapidjson::UTF8<>, rapidjson::ASCII<>,
                                 rapidjson::CrtAllocator, rapidjson::kWriteValidateEncodingFlag>;

bool write(std::string_view text, Buffer& buffer) {
  Writer writer(buffer);
  return writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

// The one control character that JSON lets stand.
std::string withoutDelete(std::string text) {
  for (std::size_t at = 0; (at = text.find('\x7F', at)) != std::string::npos;)
    text.replace(at, 1, "\\u007F");
  return text;
}

// A text from outside that is no UTF-8 is shown as for eyes.
std::string inQuotes(std::string_view text) {
  Buffer buffer;
  if (write(text, buffer)) return withoutDelete({buffer.GetString(), buffer.GetSize()});
  Buffer shown;
  (void)write(escaped(text), shown);
  return {shown.GetString(), shown.GetSize()};
}

// JSON text has anything beyond ASCII in strings only, where each character may be escaped instead.
std::string asciiJson(std::string_view json) {
  std::string result;
  for (std::size_t at = 0; at < json.size();) {
    const auto isPlain = [&](std::size_t i) { return json[i] >= 0x20 && json[i] < 0x7F; };
    if (isPlain(at)) {
      result += json[at++];
      continue;
    }
    std::size_t end = at;
    while (end < json.size() && !isPlain(end)) ++end;
    const std::string piece = inQuotes(json.substr(at, end - at));
    result += piece.substr(1, piece.size() - 2);
    at = end;
  }
  return result;
}

}  // namespace

StoryLine::StoryLine(std::string_view event) { text("event", event); }

StoryLine& StoryLine::raw(std::string_view key, std::string_view json) {
  members_ += ',';
  members_ += inQuotes(key);
  members_ += ':';
  members_ += json;
  return *this;
}

StoryLine& StoryLine::text(std::string_view key, std::string_view value) {
  return raw(key, inQuotes(value));
}

StoryLine& StoryLine::texts(std::string_view key, const std::vector<std::string>& values) {
  std::string list = "[";
  for (const std::string& value : values) list += (list.size() > 1 ? "," : "") + inQuotes(value);
  return raw(key, list + ']');
}

StoryLine& StoryLine::texts(std::string_view key,
                            const std::map<std::string, std::string>& values) {
  std::string object = "{";
  for (const auto& [name, value] : values)
    object += (object.size() > 1 ? "," : "") + inQuotes(name) + ':' + inQuotes(value);
  return raw(key, object + '}');
}

StoryLine& StoryLine::number(std::string_view key, std::int64_t value) {
  return raw(key, std::to_string(value));
}

StoryLine& StoryLine::flag(std::string_view key, bool value) {
  return raw(key, value ? "true" : "false");
}

StoryLine& StoryLine::json(std::string_view key, std::string_view value) {
  return raw(key, value.empty() ? "null" : asciiJson(value));
}

std::string StoryLine::at(std::int64_t microseconds) const {
  return "{\"schema\":" + std::to_string(kStorySchema) +
         ",\"time\":" + std::to_string(microseconds) + members_ + '}';
}

void Story::tell(const StoryLine& line) {
  const wzapp::MutexLock lock(mutex_);
  const auto time = std::chrono::steady_clock::now() - begin_;
  const auto count = std::chrono::duration_cast<std::chrono::microseconds>(time).count();
  const std::string text = line.at(count);
  for (const Listener& listener : listeners_) listener(text);
}

}  // namespace wz
