// What a test's callbacks received, and the wait for it.
#ifndef WZAPP_TESTS_PLATFORM_ZELIPC_INBOX_H
#define WZAPP_TESTS_PLATFORM_ZELIPC_INBOX_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "zelipc/zelipc.h"

namespace zelipc_test {

inline constexpr std::chrono::seconds kPatience{60};  // ends a wait for what never comes

struct Received {
  std::string from, to, name, payload;
  unsigned flags = 0;

  bool operator==(const Received& other) const {
    return from == other.from && to == other.to && name == other.name && payload == other.payload &&
           flags == other.flags;
  }
};

/// Collects what its callback gets; registrations that a test leaves end with the inbox.
class Inbox {
 public:
  Inbox() = default;
  Inbox(const Inbox&) = delete;
  Inbox& operator=(const Inbox&) = delete;
  ~Inbox() {
    for (const auto& [address, name] : registrations_) {
      zelipc::ipcUnregisterNotificationCB(name, &Inbox::receive, this, address);
    }
    if (hearsErrors_) zelipc::ipcUnregisterUnicastError(&Inbox::receive, this);
  }

  int listen(const std::string& address, const std::string& name) {
    registrations_.emplace_back(address, name);
    return zelipc::ipcRegisterNotificationCB(name, &Inbox::receive, this, 0, address);
  }
  int stop(const std::string& address, const std::string& name) {
    return zelipc::ipcUnregisterNotificationCB(name, &Inbox::receive, this, address);
  }
  int listenForErrors() {
    hearsErrors_ = true;
    return zelipc::ipcRegisterUnicastError(&Inbox::receive, this);
  }

  /// What came until there were `count`, or until the patience was over.
  std::vector<Received> await(std::size_t count) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, kPatience, [&] { return received_.size() >= count; });
    return received_;
  }

  std::vector<Received> all() { return await(0); }

  /// The same, and forgets it.
  std::vector<Received> take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(received_, {});
  }

  static void receive(void* inbox, const std::string& from, const std::string& to,
                      const std::string& name, const zelipc::JSObject& payload, unsigned flags) {
    auto& self = *static_cast<Inbox*>(inbox);
    const std::lock_guard lock(self.mutex_);
    self.received_.push_back({from, to, name, payload.dump(), flags});
    self.changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Received> received_;
  std::vector<std::pair<std::string, std::string>> registrations_;
  bool hearsErrors_ = false;
};

/// Sends a notification and waits for its reply or a delivery error, as an application's call does.
class Call {
 public:
  enum class Outcome { kReply, kUnreached, kNotSent, kTimeout };

  Call(std::string to, std::string name, std::string from)
      : to_(std::move(to)), name_(std::move(name)), from_(std::move(from)) {}

  Outcome run(const zelipc::JSObject& payload, std::chrono::milliseconds limit = kPatience) {
    const std::string replyName = name_ + "_reply";
    const bool registered =
        zelipc::ipcRegisterNotificationCB(replyName, &Call::onReply, this, 0, from_) == 0 &&
        zelipc::ipcRegisterUnicastError(&Call::onError, this) == 0;
    const bool sent = registered && zelipc::ipcNotify(to_, name_, payload, 0, from_) == 0;
    if (sent) {
      std::unique_lock lock(mutex_);
      changed_.wait_for(lock, limit, [this] { return done_; });
    }
    zelipc::ipcUnregisterUnicastError(&Call::onError, this);
    zelipc::ipcUnregisterNotificationCB(replyName, &Call::onReply, this, from_);
    return sent ? outcome_ : Outcome::kNotSent;
  }

  const std::string& reply() const { return reply_; }

 private:
  static void onReply(void* call, const std::string&, const std::string&, const std::string&,
                      const zelipc::JSObject& payload, unsigned) {
    static_cast<Call*>(call)->finish(Outcome::kReply, payload.dump());
  }

  static void onError(void* call, const std::string& from, const std::string& to,
                      const std::string& name, const zelipc::JSObject&, unsigned) {
    auto& self = *static_cast<Call*>(call);
    if (from == self.from_ && to == self.to_ && name == self.name_) {
      self.finish(Outcome::kUnreached, "");
    }
  }

  void finish(Outcome outcome, const std::string& reply) {
    const std::lock_guard lock(mutex_);
    outcome_ = outcome;
    reply_ = reply;
    done_ = true;
    changed_.notify_all();
  }

  const std::string to_, name_, from_;
  std::mutex mutex_;
  std::condition_variable changed_;
  Outcome outcome_ = Outcome::kTimeout;
  std::string reply_;
  bool done_ = false;
};

/// Answers every notification of one name with its own payload.
class Echo {
 public:
  Echo(std::string address, std::string name)
      : address_(std::move(address)), name_(std::move(name)) {
    zelipc::ipcRegisterNotificationCB(name_, &Echo::answer, this, 0, address_);
  }
  Echo(const Echo&) = delete;
  Echo& operator=(const Echo&) = delete;
  ~Echo() { zelipc::ipcUnregisterNotificationCB(name_, &Echo::answer, this, address_); }

 private:
  static void answer(void*, const std::string& from, const std::string& to, const std::string& name,
                     const zelipc::JSObject& payload, unsigned flags) {
    zelipc::ipcNotify(from, name + "_reply", payload, flags, to);
  }

  const std::string address_, name_;
};

}  // namespace zelipc_test

#endif  // WZAPP_TESTS_PLATFORM_ZELIPC_INBOX_H
