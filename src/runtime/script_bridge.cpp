#include "runtime/script_bridge.h"

#include "js/jsproc.h"
#include "runtime/app_log.h"
#include "runtime/attempt.h"
#include "runtime/reply_waiter.h"
#include "support/mutex.h"
#include "zelhtml/zelhtml.h"

namespace wzapp {
namespace {

// The two bridges refuse a null argument with codes of their own.
constexpr int kNotifyRefused = -1;
constexpr int kNotifyAndWaitRefused = -12;
constexpr int kNoReply = -11;
constexpr int kNoOptions = 0;

Mutex registrationMutex;
bool registered WZAPP_GUARDED_BY(registrationMutex) = false;

// Lets `waiter` hear of replies and of delivery failures as long as it lives. What the messaging
// library answers is not examined: without a registration no reply comes, and that shows.
class ReplyRegistration {
 public:
  ReplyRegistration(const std::string& replyName, const std::string& from, ReplyWaiter& waiter)
      : replyName_(replyName), from_(from), waiter_(waiter) {
    zelipc::ipcRegisterNotificationCB(replyName_, ReplyWaiter::onReply, &waiter_, kNoOptions,
                                      from_);
  }

  ~ReplyRegistration() {
    attempt([this] {
      zelipc::ipcUnregisterNotificationCB(replyName_, ReplyWaiter::onReply, &waiter_, from_);
    });
  }

  ReplyRegistration(const ReplyRegistration&) = delete;
  ReplyRegistration& operator=(const ReplyRegistration&) = delete;

 private:
  const std::string& replyName_;
  const std::string& from_;
  ReplyWaiter& waiter_;
};

class UnicastErrorRegistration {
 public:
  explicit UnicastErrorRegistration(ReplyWaiter& waiter) : waiter_(waiter) {
    zelipc::ipcRegisterUnicastError(ReplyWaiter::onUnicastError, &waiter_);
  }

  ~UnicastErrorRegistration() {
    attempt([this] { zelipc::ipcUnregisterUnicastError(ReplyWaiter::onUnicastError, &waiter_); });
  }

  UnicastErrorRegistration(const UnicastErrorRegistration&) = delete;
  UnicastErrorRegistration& operator=(const UnicastErrorRegistration&) = delete;

 private:
  ReplyWaiter& waiter_;
};

int notifyAndWait(const std::string& to, const std::string& name, const std::string& json,
                  unsigned int flags, const std::string& from, const std::string& replyName,
                  std::string& reply, int timeoutMs) {
  zelipc::JSObject payload;
  static_cast<void>(parseJson(payload, json));
  ReplyWaiter waiter(from, to, name);
  int sent = 0;
  {
    const ReplyRegistration replies(replyName, from, waiter);
    const UnicastErrorRegistration errors(waiter);
    sent = zelipc::ipcNotify(to, name, payload, flags, from);
    if (sent == 0) waiter.wait(timeoutMs);
  }
  // A reply counts even when the sender was told that sending failed.
  return waiter.takeReply(reply) ? sent : kNoReply;
}

}  // namespace

void registerScriptCallbacks() {
  const MutexLock lock(registrationMutex);
  if (registered) return;
  zelhtml::htmlSetScriptProcessor("js", js::jsProcessorExt, nullptr);
  js::jsSetNotify(onScriptNotify, nullptr);
  js::jsSetNotifyAndWait(onScriptNotifyAndWait, nullptr);
  js::jsSetTrace(onScriptTrace, nullptr);
  js::jsSetLog(onScriptLog, nullptr);
  registered = true;
}

bool parseJson(zelipc::JSObject& out, const std::string& text) {
  const int consumed = out.parse(text.c_str());
  return consumed >= 0 && static_cast<std::size_t>(consumed) == text.size();
}

int onScriptNotify(void*, const char* to, const char* name, const char* json, unsigned int flags,
                   const char* from) noexcept {
  if (to == nullptr || name == nullptr || json == nullptr) return kNotifyRefused;
  int result = kNotifyRefused;
  attempt([&] {
    zelipc::JSObject payload;
    static_cast<void>(parseJson(payload, json));
    result = zelipc::ipcNotify(to, name, payload, flags, from == nullptr ? "" : from);
  });
  return result;
}

int onScriptNotifyAndWait(void*, const char* to, const char* name, const char* json,
                          unsigned int flags, const char* from, const char* replyName,
                          std::string& reply, int timeoutMs) noexcept {
  if (to == nullptr || name == nullptr || json == nullptr || replyName == nullptr) {
    return kNotifyAndWaitRefused;
  }
  int result = kNoReply;
  const bool isComplete = attempt([&] {
    result = notifyAndWait(to, name, json, flags, from == nullptr ? "" : from, replyName, reply,
                           timeoutMs);
  });
  if (!isComplete) reply.clear();
  return result;
}

}  // namespace wzapp
