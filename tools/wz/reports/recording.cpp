#include "wz/reports/recording.h"

#include <rapidjson/error/en.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string_view>

namespace wz {
namespace {

using rapidjson::Document;
using rapidjson::StringRef;
using rapidjson::Value;

// The members that a recording keeps of an event, in the order in which it has them.
struct KeptRow {
  const char* event;
  const char* members[6];
};

constexpr KeptRow kKept[] = {
    {"console", {"level", "text", "uncaught"}},
    {"log", {"level", "texts"}},
    {"requestFailed", {"url", "status"}},
    {"messageSent", {"from", "to", "name", "awaitsReply", "payload"}},
    {"reply", {"from", "name", "code", "payload"}},
    {"undelivered", {"to", "name"}},
    {"exited", {"result", "error", "properties"}},
};

constexpr const char* kInputEvents[] = {"click", "type", "press", "choose"};

std::string text(const Value& object, const char* name) {
  const auto member = object.FindMember(name);
  if (member == object.MemberEnd() || !member->value.IsString()) return {};
  return {member->value.GetString(), member->value.GetStringLength()};
}

// To hundredths of a second: nobody reads more, and more is never the same.
double secondsOf(const Value& story) {
  const auto time = story.FindMember("time");
  if (time == story.MemberEnd() || !time->value.IsInt64()) return 0;
  return std::round(static_cast<double>(time->value.GetInt64()) / 1e4) / 100;
}

void addText(Document& line, const char* name, const std::string& value) {
  Value copy(value.data(), static_cast<rapidjson::SizeType>(value.size()), line.GetAllocator());
  line.AddMember(StringRef(name), copy, line.GetAllocator());
}

Document beginLine(const Value& story, const std::string& event) {
  Document line(rapidjson::kObjectType);
  line.AddMember("at", secondsOf(story), line.GetAllocator());
  addText(line, "event", event);
  return line;
}

// Properties that the library gives to every application tell of the terminal.
void removeTerminalProperties(Value& properties) {
  if (!properties.IsObject()) return;
  for (auto member = properties.MemberBegin(); member != properties.MemberEnd();) {
    const bool isTerminals = std::strncmp(member->name.GetString(), "wz_", 3) == 0;
    member = isTerminals ? properties.EraseMember(member) : std::next(member);
  }
}

Document keptLine(const Value& story, const KeptRow& row) {
  Document line = beginLine(story, row.event);
  for (const char* const name : row.members) {
    if (name == nullptr) break;
    const auto member = story.FindMember(name);
    if (member == story.MemberEnd()) continue;
    Value copy(member->value, line.GetAllocator());
    if (std::strcmp(name, "properties") == 0) removeTerminalProperties(copy);
    line.AddMember(StringRef(name), copy, line.GetAllocator());
  }
  return line;
}

// A key that writes one character is typing, any other is pressed.
bool isCharacter(const std::string& key) {
  if (key.empty()) return false;
  std::size_t characters = 0;
  for (const char c : key) characters += (static_cast<unsigned char>(c) & 0xC0) != 0x80 ? 1 : 0;
  return characters == 1;
}

Document inputLine(const Value& story) {
  const std::string action = text(story, "action");
  const std::string key = text(story, "text");
  const bool isTyping = action == "key" && isCharacter(key);
  Document line = beginLine(story, isTyping ? "type" : action == "key" ? "press" : action);
  const std::string target = text(story, "target");
  if (!target.empty()) addText(line, "target", target);
  if (action != "click") addText(line, "text", key);
  for (const char* const name : {"x", "y"}) {
    const auto member = story.FindMember(name);
    if (member != story.MemberEnd() && member->value.IsInt())
      line.AddMember(StringRef(name), member->value.GetInt(), line.GetAllocator());
  }
  return line;
}

bool isTyping(const Value& line) { return text(line, "event") == "type"; }

std::string launchText(const Launch& launch) {
  Document line(rapidjson::kObjectType);
  line.AddMember("recording", kRecordingVersion, line.GetAllocator());
  addText(line, "app", launch.id);
  addText(line, "entry", launch.entry);
  Value parameters(rapidjson::kObjectType);
  for (const auto& [name, value] : launch.parameters) {
    Value key(name.data(), static_cast<rapidjson::SizeType>(name.size()), line.GetAllocator());
    Value one(value.data(), static_cast<rapidjson::SizeType>(value.size()), line.GetAllocator());
    parameters.AddMember(key, one, line.GetAllocator());
  }
  line.AddMember("parameters", parameters, line.GetAllocator());
  return lineText(line);
}

// ---- Reading -----------------------------------------------------------------------------------

bool readLaunch(const Document& line, Launch& launch, std::string& error) {
  const auto version = line.FindMember("recording");
  if (version == line.MemberEnd() || !version->value.IsInt()) {
    error = "no recording: its first line has no member \"recording\"";
    return false;
  }
  if (version->value.GetInt() != kRecordingVersion) {
    error = "a recording of version " + std::to_string(version->value.GetInt()) +
            "; this wz reads version " + std::to_string(kRecordingVersion);
    return false;
  }
  launch.id = text(line, "app");
  launch.entry = text(line, "entry");
  const auto parameters = line.FindMember("parameters");
  if (parameters == line.MemberEnd() || !parameters->value.IsObject()) return true;
  for (const auto& member : parameters->value.GetObject()) {
    if (!member.value.IsString()) {
      error = std::string("the parameter ") + member.name.GetString() + " is no text";
      return false;
    }
    launch.parameters[member.name.GetString()] = member.value.GetString();
  }
  return true;
}

bool isKnownEvent(const std::string& event) {
  for (const KeptRow& row : kKept) {
    if (event == row.event) return true;
  }
  for (const char* const input : kInputEvents) {
    if (event == input) return true;
  }
  return false;
}

bool readEvent(RecordedLine& line, std::string& error) {
  const auto at = line.json.FindMember("at");
  const std::string event = text(line.json, "event");
  if (at == line.json.MemberEnd() || !at->value.IsNumber()) {
    error = "there is no time \"at\"";
    return false;
  }
  if (!isKnownEvent(event)) {
    error = "there is no event \"" + event + "\"";
    return false;
  }
  line.at = at->value.GetDouble();
  return true;
}

bool parseLine(const std::string& content, bool isWhole, Document& json, std::string& error) {
  json.Parse<rapidjson::kParseIterativeFlag>(content.data(), content.size());
  if (!json.HasParseError() && json.IsObject()) return true;
  error = json.HasParseError()
              ? std::string("not JSON: ") + rapidjson::GetParseError_En(json.GetParseError())
              : "not a JSON object";
  if (!isWhole) error += " (the recording has been cut short; remove this line to replay the rest)";
  return false;
}

}  // namespace

std::string lineText(const Value& line) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  line.Accept(writer);
  return {buffer.GetString(), buffer.GetSize()};
}

std::optional<Document> recordedLine(const std::string& storyLine) {
  Document story;
  story.Parse<rapidjson::kParseIterativeFlag>(storyLine.data(), storyLine.size());
  if (story.HasParseError() || !story.IsObject()) return std::nullopt;
  const std::string event = text(story, "event");
  if (event == "input") return inputLine(story);
  for (const KeptRow& row : kKept) {
    if (event == row.event) return keptLine(story, row);
  }
  return std::nullopt;
}

bool isInput(const Value& line) {
  const std::string event = text(line, "event");
  for (const char* const input : kInputEvents) {
    if (event == input) return true;
  }
  return false;
}

Recorder::~Recorder() {
  if (file_ != nullptr) std::fclose(file_);
}

bool Recorder::begin(const std::string& file, const Launch& launch, std::string& error) {
  const wzapp::MutexLock lock(mutex_);
  file_ = std::fopen(file.c_str(), "we");
  if (file_ == nullptr) {
    error = "cannot write " + file + ": " + std::strerror(errno);
    return false;
  }
  write(launchText(launch));
  return true;
}

void Recorder::write(const std::string& line) {
  const std::string whole = line + '\n';
  const bool written = std::fwrite(whole.data(), 1, whole.size(), file_) == whole.size();
  if ((!written || std::fflush(file_) != 0) && error_ == 0) error_ = errno;
}

void Recorder::add(const std::string& storyLine) {
  std::optional<Document> line = recordedLine(storyLine);
  const wzapp::MutexLock lock(mutex_);
  if (!line || file_ == nullptr || joinsTyping(*line)) return;
  writeTyping();
  if (isTyping(*line)) {
    typing_ = std::move(line);
  } else {
    write(lineText(*line));
  }
}

// Characters typed one behind the other into the same element are one text.
bool Recorder::joinsTyping(const Value& line) {
  if (!typing_ || !isTyping(line) || text(*typing_, "target") != text(line, "target")) return false;
  const std::string joined = text(*typing_, "text") + text(line, "text");
  (*typing_)["text"].SetString(joined.data(), static_cast<rapidjson::SizeType>(joined.size()),
                               typing_->GetAllocator());
  return true;
}

void Recorder::writeTyping() {
  if (typing_) write(lineText(*typing_));
  typing_.reset();
}

bool Recorder::finish(std::string& error) {
  const wzapp::MutexLock lock(mutex_);
  writeTyping();
  if (std::fclose(file_) != 0 && error_ == 0) error_ = errno;
  file_ = nullptr;
  if (error_ == 0) return true;
  error = std::strerror(error_);
  return false;
}

bool readRecording(const std::string& file, Recording& recording, std::string& error) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) {
    error = "cannot read " + file + ": " + std::strerror(errno);
    return false;
  }
  std::string content;
  for (int number = 1; std::getline(stream, content); ++number) {
    if (content.find_first_not_of(" \t\r") == std::string::npos) continue;
    RecordedLine line;
    line.number = number;
    std::string problem;
    const bool isRead =
        parseLine(content, !stream.eof(), line.json, problem) &&
        (number == 1 ? readLaunch(line.json, recording.launch, problem) : readEvent(line, problem));
    if (!isRead) {
      error = file + ":" + std::to_string(number) + ": " + problem;
      return false;
    }
    if (number > 1) recording.lines.push_back(std::move(line));
  }
  if (!recording.launch.entry.empty()) return true;
  error = file + ": no recording: it has no first line that says what was launched";
  return false;
}

}  // namespace wz
