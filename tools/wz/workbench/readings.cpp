#include "wz/workbench/readings.h"

#include <vector>

#include "support/file_system.h"
#include "wz/reports/output.h"
#include "wz/words/explain.h"
#include "wz/workbench/safe_folder.h"

namespace wz {

using zelipc::JSObject;

namespace {

constexpr std::string_view kRecordingEnd = ".jsonl";
constexpr std::size_t kMostLines = 100'000;

// Of a line of a story or a recording; false for what is neither.
bool readStoryLine(const std::string& text, JSObject& event) {
  JSObject line;
  if (line.parse(text.c_str()) < 0 || !line.isObject()) return false;
  if (line.has("recording")) {  // the head says what was launched
    line["event"] = JSObject("launched");
  } else if (line["event"].asString().empty()) {
    return false;
  }
  constexpr double kMicroseconds = 1e6;  // a recording has seconds
  event["at"] = line.has("time")
                    ? line["time"]
                    : JSObject(static_cast<long long>(line["at"].asDouble() * kMicroseconds));
  event["line"] = line;
  return true;
}

JSObject logLine(const std::string& text) {
  JSObject line = objectWith("event", "install-line");
  line["text"] = JSObject(escaped(text));
  const LogMatch match = matchLogLine(text);
  if (match.code != nullptr) line["code"] = JSObject(match.code->id);
  return line;
}

// Texts of a record, in the order in which they are read.
std::string textOf(const JSObject& message, const std::vector<const char*>& keys) {
  std::string text;
  for (const char* const key : keys) {
    const std::string part = message[key].asString();
    if (!part.empty()) text += (text.empty() ? "" : " ") + part;
  }
  return text;
}

}  // namespace

void listFiles(const std::string& terminal, const std::string& path, const Answer& answer) {
  std::vector<FolderEntry> entries;
  if (!SafeFolder(terminal).list(path, entries)) {
    return answer.failed("the terminal has no folder " + path);
  }
  JSObject result = objectWith("path", path);
  result["entries"] = JSObject::array();
  for (const FolderEntry& entry : entries) {
    JSObject row = objectWith("name", escaped(entry.name));
    row["kind"] = JSObject(entry.kind);
    row["size"] = JSObject(static_cast<long long>(entry.size));
    row["mode"] = JSObject(entry.mode);
    row["modified"] = JSObject(entry.modified);
    result["entries"].append(row);
  }
  answer.done(result);
}

void listRecordings(const std::string& saved, const Answer& answer) {
  const SafeFolder folder(saved);
  std::vector<FolderEntry> entries;
  (void)folder.list("", entries);  // without one there is none
  JSObject result;
  result["recordings"] = JSObject::array();
  for (const FolderEntry& entry : entries) {
    if (!entry.name.ends_with(kRecordingEnd)) continue;
    JSObject row = objectWith("name", entry.name);
    row["application"] = JSObject(entry.name.substr(0, entry.name.rfind('-')));
    row["at"] = JSObject(entry.modified);
    row["size"] = JSObject(static_cast<long long>(entry.size));
    result["recordings"].append(row);
  }
  answer.done(result);
}

void openStory(const Upload& upload, const Answer& answer) {
  std::string content;
  if (!wzapp::readFile(upload.path.c_str(), content)) {
    return answer.failed(upload.name + " is larger than a story that can be opened");
  }
  JSObject result = objectWith("name", upload.name);
  result["events"] = JSObject::array();
  std::size_t count = 0;
  for (std::size_t begin = 0; begin < content.size() && count < kMostLines;) {
    const std::size_t end = content.find('\n', begin);
    std::string line = content.substr(begin, end - begin);
    begin = end == std::string::npos ? content.size() : end + 1;
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
    if (line.empty()) continue;
    JSObject event;
    if (!readStoryLine(line, event)) {
      event["at"] = JSObject(0);
      event["line"] = logLine(line);
    }
    event["source"] = JSObject(upload.name);
    result["events"].append(event);
    ++count;
  }
  if (count == 0) return answer.failed(upload.name + " is empty");
  answer.done(result);
}

void addLogEntries(const JSObject& record, JSObject& entries) {
  const JSObject& messages = record["data"]["msgs"];
  for (std::size_t i = 0; messages.isArray() && i < messages.size(); ++i) {
    const JSObject& message = messages.at(i);
    JSObject entry = objectWith("time", message["t"].asString());
    entry["level"] = message["s"];
    entry["kind"] = message["msgT"];
    entry["message"] = JSObject(textOf(message, {"msg", "eN"}));
    const std::string detail = textOf(message, {"aD", "eC", "eMsg", "eD"});
    if (!detail.empty()) entry["detail"] = JSObject(detail);
    if (message.has("aE")) entry["event"] = message["aE"];
    entries.append(entry);
  }
}

}  // namespace wz
