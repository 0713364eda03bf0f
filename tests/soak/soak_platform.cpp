#include "tests/soak/soak_platform.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <iterator>
#include <map>
#include <mutex>
#include <new>
#include <vector>

#include "js/jsproc.h"
#include "tests/soak/faults.h"
#include "zelgui/zelgui.h"
#include "zelhtml/zelhtml.h"
#include "zelipc/zelipc.h"

namespace wzapp_test {
namespace {

constexpr char kReplySuffix[] = "-reply";
// The sender waits without limit, so that this one is always answered.
constexpr char kSureName[] = "sure";

struct Sent {
  std::string to;
  std::string name;
  std::string from;
};

struct ReplyRegistration {
  std::string name;
  std::string from;
  zelipc::NotificationCallback callback;
  void* data;
};

struct ErrorRegistration {
  zelipc::UnicastErrorCallback callback;
  void* data;
};

struct State {
  std::mutex mutex;  // held while a callback of the messaging runs, as on a terminal
  int lastInvocation = 0;
  std::map<int, bool> pages;  // those that are open: whether they were cancelled
  std::deque<Sent> sent;
  std::vector<ReplyRegistration> replies;
  std::vector<ErrorRegistration> errors;
};

struct Callbacks {
  js::JSNotify notify = nullptr;
  js::JSNotifyAndWait notifyAndWait = nullptr;
  js::JSTrace trace = nullptr;
  js::JSLog log = nullptr;
};

struct Counts {
  std::atomic<std::uint64_t> pages;
  std::atomic<std::uint64_t> scripts;
  std::atomic<std::uint64_t> notifications;
  std::atomic<std::uint64_t> logs;
  std::atomic<std::uint64_t> replies;
};

State state;
Callbacks scripts;  // set once, before the first page
Counts counted;
std::atomic<unsigned> rate;

// A call of the platform for which there is no memory.
void mayThrow() {
  if (mustFail(kMemoryFault)) throw std::bad_alloc();
}

bool isCancelled(int invocation) {
  const std::lock_guard<std::mutex> lock(state.mutex);
  return state.pages.at(invocation);
}

// --- What scripts do --------------------------------------------------------------------------

void writeLog(const std::string& appId) {
  const auto level = static_cast<js::JSLogLevel>(randomNumber(9));
  std::vector<std::string> args(randomNumber(4), std::string(randomNumber(2000), 'l'));
  setFaults(nextFaultRate());
  scripts.log(nullptr, appId, level, args);
}

void traceRequest(const std::string& appId) {
  std::map<std::string, std::string> info = {{"url", "http://shop/" + appId},
                                             {"status", randomNumber(2) == 0 ? "200" : "404"}};
  setFaults(nextFaultRate());
  scripts.trace(nullptr, js::JS_TRACE_PAGE, appId, info);
}

void sendNotification(const std::string& appId) {
  setFaults(nextFaultRate());
  scripts.notify(nullptr, "desk", "told", R"({"text":"a text of some length"})", 0, appId.c_str());
}

void askAndWait(const std::string& appId) {
  const bool isSure = randomNumber(4) == 0;
  const int timeoutMs = isSure ? -1 : static_cast<int>(randomNumber(8));
  const char* const name = isSure ? kSureName : "asked";
  const std::string reply = name + std::string(kReplySuffix);
  std::string answer;
  setFaults(nextFaultRate());
  scripts.notifyAndWait(nullptr, "desk", name, R"({"question":[1,2,3]})", 0, appId.c_str(),
                        reply.c_str(), answer, timeoutMs);
}

constexpr void (*kScriptSteps[])(const std::string& appId) = {
    writeLog, writeLog, writeLog, traceRequest, sendNotification, askAndWait};

}  // namespace

void setFaultRate(unsigned oneIn) { rate = oneIn; }

unsigned nextFaultRate() {
  static constexpr unsigned kFactors[] = {0, 1, 10};
  return rate * kFactors[randomNumber(std::size(kFactors))];
}

void runScript(const std::string& appId) {
  const NoFaults restored;
  kScriptSteps[randomNumber(std::size(kScriptSteps))](appId);
  ++counted.scripts;
}

bool deliverNext() {
  const NoFaults none;
  const std::lock_guard<std::mutex> lock(state.mutex);
  if (state.sent.empty()) return false;
  const Sent sent = state.sent.front();
  state.sent.pop_front();
  const bool isSure = sent.name == kSureName;
  const std::uint64_t choice = randomNumber(4);
  if (choice == 0 && !isSure) return true;  // it is lost
  setFaults(nextFaultRate());
  if (choice == 1) {
    for (const ErrorRegistration& error : state.errors) {
      error.callback(error.data, sent.from, sent.to, sent.name, zelipc::JSObject(), 0);
    }
    return true;
  }
  setFaults(0);
  zelipc::JSObject payload;
  static_cast<void>(payload.parse(R"({"answer":"of some length"})"));
  setFaults(nextFaultRate());
  for (const ReplyRegistration& reply : state.replies) {
    if (reply.name != sent.name + kReplySuffix || reply.from != sent.from) continue;
    reply.callback(reply.data, "desk", sent.from, reply.name, payload, 0);
    ++counted.replies;
  }
  return true;
}

std::size_t platformObjects() {
  const std::lock_guard<std::mutex> lock(state.mutex);
  return state.pages.size() + state.replies.size() + state.errors.size();
}

PlatformCounts platformCounts() {
  return {counted.pages, counted.scripts, counted.notifications, counted.logs, counted.replies};
}

}  // namespace wzapp_test

using namespace wzapp_test;

namespace zelgui {

// The first and the last thing that an application's thread does.
void uiSetLocalProperties(bool local) { setFaults(local ? nextFaultRate() : 0); }

int uiSetPropertyString(int, int, const char*) {
  mayThrow();
  return 0;
}

int uiSetPropertyInt(int, int, int) {
  mayThrow();
  return 0;
}

int uiReadConfig(int) {
  mayThrow();
  return 0;
}

std::string uiGetTerminalResourceDir(const std::string& applicationDir) {
  return applicationDir + "/t30";
}

int uiInvokeURLAsync(int, int, const UIProperties&, const std::string&, UICallback, void*) {
  mayThrow();
  const NoFaults none;
  if (randomNumber(20) == 0) return -4;
  const std::lock_guard<std::mutex> lock(state.mutex);
  state.pages[++state.lastInvocation] = false;
  return state.lastInvocation;
}

// The page: its scripts, until it has done enough or is cancelled.
int uiInvokeWait(int invocation, UIProperties& properties, int) {
  const bool breaksOff = mustFail(kMemoryFault);
  const NoFaults none;
  const std::string appId = properties["wz_appId"];
  const std::uint64_t steps = randomNumber(12);
  for (std::uint64_t step = 0; step < steps && !breaksOff && !isCancelled(invocation); ++step) {
    runScript(appId);
  }
  // One page in four waits for its end.
  const bool waits = !breaksOff && randomNumber(4) == 0;
  for (int turn = 0; waits && turn < 1000 && !isCancelled(invocation); ++turn) {
    timespec pause = {0, 1000000};
    nanosleep(&pause, nullptr);
  }
  const int result = isCancelled(invocation) ? kCancelledPage : static_cast<int>(steps) - 4;
  {
    const std::lock_guard<std::mutex> lock(state.mutex);
    state.pages.erase(invocation);
  }
  ++counted.pages;
  if (breaksOff) throw std::bad_alloc();
  properties["result"] = std::string(randomNumber(200), 'r');
  return result;
}

int uiInvokeCancelAsync(int invocation) {
  const NoFaults none;
  const std::lock_guard<std::mutex> lock(state.mutex);
  const auto page = state.pages.find(invocation);
  if (page != state.pages.end()) page->second = true;
  return 0;
}

std::string uiScriptError() { return "a script error of some length"; }

}  // namespace zelgui

namespace zelhtml {

void htmlSetScriptProcessor(const std::string&, ScriptProcessor, void*) {}

}  // namespace zelhtml

namespace js {

bool jsProcessorExt(void*, const std::string&, std::map<std::string, std::string>&) {
  return false;
}

void jsSetNotify(JSNotify callback, void*) { scripts.notify = callback; }
void jsSetNotifyAndWait(JSNotifyAndWait callback, void*) { scripts.notifyAndWait = callback; }
void jsSetTrace(JSTrace callback, void*) { scripts.trace = callback; }
void jsSetLog(JSLog callback, void*) { scripts.log = callback; }

}  // namespace js

namespace zelipc {

int ipcNotify(const std::string& to, const std::string& name, const JSObject& payload, unsigned int,
              const std::string& from) {
  static_cast<void>(payload.dump());
  const NoFaults none;
  ++(name == "_WZLog" ? counted.logs : counted.notifications);
  if (name != kSureName && randomNumber(30) == 0) return -1;
  const std::lock_guard<std::mutex> lock(state.mutex);
  if (!name.starts_with('_')) state.sent.push_back({to, name, from});
  return 0;
}

int ipcRegisterNotificationCB(const std::string& name, NotificationCallback callback, void* data,
                              int, const std::string& from) {
  mayThrow();
  const NoFaults none;
  const std::lock_guard<std::mutex> lock(state.mutex);
  state.replies.push_back({name, from, callback, data});
  return 0;
}

// Neither needs memory.
int ipcUnregisterNotificationCB(const std::string&, NotificationCallback, void* data,
                                const std::string&) {
  const std::lock_guard<std::mutex> lock(state.mutex);
  std::erase_if(state.replies, [data](const auto& reply) { return reply.data == data; });
  return 0;
}

int ipcRegisterUnicastError(UnicastErrorCallback callback, void* data) {
  mayThrow();
  const NoFaults none;
  const std::lock_guard<std::mutex> lock(state.mutex);
  state.errors.push_back({callback, data});
  return 0;
}

int ipcUnregisterUnicastError(UnicastErrorCallback, void* data) {
  const std::lock_guard<std::mutex> lock(state.mutex);
  std::erase_if(state.errors, [data](const auto& error) { return error.data == data; });
  return 0;
}

}  // namespace zelipc
