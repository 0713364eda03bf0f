#include <algorithm>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "workstation/browser/browser_control.h"
#include "workstation/browser/engine/page/result_codes.h"
#include "wz/commands/commands.h"
#include "wz/reports/output.h"
#include "wz/reports/run_report.h"
#include "wz/terminal/application.h"
#include "wz/terminal/inbox.h"
#include "wz/terminal/interrupt.h"
#include "wz/terminal/session.h"
#include "wz/words/exit_code.h"
#include "wzapp/wzapp.h"

namespace wz {
namespace {

using workstation::PageEvent;
using Properties = std::map<std::string, std::string>;

// Between the first paint and the second picture: fonts, images and transitions.
constexpr std::chrono::milliseconds kSettleTime{400};

// The last record is sent before the application's end is told, but comes by another thread.
constexpr std::chrono::seconds kLastRecordTime{2};

// Where the library's log records go: the name, and the address of whoever collects them.
constexpr char kRecordName[] = "_WZLog";
constexpr char kRecordAddress[] = "1";

// Something that the main thread acts on.
struct RunEvent {
  enum class Kind { kPainted, kEnded, kLastRecord } kind;
  int number = 0;         // kPainted: the invocation; kEnded: the result
  Properties properties;  // kEnded
  std::string errorText;  // kLastRecord: why the application failed, if it did
};

using RunEvents = Inbox<RunEvent>;

void onPageEvent(void* events, const PageEvent& event) {
  reportEvent(event);
  if (event.kind != PageEvent::Kind::kFirstPaint) return;
  static_cast<RunEvents*>(events)->put({RunEvent::Kind::kPainted, event.invocation, {}, {}});
}

// "Error -3 there is no such page\n" -> "there is no such page"
std::string reasonIn(const std::string& message) {
  const std::size_t number = message.find(' ');
  if (number == std::string::npos) return {};
  const std::size_t reason = message.find(' ', number + 1);
  if (reason == std::string::npos) return {};
  return message.substr(reason + 1, message.find_last_not_of('\n') - reason);
}

// The library's last record ends with the application's end, and before it why the run failed. An
// application that could not even be begun says so nowhere else.
void onRecord(void* events, const std::string&, const std::string&, const std::string&,
              const zelipc::JSObject& record, unsigned) {
  reportRecord(record);
  const zelipc::JSObject& entries = record["data"]["msgs"];
  const std::size_t count = entries.size();
  if (count == 0 || entries.at(count - 1)["aE"].asString() != "EXIT") return;
  std::string errorText;
  if (count > 1 && entries.at(count - 2)["msg"].asString().rfind("Error -", 0) == 0) {
    errorText = reasonIn(entries.at(count - 2)["msg"].asString());
  }
  static_cast<RunEvents*>(events)->put({RunEvent::Kind::kLastRecord, 0, {}, errorText});
}

void onExit(void* events, int result, const Properties& properties) {
  static_cast<RunEvents*>(events)->put({RunEvent::Kind::kEnded, result, properties, {}});
}

// ---- What is to be run -------------------------------------------------------------------------

bool readParameters(const RunOptions& options, Properties& parameters) {
  for (const std::string& parameter : options.parameters) {
    const std::size_t equals = parameter.find('=');
    if (equals == 0 || equals == std::string::npos) {
      printMessage("--param is KEY=VALUE, not " + parameter);
      return false;
    }
    parameters[parameter.substr(0, equals)] = parameter.substr(equals + 1);
  }
  return true;
}

// The library makes the configuration root, and moves the applications of an older layout into it,
// at the start of every run; without a manifest it then stops. Done first, so that what is looked
// for or placed there is not in the way of that move.
bool prepareConfigRoot() {
  constexpr int kUnusableRoot = 5;
  wzapp::counted_ptr<wzapp::WZApp> none;
  return wzapp::wzAppRun(none, 0, nullptr, nullptr, {}, nullptr, nullptr) != kUnusableRoot;
}

bool isFolder(const std::string& path) {
  std::error_code failure;
  return std::filesystem::is_directory(path, failure);
}

// The folder stands in for an installed application, so that what runs is what is being worked on.
int placeFolder(const std::string& path, StandIn& standIn, Application& application) {
  std::error_code failure;
  const std::filesystem::path folder = std::filesystem::canonical(path, failure);
  if (failure || !isFolder(folder.string())) {
    printMessage("there is no folder " + path);
    return kUsage;
  }
  packaging::Findings findings;
  const bool isPlaced = standIn.place(folder.string(), findings);
  for (const std::string& warning : findings.warnings) printMessage("warning: " + warning);
  for (const std::string& error : findings.errors) printMessage(error);
  application = standIn.application();
  if (isPlaced) return kDone;
  return application.id.empty() ? kApplicationFailed : kEnvironment;
}

// A path with a "/" is a folder; of a plain name an installed application comes before a folder.
int findApplication(const RunOptions& options, StandIn& standIn, Application& application) {
  if (!options.folder.empty()) return placeFolder(options.folder, standIn, application);
  const std::string& name = options.application;
  const bool isPath = name.find('/') != std::string::npos;
  if (!isPath && findInstalled(name, application)) {
    if (isFolder(name)) {
      printMessage("running the installed application " + name +
                   "; the folder of that name is run by: wz run ./" + name);
    }
    return kDone;
  }
  if (isPath || isFolder(name)) return placeFolder(name, standIn, application);
  printMessage("there is no application " + name +
               ": neither is one of that id installed, nor is there a folder of that name");
  return kUsage;
}

int explainStart(int code, const RunOptions& options, const Application& application) {
  constexpr int kUnreadable = 2, kNoPage = 3;
  if (code == kUnreadable) {
    printMessage(application.manifest + " is no manifest");
    return kApplicationFailed;
  }
  if (code == kNoPage) {
    printMessage(application.manifest + " names no page for the entry " + options.entry);
    return kApplicationFailed;
  }
  printMessage("the application could not be started (" + std::to_string(code) + ")");
  return kEnvironment;
}

// ---- While it runs -----------------------------------------------------------------------------

// A picture of the first paint and a better one when the page has settled: an application that ends
// soon leaves at least the first.
class Photographer {
 public:
  explicit Photographer(std::string file) : file_(std::move(file)) {}

  void onPainted(int invocation) {
    if (file_.empty() || invocation_ >= 0) return;
    invocation_ = invocation;
    take();
    again_ = std::chrono::steady_clock::now() + kSettleTime;
  }

  /// When onTime is to be called next.
  Deadline due() const { return again_; }

  void onTime() {
    take();
    again_ = kNoDeadline;
  }

  /// False after a message when a picture was wanted and none could be taken.
  bool finish() const {
    if (file_.empty() || taken_) return true;
    printMessage("no picture: " + (error_.empty() ? "nothing was painted" : error_));
    return false;
  }

 private:
  void take() {
    if (workstation::takeScreenshot(invocation_, file_, error_)) taken_ = true;
  }

  std::string file_;
  int invocation_ = -1;
  Deadline again_ = kNoDeadline;
  bool taken_ = false;
  std::string error_;
};

struct RunEnd {
  int result = 0;
  Properties properties;
  bool sawLastRecord = false;
  std::string errorText;
};

void note(const RunEvent& event, Photographer& photographer, RunEnd& end) {
  if (event.kind == RunEvent::Kind::kPainted) photographer.onPainted(event.number);
  if (event.kind != RunEvent::Kind::kLastRecord) return;
  end.sawLastRecord = true;
  end.errorText = event.errorText;
}

// Until the application has ended, by itself or because the user or the time limit ends it.
RunEnd awaitEnd(const RunOptions& options, const wzapp::counted_ptr<wzapp::WZApp>& app,
                RunEvents& events, Photographer& photographer) {
  const Deadline limit = deadlineIn(options.timeoutSeconds);
  bool cancelled = false;
  RunEnd end;
  for (;;) {
    const Deadline next = cancelled ? kNoDeadline : std::min(limit, photographer.due());
    const std::optional<RunEvent> event = events.take(next, !cancelled);
    if (event && event->kind == RunEvent::Kind::kEnded) {
      end.result = event->number;
      end.properties = event->properties;
      return end;
    }
    if (event) {
      note(*event, photographer, end);
      continue;
    }
    const auto now = std::chrono::steady_clock::now();
    if (!interrupted() && now < limit) {
      photographer.onTime();
      continue;
    }
    printMessage(interrupted() ? "interrupted; the application is being cancelled"
                               : "time is up; the application is being cancelled");
    cancelled = true;
    wzapp::wzAppCancel(app);
  }
}

void awaitLastRecord(RunEvents& events, Photographer& photographer, RunEnd& end) {
  const Deadline deadline = std::chrono::steady_clock::now() + kLastRecordTime;
  while (!end.sawLastRecord) {
    const std::optional<RunEvent> event = events.take(deadline, false);
    if (!event) return;
    note(*event, photographer, end);
  }
}

int runFound(const RunOptions& options, const Application& application,
             const Properties& parameters, RunEvents& events) {
  Photographer photographer(options.screenshot);
  wzapp::counted_ptr<wzapp::WZApp> app;
  const int code = wzapp::wzAppRun(app, 0, application.manifest.c_str(), options.entry.c_str(),
                                   parameters, onExit, &events);
  if (code != 0) return explainStart(code, options, application);
  RunEnd end = awaitEnd(options, app, events, photographer);
  awaitLastRecord(events, photographer, end);
  reportEnd(application.id, end.result, end.errorText, end.properties);
  const bool pictured = photographer.finish();
  if (end.result == workstation::kNoBrowser) return kEnvironment;
  if (end.result != 0) return kApplicationFailed;
  return pictured ? kDone : kEnvironment;
}

}  // namespace

int runApplication(const RunOptions& given) {
  RunOptions options = given;
  if (options.application.empty() == options.folder.empty()) {
    printMessage("name an application, or its folder with --folder DIR");
    return kUsage;
  }
  Properties parameters;
  if (!readParameters(options, parameters)) return kUsage;
  if (!options.screenshot.empty()) {
    options.screenshot = std::filesystem::absolute(options.screenshot).string();
  }
  watchInterrupts();
  if (!enterChosenTerminal(options.terminal) || !prepareConfigRoot()) return kEnvironment;
  StandIn standIn;
  Application application;
  if (const int code = findApplication(options, standIn, application); code != kDone) return code;
  Session session;
  if (!session.beginBus()) return kEnvironment;

  RunEvents events;
  workstation::BrowserOptions browser;
  browser.headless = options.headless;
  browser.devtools = options.devtools;
  workstation::setBrowserOptions(browser);
  workstation::setPageObserver(onPageEvent, &events);
  zelipc::ipcRegisterNotificationCB(kRecordName, onRecord, &events, 0, kRecordAddress);
  const int code = runFound(options, application, parameters, events);
  zelipc::ipcUnregisterNotificationCB(kRecordName, onRecord, &events, kRecordAddress);
  workstation::setPageObserver(nullptr, nullptr);
  return code;
}

}  // namespace wz
