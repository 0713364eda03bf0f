#include "wz/reports/run_report.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <vector>

#include "wz/reports/output.h"
#include "wz/words/shell_word.h"

namespace wz {
namespace {

using workstation::PageEvent;

// A page can send to ever new addresses; nobody reads a thousand hints.
constexpr std::size_t kMostHints = 50;
constexpr std::size_t kMostAwaited = 10'000;

const char* levelName(int level) {
  constexpr const char* kNames[] = {"emergency", "alert",  "critical", "error",
                                    "warning",   "notice", "info",     "debug"};
  const bool known = level >= 0 && static_cast<std::size_t>(level) < std::size(kNames);
  return known ? kNames[level] : "unknown";
}

std::string placeText(const PageEvent::Place& place) {
  if (place.file.empty()) return "";
  std::string text = " (" + place.file;
  if (place.line > 0) text += ":" + std::to_string(place.line);
  if (place.line > 0 && place.column > 0) text += ":" + std::to_string(place.column);
  return text + ")";
}

std::string firstText(const PageEvent& event) {
  return event.texts.empty() ? std::string() : event.texts.front();
}

// ---- To read -----------------------------------------------------------------------------------

// The place stands behind the first line, what the text has further below it; groups move both in.
std::string consoleLine(const PageEvent& event) {
  const std::string text = firstText(event);
  const std::size_t end = std::min(text.find('\n'), text.size());
  const std::string margin(static_cast<std::size_t>(event.depth) * 2, ' ');
  std::string block = event.appId + " console " + levelName(event.level) + ": " + margin +
                      text.substr(0, end) + placeText(event.place);
  for (std::size_t at = end; at < text.size();) {
    const std::size_t next = std::min(text.find('\n', at + 1), text.size());
    block += "\n  " + margin + text.substr(at + 1, next - at - 1);
    at = next;
  }
  return block;
}

std::string logLine(const PageEvent& event) {
  return event.appId + " log " + levelName(event.level) + ": " + joined(event.texts, " ");
}

std::string failureLine(const PageEvent& event) {
  return event.appId + " request failed: " + event.status + " " + event.url;
}

std::string paintLine(const PageEvent& event) { return event.appId + " first paint"; }

std::string messageLine(const PageEvent& event) {
  const PageEvent::Message& message = event.message;
  if (event.kind == PageEvent::Kind::kReply && event.level != 0) {
    return event.appId + " " + message.name + " of " + message.from +
           " failed: " + std::to_string(event.level);
  }
  return message.from + " -> " + message.to + " " + message.name + " " + message.payload;
}

std::string nothing(const PageEvent&) { return {}; }

// What --quiet does not leave out: errors and warnings.
bool isTrouble(const PageEvent& event) {
  constexpr int kWarning = 4;
  const bool isSaid =
      event.kind == PageEvent::Kind::kConsole || event.kind == PageEvent::Kind::kLog;
  return event.kind == PageEvent::Kind::kFailedRequest || (isSaid && event.level <= kWarning);
}

// ---- As a story --------------------------------------------------------------------------------

StoryLine openedStory(const PageEvent& event) {
  return StoryLine("properties").text("app", event.appId).texts("properties", event.properties);
}

StoryLine consoleStory(const PageEvent& event) {
  StoryLine line("console");
  line.text("app", event.appId).text("level", levelName(event.level));
  line.text("text", firstText(event));
  if (!event.place.file.empty()) line.text("file", event.place.file);
  if (event.place.line > 0) line.number("line", event.place.line);
  if (event.place.column > 0) line.number("column", event.place.column);
  if (event.depth > 0) line.number("depth", event.depth);
  if (event.isUncaught) line.flag("uncaught", true);
  return line;
}

StoryLine logStory(const PageEvent& event) {
  return StoryLine("log")
      .text("app", event.appId)
      .text("level", levelName(event.level))
      .texts("texts", event.texts);
}

StoryLine failureStory(const PageEvent& event) {
  return StoryLine("requestFailed")
      .text("app", event.appId)
      .text("url", event.url)
      .text("status", event.status);
}

StoryLine paintStory(const PageEvent& event) {
  return StoryLine("painted").text("app", event.appId);
}

StoryLine& addMessage(StoryLine& line, const std::string& from, const std::string& to,
                      const std::string& name) {
  return line.text("from", from).text("to", to).text("name", name);
}

StoryLine sentStory(const PageEvent& event) {
  StoryLine line("messageSent");
  line.text("app", event.appId);
  return addMessage(line, event.message.from, event.message.to, event.message.name)
      .flag("awaitsReply", event.awaitsReply)
      .json("payload", event.message.payload);
}

StoryLine replyStory(const PageEvent& event) {
  StoryLine line("reply");
  line.text("app", event.appId);
  addMessage(line, event.message.from, event.message.to, event.message.name)
      .number("code", event.level);
  if (event.level == 0) line.json("payload", event.message.payload);
  return line;
}

StoryLine inputStory(const PageEvent& event) {
  StoryLine line("input");
  line.text("app", event.appId).text("action", event.input.action);
  line.text("target", event.input.target);
  if (event.input.action != "click") line.text("text", event.input.text);
  if (event.input.hasPoint) line.number("x", event.input.x).number("y", event.input.y);
  return line;
}

// ---- Both --------------------------------------------------------------------------------------

struct EventRow {
  PageEvent::Kind kind;
  std::string (*line)(const PageEvent&);  // empty: nothing to read
  StoryLine (*story)(const PageEvent&);
};

constexpr EventRow kEventRows[] = {
    {PageEvent::Kind::kOpened, nothing, openedStory},
    {PageEvent::Kind::kConsole, consoleLine, consoleStory},
    {PageEvent::Kind::kLog, logLine, logStory},
    {PageEvent::Kind::kFailedRequest, failureLine, failureStory},
    {PageEvent::Kind::kFirstPaint, paintLine, paintStory},
    {PageEvent::Kind::kSent, messageLine, sentStory},
    {PageEvent::Kind::kReply, messageLine, replyStory},
    {PageEvent::Kind::kInput, nothing, inputStory},
};

}  // namespace

RunReport::RunReport(bool asJson, std::string terminalOption)
    : asJson_(asJson), terminalOption_(std::move(terminalOption)) {
  if (asJson_) story_.addListener([](const std::string& line) { printLine(line); });
}

void RunReport::show(const std::string& text) {
  if (!asJson_ && !isQuiet_ && !text.empty()) printBlock(text);
}

void RunReport::debugging(const std::string& url) {
  story_.tell(StoryLine("debugging").text("url", url));
  if (!asJson_ && !isQuiet_) printMessage("tools of the DevTools protocol find the page at " + url);
}

void RunReport::launched(const Launch& launch) {
  story_.tell(StoryLine("launched")
                  .text("app", launch.id)
                  .text("entry", launch.entry)
                  .texts("parameters", launch.parameters));
}

void RunReport::event(const PageEvent& event) {
  const bool isFailedFile = event.kind == PageEvent::Kind::kFailedRequest && event.isOwn;
  if (event.isUncaught || isFailedFile) sawError_ = true;
  if (event.kind == PageEvent::Kind::kSent && event.awaitsReply) {
    const wzapp::MutexLock lock(mutex_);
    if (awaited_.size() < kMostAwaited) awaited_.insert({event.message.to, event.message.name});
  }
  for (const EventRow& row : kEventRows) {
    if (row.kind != event.kind) continue;
    if (story_.hasListeners()) story_.tell(row.story(event));
    if (volume() != Volume::kQuiet || isTrouble(event)) show(row.line(event));
  }
}

void RunReport::record(const std::string& from, const std::string& to, const std::string& name,
                       const zelipc::JSObject& record) {
  const std::string payload = record.dump();
  StoryLine line("messageReceived");
  addMessage(line, from, to, name).json("payload", payload);
  story_.tell(line);
  if (volume() != Volume::kQuiet && !isEndKnown_) show(name + " " + payload);
}

void RunReport::undelivered(const Message& message) {
  const std::pair<std::string, std::string> key(message.to, message.name);
  bool isAwaited = false;
  {
    const wzapp::MutexLock lock(mutex_);
    if (told_.size() >= kMostHints || !told_.insert(key).second) return;
    isAwaited = awaited_.count(key) > 0;
  }
  StoryLine line("undelivered");
  addMessage(line, message.from, message.to, message.name).json("payload", message.payload);
  story_.tell(line);
  if (isQuiet_) return;
  const std::string receiver =
      terminalOption_ + " " + shellWord(message.to) + " " + shellWord(message.name);
  printMessage("nobody is there for " + message.name + " at " + message.to +
               (isAwaited ? "; this answers it: wz reply" + receiver + " '{}'"
                          : "; this takes it: wz listen" + receiver) +
               " (many at once: wz host" + terminalOption_ + " FILE)");
}

void RunReport::reloaded(const std::string& id, const std::string& what) {
  story_.tell(StoryLine("reloaded").text("app", id).text("because", what));
  if (volume() != Volume::kQuiet) show(id + " reloaded: " + what);
}

void RunReport::screenshot(const std::string& file) {
  story_.tell(StoryLine("screenshot").text("file", file));
}

void RunReport::exited(const std::string& id, int result, const std::string& errorText,
                       const Properties& properties) {
  StoryLine line("exited");
  line.text("app", id).number("result", result);
  if (!errorText.empty()) line.text("error", errorText);
  story_.tell(line.texts("properties", properties));
  if (asJson_ || isQuiet_ || isEndKnown_ || (volume() == Volume::kQuiet && result == 0)) return;
  printLine(id + " ended with result " + std::to_string(result) +
            (errorText.empty() ? "" : ": " + errorText));
  for (const auto& [key, value] : properties) {
    std::string text = "  ";
    text += key;
    text += " = ";
    text += value;
    printLine(text);
  }
}

}  // namespace wz
