#include "tests/platform/browser/browser_fixture.h"

#include <dirent.h>
#include <poll.h>

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <thread>
#include <utility>

#include "js/jsproc.h"
#include "zelhtml/zelhtml.h"

namespace wzapp_test {
namespace {

HostRecord& record(void* user) { return *static_cast<HostRecord*>(user); }

int onNotify(void* user, const char* to, const char* name, const char* json, unsigned flags,
             const char* from) {
  record(user).change([&](HostRecord& host) {
    host.notifications.push_back({to, name, json, from, "", flags, 0});
  });
  return record(user).look([](const HostRecord& host) { return host.notifyResult; });
}

int onNotifyAndWait(void* user, const char* to, const char* name, const char* json, unsigned flags,
                    const char* from, const char* replyName, std::string& reply, int timeoutMs) {
  const Notification notification = {to, name, json, from, replyName, flags, timeoutMs};
  record(user).change([&](HostRecord& host) { host.notifications.push_back(notification); });
  const auto answer =
      record(user).look([](const HostRecord& host) { return host.onNotifyAndWait; });
  if (answer) return answer(notification, reply);
  reply = R"({"ok":true})";
  return 0;
}

void onLog(void* user, const std::string& appId, js::JSLogLevel level,
           const std::vector<std::string>& texts) {
  record(user).change([&](HostRecord& host) { host.logLines.push_back({appId, level, texts}); });
}

void onTrace(void* user, js::JSTraceType type, const std::string& appId,
             std::map<std::string, std::string>& info) {
  if (type != js::JS_TRACE_PAGE) return;
  record(user).change([&](HostRecord& host) {
    host.traces.push_back({appId, info["url"], info["status"]});
  });
}

void onPageEvent(void* user, const workstation::PageEvent& event) {
  record(user).change([&](HostRecord& host) { host.events.push_back(event); });
}

HostRecord& newRecord() {
  static auto* const kRecords = new std::deque<HostRecord>;
  return kRecords->emplace_back();
}

constexpr char kPageStart[] = R"(<!doctype html><meta charset="utf-8"><p>page</p><script>
function finish(value) { wz.exit(0, {value: JSON.stringify(value) ?? 'undefined'}); }
)";

}  // namespace

TestApplication::TestApplication(const std::string& script, std::string id) : id_(std::move(id)) {
  page("index.html", script);
}

TestApplication& TestApplication::page(const std::string& name, const std::string& script) {
  return file(name, kPageStart + script + "\n</script>\n");
}

TestApplication& TestApplication::file(const std::string& name, const std::string& content) {
  const auto folder = std::filesystem::path(*directory_ / name).parent_path();
  std::filesystem::create_directories(folder);
  directory_->write(name, content);
  return *this;
}

BrowserTest::BrowserTest() : host(newRecord()) {
  // The tests that open windows bring a display of their own.
  ::unsetenv("DISPLAY");
  ::unsetenv("WAYLAND_DISPLAY");
  zelhtml::htmlSetScriptProcessor("js", js::jsProcessorExt, nullptr);
  js::jsSetNotify(onNotify, &host);
  js::jsSetNotifyAndWait(onNotifyAndWait, &host);
  js::jsSetLog(onLog, &host);
  js::jsSetTrace(onTrace, &host);
  workstation::setPageObserver(onPageEvent, &host);
  zelgui::uiSetLocalProperties(true);
}

BrowserTest::~BrowserTest() {
  zelgui::uiSetLocalProperties(false);
  workstation::setPageObserver(nullptr, nullptr);
  js::jsSetNotify(nullptr, nullptr);
  js::jsSetNotifyAndWait(nullptr, nullptr);
  js::jsSetLog(nullptr, nullptr);
  js::jsSetTrace(nullptr, nullptr);
}

int BrowserTest::open(const TestApplication& application, const std::string& url,
                      zelgui::UIProperties properties) {
  properties["wz_appId"] = application.id();
  zelgui::uiSetPropertyString(0, 2010, application.directory().c_str());
  return zelgui::uiInvokeURLAsync(0, 0, properties, url, nullptr, nullptr);
}

Ended BrowserTest::wait(int invocation, int timeoutMs) {
  Ended ended;
  ended.result = zelgui::uiInvokeWait(invocation, ended.properties, timeoutMs);
  ended.error = zelgui::uiScriptError();
  return ended;
}

std::string BrowserTest::valueOf(const std::string& script) {
  const Ended ended = run(TestApplication(script));
  EXPECT_EQ(ended.result, 0) << ended.error;
  return ended.value();
}

bool BrowserTest::waitForLog(const std::string& text) {
  return host.waitUntil([&](const HostRecord& record) {
    return std::any_of(record.logLines.begin(), record.logLines.end(), [&](const LogLine& line) {
      return !line.texts.empty() && line.texts[0] == text;
    });
  });
}

std::vector<int> processesWith(const std::string& text) {
  std::vector<int> found;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const int pid = std::atoi(entry.path().filename().c_str());
    if (pid <= 0) continue;
    // A zombie has no command line any more, and one that ends meanwhile gives a read error.
    std::ifstream file(entry.path() / "cmdline", std::ios::binary);
    std::string line;
    std::getline(file, line);
    if (line.find(text) != std::string::npos) found.push_back(pid);
  }
  return found;
}

bool Gate::wait() const {
  return pollUntil([&] { return open_->load(); });
}

bool Meeting::wait() const {
  ++*inside_;
  return pollUntil([&] { return inside_->load() >= count_; });
}

bool pollUntil(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

}  // namespace wzapp_test
