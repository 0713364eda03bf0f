// Pages under test: an application folder made by the test, the callbacks of a host, and what
// arrived there.
#ifndef WZAPP_TESTS_PLATFORM_BROWSER_BROWSER_FIXTURE_H
#define WZAPP_TESTS_PLATFORM_BROWSER_BROWSER_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "tests/builders/temporary_directory.h"
#include "workstation/browser/browser_control.h"
#include "zelgui/zelgui.h"

namespace wzapp_test {

// Longer than anything takes on a busy machine; only a failing test waits this long.
constexpr std::chrono::seconds kPatience{60};
constexpr int kPatienceMs = 60'000;

// What a page did with the host's callbacks.
struct Notification {
  std::string to, name, json, from, replyName;
  unsigned flags = 0;
  int timeoutMs = 0;
};
struct LogLine {
  std::string appId;
  int level = 0;
  std::vector<std::string> texts;
};
struct Trace {
  std::string appId, url, status;
};

// Everything that reached the host, and a way to wait for it.
class HostRecord {
 public:
  std::vector<Notification> notifications;
  std::vector<LogLine> logLines;
  std::vector<Trace> traces;
  std::vector<workstation::PageEvent> events;

  // Answers the notifications with a reply, on the script processor's threads; null: {"ok":true}.
  // It may still run when its test is over, so it captures by value what it waits for.
  std::function<int(const Notification&, std::string& reply)> onNotifyAndWait;
  int notifyResult = 0;

  template <class Change>
  void change(Change change) {
    const std::lock_guard<std::mutex> lock(mutex_);
    change(*this);
    changed_.notify_all();
  }

  // Waits until `condition` holds of this record; false when it does not in time.
  template <class Condition>
  [[nodiscard]] bool waitUntil(Condition condition) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, kPatience, [&] { return condition(*this); });
  }

  template <class Look>
  auto look(Look look) {
    const std::lock_guard<std::mutex> lock(mutex_);
    return look(*this);
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
};

// An application's folder with the pages that a test writes.
class TestApplication {
 public:
  // Its start page "index.html" runs `script` in its body. There, finish(value) ends the
  // application with result 0 and the value's JSON text as property "value".
  explicit TestApplication(const std::string& script, std::string id = "shop");

  // One more page like that.
  TestApplication& page(const std::string& name, const std::string& script);
  TestApplication& file(const std::string& name, const std::string& content);

  const std::string& directory() const { return directory_->path(); }
  const std::string& id() const { return id_; }

 private:
  std::unique_ptr<TemporaryDirectory> directory_ = std::make_unique<TemporaryDirectory>();
  std::string id_;
};

// How an invocation ended.
struct Ended {
  int result = 0;
  zelgui::UIProperties properties;
  std::string error;

  std::string value() const {
    const auto found = properties.find("value");
    return found == properties.end() ? "" : found->second;
  }
};

// Registers the script processor and callbacks that fill `host`, and takes them away afterwards.
class BrowserTest : public testing::Test {
 protected:
  BrowserTest();
  ~BrowserTest() override;

  // Opens a page of an application; the id, or negative.
  int open(const TestApplication& application, const std::string& url = "index.html",
           zelgui::UIProperties properties = {});

  Ended wait(int invocation, int timeoutMs = kPatienceMs);

  Ended run(const TestApplication& application, const std::string& url = "index.html",
            zelgui::UIProperties properties = {}) {
    return wait(open(application, url, std::move(properties)));
  }

  // The result of the page's script: what it passed to finish().
  std::string valueOf(const std::string& script);

  [[nodiscard]] bool waitForLog(const std::string& text);

  // Kept to the end of the program: a call that waits for a reply outlives its page.
  HostRecord& host;
};

// Something that a test lets happen.
class Gate {
 public:
  void open() { *open_ = true; }
  [[nodiscard]] bool wait() const;

 private:
  std::shared_ptr<std::atomic<bool>> open_ = std::make_shared<std::atomic<bool>>(false);
};

// A place where several calls meet: wait() returns when `count` have come.
class Meeting {
 public:
  explicit Meeting(int count) : count_(count) {}
  [[nodiscard]] bool wait() const;

 private:
  int count_;
  std::shared_ptr<std::atomic<int>> inside_ = std::make_shared<std::atomic<int>>(0);
};

// The numbers of the processes whose command line contains `text`; zombies are none.
std::vector<int> processesWith(const std::string& text);

// Waits until `condition` holds, looking every few milliseconds: for what nobody announces.
[[nodiscard]] bool pollUntil(const std::function<bool()>& condition);

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_PLATFORM_BROWSER_BROWSER_FIXTURE_H
