#include "wz/terminal/watched_run.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>
#include <utility>

#include "wz/reports/output.h"
#include "wz/terminal/folder_watch.h"
#include "wz/terminal/interrupt.h"
#include "wz/terminal/key_reader.h"
#include "wz/terminal/page_actions.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

// What the library reads at an application's start alone.
constexpr const char* kReadAtStart[] = {kFolderManifest, "confApp.json"};

bool isReadAtStart(const std::string& name) {
  return std::find(std::begin(kReadAtStart), std::end(kReadAtStart), name) !=
         std::end(kReadAtStart);
}

bool isStyleSheet(const std::string& name) {
  return std::filesystem::path(name).extension() == ".css";
}

std::string listOf(const std::set<std::string>& names) {
  constexpr std::size_t kShown = 5;
  if (names.empty()) return "the folder is back";
  std::string text;
  std::size_t shown = 0;
  for (const std::string& name : names) {
    if (shown++ == kShown) return text + " and more";
    text += (text.empty() ? "" : ", ") + name;
  }
  return text;
}

// A page that is just being loaded anew cannot be drawn, and a picture that was asked of the old
// one may never be answered: it is asked for again.
bool tookScreenshot(int invocation, const std::string& file, std::string& error) {
  constexpr std::chrono::seconds kLoadTime{3};
  constexpr std::chrono::milliseconds kPause{100};
  const auto deadline = std::chrono::steady_clock::now() + kLoadTime;
  for (;;) {
    const bool isLast = std::chrono::steady_clock::now() >= deadline;
    if (workstation::takeScreenshot(invocation, file, error)) return true;
    if (isLast || interrupted()) return false;
    std::this_thread::sleep_for(kPause);
  }
}

std::string freePictureName(const std::string& id) {
  for (int i = 1;; ++i) {
    const std::string name = id + "-" + std::to_string(i) + ".png";
    if (!std::filesystem::exists(name)) return std::filesystem::absolute(name).string();
  }
}

// The name below `folder` of a file that lies in it; of another one a name that leads out of it.
std::string nameIn(const std::string& folder, const std::string& file) {
  std::error_code failure;
  return std::filesystem::relative(file, folder, failure).string();
}

}  // namespace

WatchedRun::WatchedRun(std::string folder, const std::string& picture, ApplicationRun& run,
                       RunEvents& events, RunReport& report, Check check)
    : folder_(std::move(folder)),
      run_(run),
      events_(events),
      report_(report),
      check_(std::move(check)) {
  if (!picture.empty()) pictures_.insert(nameIn(folder_, picture));
}

int WatchedRun::run() {
  FolderWatch::Listener listener;
  listener.onChanged = [this](std::set<std::string> names) {
    events_.put({RunEvent::Kind::kFolderChanged, 0, {}, {}, false, std::move(names)});
  };
  listener.onGone = [this] { events_.put({RunEvent::Kind::kFolderGone}); };
  listener.onTrouble = [this](const std::string& error) {
    events_.put({RunEvent::Kind::kFolderTrouble, 0, {}, error});
  };
  FolderWatch watch;
  std::string error;
  if (!watch.begin(folder_, listener, error)) {
    printMessage(error);
    return kEnvironment;
  }
  KeyReader keys;
  const bool hasKeys = keys.begin([this](char key) { events_.put({RunEvent::Kind::kKey, key}); });
  printNote("watching " + folder_ + (hasKeys ? "; ? lists the keys" : ""));

  if (const int code = run_.start(); code != 0)
    printMessage("the application could not be started (" + std::to_string(code) + ")");
  const Deadline limit = deadlineIn(run_.plan().timeoutSeconds);
  for (;;) {
    const std::optional<RunEvent> event = run_.next(limit);
    if (!event) break;
    switch (event->kind) {
      case RunEvent::Kind::kEnded:
        run_.finish(*event);
        printNote("the application has ended; the next change starts it anew");
        break;
      case RunEvent::Kind::kFolderChanged:
        onFolderChanged(event->names);
        break;
      case RunEvent::Kind::kFolderGone:
        printMessage(folder_ + " is gone; waiting until it is back");
        break;
      case RunEvent::Kind::kFolderTrouble:
        printMessage(event->text);
        break;
      case RunEvent::Kind::kKey:
        if (onKey(static_cast<char>(event->number))) break;
        cancel();
        return kDone;
      default:
        break;
    }
  }
  if (!interrupted()) printMessage("time is up");
  cancel();
  return kDone;
}

// It is the user who ends it, or what is saved: the result and a log that tell of a cancellation
// would look like a failure.
void WatchedRun::cancel() {
  report_.setEndKnown(true);
  run_.cancel();
  report_.setEndKnown(false);
}

void WatchedRun::onFolderChanged(std::set<std::string> names) {
  if (names.empty()) return onChanged(names);
  for (const std::string& picture : pictures_) names.erase(picture);
  if (!names.empty()) onChanged(names);
}

void WatchedRun::onChanged(const std::set<std::string>& names) {
  const bool isNew = names.empty() || std::any_of(names.begin(), names.end(), isReadAtStart);
  if (isNew || !run_.isRunning()) return startAnew(listOf(names));
  std::string error;
  if (std::all_of(names.begin(), names.end(), isStyleSheet) &&
      reloadStyles(run_.invocation(), names, error)) {
    return report_.reloaded(run_.plan().application.id, listOf(names));
  }
  reload(listOf(names));
}

// A page that cannot be asked to load anew, because it waits for a reply or is gone, makes room for
// a new one.
void WatchedRun::reload(const std::string& because) {
  if (!run_.isRunning()) return startAnew(because);
  std::string error;
  if (!reloadPage(run_.invocation(), error)) return startAnew(because);
  report_.reloaded(run_.plan().application.id, because);
}

void WatchedRun::startAnew(const std::string& because) {
  if (!check_()) return;
  cancel();
  report_.reloaded(run_.plan().application.id, because);
  if (const int code = run_.start(); code != 0)
    printMessage("the application could not be started (" + std::to_string(code) + ")");
}

// False: the user has had enough.
bool WatchedRun::onKey(char key) {
  switch (key) {
    case 'r':
      reload("asked for");
      break;
    case 's':
      takePicture();
      break;
    case 'd':
      openDeveloperTools();
      break;
    case 'q':
      return false;
    case '?':
      printMessage("r reload, s screenshot, d developer tools, q quit, ? this list");
      break;
    default:
      break;
  }
  return true;
}

void WatchedRun::takePicture() {
  if (!run_.isRunning()) return printMessage("no picture: the application has ended");
  const std::string file = freePictureName(run_.plan().application.id);
  pictures_.insert(nameIn(folder_, file));
  std::string error;
  if (!tookScreenshot(run_.invocation(), file, error)) return printMessage("no picture: " + error);
  report_.screenshot(file);
  printMessage("saved " + file);
}

void WatchedRun::openDeveloperTools() {
  std::string error;
  if (!workstation::showDeveloperTools(run_.invocation(), error))
    printMessage("no developer tools: " + error);
}

}  // namespace wz
