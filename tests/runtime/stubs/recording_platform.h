// The terminal's platform libraries for tests: every function writes down that it was called, and
// answers as the test has told it to. Any thread may call any of it; what a test sets, it sets
// while nothing runs.
//
// Linked into a test program, these functions stand in front of those of the workstation platform's
// libraries; only the JSON value is the platform's own.
#ifndef WZAPP_TESTS_RUNTIME_STUBS_RECORDING_PLATFORM_H
#define WZAPP_TESTS_RUNTIME_STUBS_RECORDING_PLATFORM_H

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "js/jsproc.h"
#include "zelgui/zelgui.h"
#include "zelhtml/zelhtml.h"
#include "zelipc/zelipc.h"

namespace stubs {

struct Notification {
  std::string to;
  std::string name;
  std::string json;
  unsigned int flags = 0;
  std::string from;
};

// What is registered with the messaging library at present.
struct ReplyRegistration {
  std::string name;
  std::string from;
  int options = 0;
  zelipc::NotificationCallback callback = nullptr;
  void* data = nullptr;
};

struct ErrorRegistration {
  zelipc::UnicastErrorCallback callback = nullptr;
  void* data = nullptr;
};

// What is registered with the HTML engine and the script processor, once per process.
struct ScriptCallbacks {
  zelhtml::ScriptProcessor processor = nullptr;
  js::JSNotify notify = nullptr;
  js::JSNotifyAndWait notifyAndWait = nullptr;
  js::JSTrace trace = nullptr;
  js::JSLog log = nullptr;
};

// How the platform answers.
struct Answers {
  // Empty: invocations are numbered from 1. On the application's thread.
  std::function<int(const zelgui::UIProperties& properties, const std::string& url)> invoke;
  // Empty: the wait ends when the test ends the invocation, or with kCancelled when the library
  // cancels it. On the application's thread.
  std::function<int(int invocation, zelgui::UIProperties& properties)> wait;
  // Called when the script processor is registered, which is the first of the registrations.
  std::function<void()> registration;
  // Called on the application's thread as the first and the last thing it does.
  std::function<void(bool local)> localProperties;
  std::string scriptError;
  // Empty: 0. Called after the notification has been written down.
  std::function<int(const Notification&)> notify;
  // Of the platform information service, by key; a key without one fails.
  std::map<int, std::string> information;
  // Of the security service, one after the other.
  std::vector<std::string> sponsorRecords;
};

class RecordingPlatform {
 public:
  // Result of a wait that the library has cancelled.
  static constexpr int kCancelled = 77;

  // Forgets calls, invocations and answers. The script callbacks stay, as they do on a terminal.
  // The terminal then has a serial number, a model, 256 MB of memory and a sponsor.
  void reset();

  Answers answers;
  ScriptCallbacks script;

  // The record of calls, in order; tests add lines of their own.
  void note(const std::string& call);
  std::vector<std::string> calls() const;

  // The pages of the GUI service.
  int invoke(const zelgui::UIProperties& properties, const std::string& url);
  int waitForEnd(int invocation, zelgui::UIProperties& properties);
  void cancel(int invocation);
  void end(int invocation, int result);
  std::vector<int> cancelled() const;
  // Both block until so many have been made since the last reset.
  void awaitInvocations(int count);
  void awaitCancels(std::size_t count);

  // The messaging library.
  int send(const Notification& notification);
  void add(const ReplyRegistration& registration);
  // Removing needs no memory.
  void remove(const std::string& name, zelipc::NotificationCallback callback, void* data,
              const std::string& from);
  void add(const ErrorRegistration& registration);
  void remove(const ErrorRegistration& registration);
  std::vector<ReplyRegistration> replyRegistrations() const;
  std::vector<ErrorRegistration> errorRegistrations() const;
  // Those sent under `name`.
  std::vector<Notification> sent(const std::string& name) const;
  // Play the messaging library's thread: call what is registered, on the calling thread.
  void deliver(const std::string& name, const std::string& to, const zelipc::JSObject& payload);
  void deliverError(const std::string& from, const std::string& to, const std::string& name);

  // The security service: the next record of the list; false at its end.
  bool nextSponsorRecord(std::string& record);

  // The lock of this object, for those who record locks.
  const void* ownMutex() const { return &mutex_; }

 private:
  struct Page {
    bool ended = false;
    int result = 0;
  };

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> calls_;
  std::map<int, Page> pages_;
  int invocations_ = 0;
  std::vector<int> cancelled_;
  std::vector<Notification> sent_;
  std::vector<ReplyRegistration> replyRegistrations_;
  std::vector<ErrorRegistration> errorRegistrations_;
  std::size_t nextSponsorRecord_ = 0;
};

// The one of this process.
RecordingPlatform& platform();

// A sponsor record as the security service hands it out; `digits` are six decimal digits.
std::string sponsorRecord(const std::string& digits, const std::string& text);

// A memory record of the platform information service.
std::string memoryRecord(std::uint32_t octets);

}  // namespace stubs

#endif  // WZAPP_TESTS_RUNTIME_STUBS_RECORDING_PLATFORM_H
