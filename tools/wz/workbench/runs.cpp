#include "wz/workbench/runs.h"

#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <utility>
#include <vector>

#include "installer/application_manifest.h"
#include "workstation/browser/engine/protocol/base64.h"
#include "wz/terminal/application.h"
#include "wz/workbench/pointer.h"
#include "wz/workbench/readings.h"
#include "wz/workbench/run_question.h"
#include "wz/workbench/uploads.h"

namespace wz {

using zelipc::JSObject;

namespace {

constexpr std::size_t kKeptRuns = 20;  // that have ended
constexpr char kLogRecord[] = "_WZLog";
constexpr std::size_t kKeptRecords = 50;  // of an application, 40 KB each

// The words of the last line: what a command says when it cannot go on.
std::string lastMessage(const std::string& errors) {
  std::string text = errors;
  while (!text.empty() && text.back() == '\n') text.pop_back();
  text.erase(0, text.rfind('\n') + 1);  // npos + 1 is 0
  return text.starts_with("wz: ") ? text.substr(4) : text;
}

}  // namespace

struct Runs::Run {
  std::uint32_t number = 0;
  RunQuestion question;
  std::string application;  // id, once it is known
  std::string recording;    // its name among what is saved
  std::int64_t began = 0, ended = -1;
  enum class State { kStarting, kRunning, kEnded } state = State::kStarting;
  bool hasResult = false;
  long long result = 0;
  std::string error;
  JSObject properties;

  std::string url;  // of the debugging socket
  std::unique_ptr<PageView> view;
  std::string pressed = "none";

  std::unique_ptr<Child> child;  // first to go

  std::string source() const { return "run " + std::to_string(number); }
  JSObject describe() const;
};

Runs::Runs(Loop& loop, Pages& pages, std::string saved, int width, int height)
    : loop_(loop), pages_(pages), saved_(std::move(saved)), width_(width), height_(height) {}

Runs::~Runs() = default;

// ---- Beginning and end -------------------------------------------------------------------------

std::string Runs::freeName(const std::string& id, const char* ending) const {
  const std::string stem = plainFileName(id);
  for (int i = 1;; ++i) {
    std::string name = stem + "-" + std::to_string(i) + ending;
    struct stat status {};
    if (lstat((saved_ + "/" + name).c_str(), &status) != 0) return name;
  }
}

void Runs::start(const JSObject& question, const Answer& answer) {
  auto run = std::make_unique<Run>();
  const Problem problem = readRunQuestion(question, run->question);
  if (!problem.empty()) return answer.failed(problem);
  run->number = ++lastRun_;
  run->view = std::make_unique<PageView>(loop_, pages_, run->number);
  run->application = run->question.application;
  if (run->application.empty()) {
    run->application = wzapp::readManifestAppId(run->question.folder + "/" + kFolderManifest);
  }
  if (run->question.width == 0) {
    run->question.width = width_;
    run->question.height = height_;
  }
  run->began = pages_.log().now();
  if (run->question.isRecorded) {
    const std::string& what = run->application.empty() ? run->question.folder : run->application;
    run->recording = freeName(what, ".jsonl");
    // Two starts at once must not take one name.
    std::ofstream(saved_ + "/" + run->recording).close();
  }

  ChildPlan plan;
  plan.arguments =
      runArguments(run->question, run->recording.empty() ? "" : saved_ + "/" + run->recording);
  Run* const self = run.get();
  Child::Listener listener;
  listener.onLine = [this, self](const std::string& line) { onLine(*self, line); };
  listener.onEnd = [this, self](const ChildEnd& end) { onEnd(*self, end); };
  JSObject event;
  event["event"] = JSObject("run-started");
  event["run"] = JSObject(static_cast<long long>(run->number));
  event["application"] =
      JSObject(run->application.empty() ? run->question.folder : run->application);
  event["entry"] = JSObject(run->question.entry);
  pages_.tell("workbench", event);
  std::string error;
  run->child = Child::start(loop_, plan, std::move(listener), error);
  if (!run->child) return answer.failed(error);
  runs_.push_back(std::move(run));
  dropOld();
  pages_.stateChanged();
  JSObject result;
  result["run"] = JSObject(static_cast<long long>(self->number));
  answer.done(result);
}

void Runs::dropOld() {
  const auto hasEnded = [](const auto& run) { return run->state == Run::State::kEnded; };
  auto ended = static_cast<std::size_t>(std::count_if(runs_.begin(), runs_.end(), hasEnded));
  for (auto run = runs_.begin(); ended > kKeptRuns && run != runs_.end();) {
    if (!hasEnded(*run)) {
      ++run;
      continue;
    }
    run = runs_.erase(run);
    --ended;
  }
}

Runs::Run* Runs::find(const JSObject& question, const Answer& answer) {
  for (const auto& run : runs_) {
    if (question["run"].isInt() && question["run"].asInt() == run->number) return run.get();
  }
  answer.failed("there is no run " + question["run"].dump());
  return nullptr;
}

Runs::Run* Runs::findLive(const JSObject& question, const Answer& answer) {
  Run* const run = find(question, answer);
  if (run == nullptr || run->view->isOpen()) return run;
  answer.failed(run->state == Run::State::kEnded ? "the application has ended"
                                                 : "the application has no page yet");
  return nullptr;
}

void Runs::cancel(const JSObject& question, const Answer& answer) {
  Run* const run = find(question, answer);
  if (run == nullptr) return;
  if (run->child) run->child->end();
  answer.done();
}

void Runs::endAll(std::function<void()> onEnded) {
  const auto isLive = [](const auto& run) { return run->child != nullptr; };
  if (std::none_of(runs_.begin(), runs_.end(), isLive)) return onEnded();
  onEnded_ = std::move(onEnded);
  for (const auto& run : runs_) {
    if (run->child) run->child->end();
  }
}

void Runs::onEnd(Run& run, const ChildEnd& end) {
  run.view->close();
  run.state = Run::State::kEnded;
  run.ended = pages_.log().now();
  if (!run.hasResult && run.error.empty()) {
    run.error = lastMessage(end.errors);
    if (run.error.empty()) run.error = "wz run ended with " + std::to_string(end.code);
  }
  JSObject event;
  event["event"] = JSObject("run-ended");
  event["run"] = JSObject(static_cast<long long>(run.number));
  event["application"] = JSObject(run.application);
  event["code"] = JSObject(end.code);
  if (run.hasResult) event["result"] = JSObject(run.result);
  if (!run.error.empty()) event["error"] = JSObject(run.error);
  pages_.tell("workbench", event);
  pages_.stateChanged();
  pages_.changed({"files"});
  run.child.reset();
  const auto isLive = [](const auto& one) { return one->child != nullptr; };
  if (onEnded_ && std::none_of(runs_.begin(), runs_.end(), isLive)) {
    std::exchange(onEnded_, nullptr)();
  }
}

// ---- The story ---------------------------------------------------------------------------------

void Runs::onLine(Run& run, const std::string& line) {
  JSObject parsed;
  if (parsed.parse(line.c_str()) < 0) return;
  const std::string event = parsed["event"].asString();
  if (event == "debugging") {  // a secret of the workbench's own
    run.url = parsed["url"].asString();
    return;
  }
  if (event.empty()) {  // the document of a command that could not go on
    const JSObject& diagnostics = parsed["diagnostics"];
    if (diagnostics.size() > 0) run.error = diagnostics.at(0)["message"].asString();
    return;
  }
  onStoryLine(run, parsed);
  pages_.tell(run.source(), line);
}

void Runs::onStoryLine(Run& run, const JSObject& line) {
  const std::string event = line["event"].asString();
  if (event == "launched") {
    run.application = line["app"].asString();
    pages_.stateChanged();
  } else if (event == "properties") {
    run.state = Run::State::kRunning;
    run.view->open(run.url);
    pages_.stateChanged();
  } else if (event == "exited") {
    run.hasResult = true;
    run.result = line["result"].asInt();
    run.error = line["error"].asString();
    run.properties = line["properties"];
    pages_.stateChanged();
  } else if (event == "messageReceived" && line["name"].asString() == kLogRecord) {
    std::deque<JSObject>& records = logs_[run.application];
    if (records.size() == kKeptRecords) records.pop_front();
    records.push_back(line["payload"]);
  }
}

void Runs::tellLog(const JSObject& question, const Answer& answer) const {
  const std::string application = question["application"].asString();
  JSObject result = objectWith("application", application);
  result["entries"] = JSObject::array();
  const auto found = logs_.find(application);
  if (found != logs_.end()) {
    for (const JSObject& record : found->second) addLogEntries(record, result["entries"]);
  }
  answer.done(result);
}

JSObject Runs::Run::describe() const {
  constexpr const char* kStates[] = {"starting", "running", "ended"};
  JSObject object;
  object["run"] = JSObject(static_cast<long long>(number));
  object["application"] = JSObject(application.empty() ? question.folder : application);
  if (!question.folder.empty()) object["folder"] = JSObject(question.folder);
  object["entry"] = JSObject(question.entry);
  object["parameters"] = JSObject();
  for (const auto& [key, value] : question.parameters) {
    object["parameters"][key] = JSObject(value);
  }
  object["display"]["width"] = JSObject(question.width);
  object["display"]["height"] = JSObject(question.height);
  if (!question.locale.empty()) object["locale"] = JSObject(question.locale);
  object["touch"] = JSObject(!question.hasNoTouch);
  if (question.keys >= 0) object["keypad"] = JSObject(question.keys);
  object["state"] = JSObject(kStates[static_cast<int>(state)]);
  object["began"] = JSObject(static_cast<long long>(began));
  if (ended >= 0) object["ended"] = JSObject(static_cast<long long>(ended));
  if (hasResult) object["result"] = JSObject(result);
  if (!error.empty()) object["error"] = JSObject(error);
  if (hasResult) object["properties"] = properties;
  if (!recording.empty()) object["recording"] = JSObject(recording);
  return object;
}

JSObject Runs::state() const {
  JSObject list = JSObject::array();
  for (const auto& run : runs_) list.append(run->describe());
  return list;
}

// ---- Pictures ----------------------------------------------------------------------------------

void Runs::look(const JSObject& question, const Answer& answer) {
  Run* const run = find(question, answer);
  const SharedPage page = answer.page();
  if (run == nullptr || !page) return;
  run->view->look(page, question["on"].asBool());
  answer.done();
}

void Runs::seen(const JSObject& question, const Answer& answer) {
  Run* const run = find(question, answer);
  const SharedPage page = answer.page();
  if (run == nullptr || !page) return;
  run->view->seen(page, static_cast<std::uint32_t>(question["frame"].asInt()));
  answer.done();
}

void Runs::forget(const SharedPage& page) {
  for (const auto& run : runs_) run->view->forget(page);
}

void Runs::takePicture(const JSObject& question, const Answer& answer) {
  Run* const run = findLive(question, answer);
  if (run == nullptr) return;
  JSObject params;
  params["format"] = JSObject("png");
  const std::string id = run->application;
  run->view->send("Page.captureScreenshot", params,
                  [this, answer, id](const JSObject& result, const std::string& error) {
                    std::string png;
                    if (!error.empty()) return answer.failed(error);
                    if (!workstation::base64Decode(result["data"].asString(), png)) {
                      return answer.failed("the browser has given no picture");
                    }
                    const std::string name = freeName(id, ".png");
                    std::ofstream file(saved_ + "/" + name, std::ios::binary);
                    file << png;
                    file.close();
                    if (!file) return answer.failed("the picture could not be written");
                    answer.done(objectWith("name", name));
                  });
}

// ---- Input -------------------------------------------------------------------------------------

void Runs::point(const JSObject& question, const Answer& answer) {
  Run* const run = findLive(question, answer);
  if (run == nullptr) return;
  PageCommand command;
  const Problem problem = pointerCommand(question, run->pressed, command);
  if (!problem.empty()) return answer.failed(problem);
  run->view->send(command.method, command.params);
  answer.done();
}

void Runs::press(const JSObject& question, const Answer& answer) {
  Run* const run = findLive(question, answer);
  if (run == nullptr) return;
  std::vector<PageCommand> commands;
  const Problem problem = keyCommands(question, commands);
  if (!problem.empty()) return answer.failed(problem);
  for (const PageCommand& command : commands) run->view->send(command.method, command.params);
  answer.done();
}

}  // namespace wz
