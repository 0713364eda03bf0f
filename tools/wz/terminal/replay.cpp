#include "wz/terminal/replay.h"

#include <algorithm>
#include <chrono>

#include "wz/terminal/page_actions.h"

namespace wz {
namespace {

using Clock = std::chrono::steady_clock;
using workstation::PageEvent;

// Nobody wants to wait as long as the one who recorded it has thought.
constexpr double kLongestPause = 1;

// How often an element is looked for.
constexpr std::chrono::milliseconds kLookTime{25};

std::string text(const rapidjson::Value& line, const char* name) {
  const auto member = line.FindMember(name);
  return member != line.MemberEnd() && member->value.IsString() ? member->value.GetString() : "";
}

int number(const rapidjson::Value& line, const char* name) {
  const auto member = line.FindMember(name);
  return member != line.MemberEnd() && member->value.IsInt() ? member->value.GetInt() : 0;
}

Deadline after(Deadline from, double seconds) {
  return from + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

// The characters of a UTF-8 text.
std::vector<std::string> charactersOf(const std::string& text) {
  std::vector<std::string> characters;
  for (const char c : text) {
    const bool isContinued = (static_cast<unsigned char>(c) & 0xC0) == 0x80;
    if (isContinued && !characters.empty()) {
      characters.back() += c;
    } else {
      characters.emplace_back(1, c);
    }
  }
  return characters;
}

// What the line does, a key at a time.
std::vector<PageEvent::Input> inputsOf(const rapidjson::Value& line) {
  const std::string event = text(line, "event");
  PageEvent::Input input;
  input.target = text(line, "target");
  input.text = text(line, "text");
  input.hasPoint = line.HasMember("x") && line.HasMember("y");
  input.x = number(line, "x");
  input.y = number(line, "y");
  input.action = event == "press" ? "key" : event;
  if (event != "type") return {input};
  std::vector<PageEvent::Input> keys;
  input.action = "key";
  for (const std::string& character : charactersOf(text(line, "text"))) {
    input.text = character;
    keys.push_back(input);
  }
  return keys;
}

bool tellsTheEnd(const Recording& recording) {
  return !recording.lines.empty() && text(recording.lines.back().json, "event") == "exited";
}

bool endsByItself(const Recording& recording) {
  constexpr int kCancelled = -8;
  return tellsTheEnd(recording) && number(recording.lines.back().json, "result") != kCancelled;
}

}  // namespace

Replay::Replay(const Recording& recording, ApplicationRun& run, double tolerance)
    : recording_(recording),
      run_(run),
      tolerance_(tolerance),
      story_(recording),
      end_(recording.lines.size()) {}

std::string Replay::lineName(std::size_t index) const {
  return "line " + std::to_string(recording_.lines[index].number);
}

int Replay::run() {
  if (const int code = run_.start(); code != 0) return code;
  for (std::size_t i = 0; i < recording_.lines.size() && end_ == recording_.lines.size(); ++i) {
    if (!isInput(recording_.lines[i].json)) continue;
    if (awaitEventsBefore(i) && pauseBefore(i)) (void)act(i);
  }
  if (end_ == recording_.lines.size()) awaitEnd();
  run_.cancel();
  // What it has said as it ended.
  while (take(Clock::now())) {
  }
  const std::vector<std::string> found = story_.differences(end_);
  differences_.insert(differences_.begin(), found.begin(), found.end());
  return 0;
}

// One event, or nothing until the deadline.
bool Replay::take(Deadline deadline) {
  const std::optional<RunEvent> event = run_.next(deadline);
  if (!event) return false;
  if (event->kind == RunEvent::Kind::kEnded) run_.finish(*event);
  if (event->kind != RunEvent::Kind::kStory) return true;
  if (auto line = recordedLine(event->text)) story_.add(std::move(*line));
  return true;
}

void Replay::stopAt(std::size_t index, const std::string& why) {
  end_ = index;
  differences_.push_back(lineName(index) + ": " + why + "; the rest was not replayed");
}

bool Replay::awaitEventsBefore(std::size_t index) {
  const double recorded =
      recording_.lines[index].at - (index > 0 ? recording_.lines[index - 1].at : 0);
  const Deadline deadline = after(Clock::now(), std::max(recorded, 0.0) + tolerance_);
  while (!story_.hasComeTo(index)) {
    if (!run_.isRunning()) break;
    if (take(deadline)) continue;
    stopAt(index, "what was recorded before it has not come");
    return false;
  }
  if (run_.isRunning()) return true;
  stopAt(index, "the application has ended before it");
  return false;
}

bool Replay::pauseBefore(std::size_t index) {
  const double before = index > 0 ? recording_.lines[index - 1].at : 0;
  const double pause = std::clamp(recording_.lines[index].at - before, 0.0, kLongestPause);
  const Deadline begin = after(Clock::now(), pause);
  while (run_.isRunning() && take(begin)) {
  }
  if (run_.isRunning()) return true;
  stopAt(index, "the application has ended before it");
  return false;
}

bool Replay::act(std::size_t index) {
  for (const PageEvent::Input& input : inputsOf(recording_.lines[index].json)) {
    if (!actOnce(input, index)) return false;
  }
  return true;
}

bool Replay::actOnce(const PageEvent::Input& input, std::size_t index) {
  const Deadline deadline = after(Clock::now(), tolerance_);
  std::string error;
  for (;;) {
    const Acted acted = actOnPage(run_.invocation(), input, error);
    if (acted == Acted::kDone || (acted == Acted::kLost && hasEndedSoon())) return true;
    const bool isOver = acted == Acted::kLost || !run_.isRunning() || Clock::now() >= deadline;
    if (isOver || interrupted()) {
      stopAt(index, run_.isRunning() ? error : "the application has ended before it");
      return false;
    }
    (void)take(Clock::now() + kLookTime);
  }
}

// Whether the application ends, as one does that took the input for its end.
bool Replay::hasEndedSoon() {
  const Deadline deadline = after(Clock::now(), tolerance_);
  while (run_.isRunning() && take(deadline)) {
  }
  return !run_.isRunning();
}

void Replay::awaitEnd() {
  const std::size_t size = recording_.lines.size();
  if (size == 0) return;
  double recorded = recording_.lines.back().at;
  for (std::size_t i = size; i-- > 0;) {
    if (!isInput(recording_.lines[i].json)) continue;
    recorded -= recording_.lines[i].at;
    break;
  }
  const bool waitsForEnd = endsByItself(recording_);
  const std::size_t last = tellsTheEnd(recording_) ? size - 1 : size;
  const Deadline deadline = after(Clock::now(), std::max(recorded, 0.0) + tolerance_);
  while (run_.isRunning() && (waitsForEnd || !story_.hasComeTo(last))) {
    if (!take(deadline)) return;
  }
}

}  // namespace wz
