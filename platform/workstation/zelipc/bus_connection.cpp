#include "workstation/zelipc/bus_connection.h"

#include <systemd/sd-bus.h>

#include <cerrno>
#include <climits>
#include <cstddef>
#include <utility>

#include "workstation/zelipc/bus_config.h"
#include "workstation/zelipc/bus_names.h"
#include "workstation/zelipc/notification_message.h"

namespace workstation {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kAnswerLimit{5};  // a bus that takes longer is taken for lost
constexpr std::uint64_t kAnswerLimitUs = std::chrono::microseconds(kAnswerLimit).count();
constexpr int kMessagesAtOnce = 64;
constexpr std::size_t kHeaderRoom = 4096;  // header, keys and array lengths of a notification

constexpr const char* kDaemonName = "org.freedesktop.DBus";
constexpr const char* kDaemonPath = "/org/freedesktop/DBus";

struct MessageCloser {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, MessageCloser>;

class BusError {
 public:
  BusError() = default;
  BusError(const BusError&) = delete;
  BusError& operator=(const BusError&) = delete;
  ~BusError() { sd_bus_error_free(&error_); }
  sd_bus_error* get() { return &error_; }

 private:
  sd_bus_error error_ = {nullptr, nullptr, 0};
};

std::uint64_t microsecondsUntil(Clock::time_point deadline) {
  const auto left = std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now());
  return left.count() <= 0 ? 0 : static_cast<std::uint64_t>(left.count());
}

int appendOctets(sd_bus_message* message, std::string_view octets) {
  return sd_bus_message_append_array(message, 'y', octets.data(), octets.size());
}

Message newDaemonCall(sd_bus* bus, const char* method) {
  sd_bus_message* call = nullptr;
  const int code =
      sd_bus_message_new_method_call(bus, &call, kDaemonName, kDaemonPath, kDaemonName, method);
  return code < 0 ? nullptr : Message(call);
}

Message newDaemonCall(sd_bus* bus, const char* method, const std::string& text) {
  Message call = newDaemonCall(bus, method);
  return call && sd_bus_message_append(call.get(), "s", text.c_str()) >= 0 ? std::move(call)
                                                                           : nullptr;
}

// The signal that carries a notification, to the owner of its address's name.
Message newSignal(sd_bus* bus, const Notification& notification) {
  sd_bus_message* signal = nullptr;
  if (sd_bus_message_new_signal(bus, &signal, kBusPath, kBusInterface, kBusMember) < 0) {
    return nullptr;
  }
  Message message(signal);
  int code = sd_bus_message_set_destination(signal, busName(notification.to).c_str());
  if (code >= 0) code = sd_bus_message_set_auto_start(signal, 0);  // there is nothing to start
  if (code >= 0) {
    code = sd_bus_message_append(signal, "ss", busKey(notification.to).c_str(),
                                 busKey(notification.name).c_str());
  }
  for (const std::string_view octets :
       {std::string_view(notification.from), std::string_view(notification.to),
        std::string_view(notification.name), std::string_view(notification.text)}) {
    if (code >= 0) code = appendOctets(signal, octets);
  }
  if (code >= 0) code = sd_bus_message_append(signal, "u", notification.flags);
  return code < 0 ? nullptr : std::move(message);
}

}  // namespace

const std::size_t BusConnection::kLargest = kBusMessageLimit - kHeaderRoom;

std::size_t BusConnection::sizeOf(const Notification& notification) {
  return notification.from.size() + notification.to.size() + notification.name.size() +
         notification.text.size();
}

// What has become of a notification. The bus says so only where it found nobody; that it has got
// past the notification shows by the answer to a call behind it.
struct BusConnection::Question {
  BusConnection& connection;
  SharedNotification notification;
  std::uint64_t cookie;  // the bus's name for the notification
  bool isReturned = false;
  std::list<Question>::iterator self;
};

// The answer to a call for a match; the call is forgotten with it.
struct BusConnection::MatchAnswer {
  ~MatchAnswer() { sd_bus_slot_unref(slot); }

  sd_bus_slot* slot = nullptr;
  bool hasCome = false;
  bool isRefusal = false;
};

// What sd-bus calls. No exception may go through it.
struct BusConnection::Callbacks {
  static int onMessage(sd_bus_message* message, void* connection, sd_bus_error*) {
    auto& self = *static_cast<BusConnection*>(connection);
    if (sd_bus_message_is_method_error(message, nullptr) > 0) return onReturned(self, message);
    if (sd_bus_message_is_signal(message, kBusInterface, kBusMember) <= 0) return 0;
    if (isOwn(self, message)) return 1;
    try {
      SharedNotification notification = readNotification(message);
      if (notification) self.sink_.received(std::move(notification));
    } catch (...) {
      self.lost_ = true;  // a notification that got lost must not go unnoticed
    }
    return 1;
  }

  // The errors come in the order of the notifications.
  static int onReturned(BusConnection& self, sd_bus_message* error) {
    std::uint64_t cookie = 0;
    if (sd_bus_message_get_reply_cookie(error, &cookie) < 0) return 0;
    for (Question& question : self.questions_) {
      if (question.cookie == cookie) question.isReturned = true;
      if (question.cookie >= cookie) break;
    }
    return 1;
  }

  static int onAnswer(sd_bus_message* answer, void* question, sd_bus_error*) {
    auto& asked = *static_cast<Question*>(question);
    BusConnection& self = asked.connection;
    const SharedNotification notification = std::move(asked.notification);
    const bool reached = !asked.isReturned && sd_bus_message_is_method_error(answer, nullptr) <= 0;
    self.questions_.erase(asked.self);
    try {
      if (!reached) self.sink_.unreached(notification);
    } catch (...) {
      self.lost_ = true;
    }
    return 1;
  }

  static int onMatchAnswer(sd_bus_message* answer, void* awaited, sd_bus_error*) {
    auto& match = *static_cast<MatchAnswer*>(awaited);
    match.hasCome = true;
    match.isRefusal = sd_bus_message_is_method_error(answer, nullptr) > 0;
    return 1;
  }

  // Registrants of the sending process get its notifications without the bus.
  static bool isOwn(const BusConnection& self, sd_bus_message* message) {
    const char* own = nullptr;
    const char* const sender = sd_bus_message_get_sender(message);
    return sender != nullptr && sd_bus_get_unique_name(self.bus_.get(), &own) >= 0 &&
           std::string_view(sender) == own;
  }
};

void BusConnection::BusCloser::operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }

BusConnection::BusConnection(Bus bus, BusSink& sink) : sink_(sink), bus_(std::move(bus)) {}

std::unique_ptr<BusConnection> BusConnection::open(const std::string& socketPath, BusSink& sink) {
  const std::string address = busAddress(socketPath);
  sd_bus* opened = nullptr;
  if (sd_bus_new(&opened) < 0) return nullptr;
  Bus bus(opened);
  if (sd_bus_set_address(opened, address.c_str()) < 0 || sd_bus_set_bus_client(opened, 1) < 0 ||
      sd_bus_start(opened) < 0) {
    return nullptr;
  }

  const Clock::time_point deadline = Clock::now() + kAnswerLimit;
  while (sd_bus_is_ready(opened) <= 0) {
    const int progress = sd_bus_process(opened, nullptr);
    if (progress < 0) return nullptr;
    if (progress > 0) continue;
    const std::uint64_t left = microsecondsUntil(deadline);
    if (left == 0 || sd_bus_wait(opened, left) < 0) return nullptr;
  }

  std::unique_ptr<BusConnection> connection(new BusConnection(std::move(bus), sink));
  if (sd_bus_add_filter(opened, nullptr, Callbacks::onMessage, connection.get()) < 0) {
    return nullptr;
  }
  return connection;
}

BusConnection::~BusConnection() {
  bus_.reset();
  for (Question& question : questions_) {
    try {
      sink_.unreached(std::move(question.notification));
    } catch (...) {
      // No memory for the news: its sender goes without.
    }
  }
}

// Without flags whoever comes later queues for the name, so it is taken until the last has left.
BusConnection::Result BusConnection::join(std::string_view address, std::string_view name,
                                          bool isNewAddress) {
  constexpr std::uint32_t kQueue = 0;
  const std::string match = busMatch(address, name);
  if (!isNewAddress) return callAndWait("AddMatch", match, nullptr);

  // The bus takes both in turn, so one wait is enough: with the second answer the first is here.
  const Message call = newDaemonCall(bus_.get(), "AddMatch", match);
  if (!call) return failure(-ENOMEM);
  MatchAnswer answer;
  const int code = sd_bus_call_async(bus_.get(), &answer.slot, call.get(), Callbacks::onMatchAnswer,
                                     &answer, kAnswerLimitUs);
  if (code < 0) return failure(code);
  const Result result = callAndWait("RequestName", busName(address), &kQueue);
  if (result != Result::kDone) return result;
  while (!answer.hasCome && process()) {
  }
  if (lost_) return Result::kLost;
  return answer.isRefusal ? Result::kFailed : Result::kDone;
}

void BusConnection::leave(std::string_view address, std::string_view name, bool isLastOfAddress) {
  if (isLastOfAddress) callAndForget("ReleaseName", busName(address));
  callAndForget("RemoveMatch", busMatch(address, name));
}

BusConnection::Result BusConnection::send(const SharedNotification& notification, bool ask) {
  const Message signal = newSignal(bus_.get(), *notification);
  if (!signal) return failure(-ENOMEM);
  std::uint64_t cookie = 0;
  const int code = sd_bus_send(bus_.get(), signal.get(), &cookie);
  if (code < 0) return failure(code);
  return ask ? this->ask(notification, cookie) : Result::kDone;
}

// The call has no other purpose than to be answered behind what went before it.
BusConnection::Result BusConnection::ask(const SharedNotification& notification,
                                         std::uint64_t cookie) {
  const Message call = newDaemonCall(bus_.get(), "GetId");
  if (!call) return failure(-ENOMEM);
  questions_.push_back({*this, notification, cookie, false, {}});
  const auto question = std::prev(questions_.end());
  question->self = question;
  const int code = sd_bus_call_async(bus_.get(), nullptr, call.get(), Callbacks::onAnswer,
                                     &*question, kAnswerLimitUs);
  if (code >= 0) return Result::kDone;
  questions_.erase(question);
  return failure(code);
}

bool BusConnection::process() {
  int progress = 1;
  for (int i = 0; i < kMessagesAtOnce && progress > 0; ++i) {
    progress = sd_bus_process(bus_.get(), nullptr);
  }
  if (progress < 0) lost_ = true;
  return !lost_;
}

void BusConnection::flush(std::chrono::milliseconds limit) {
  const Clock::time_point deadline = Clock::now() + limit;
  while (process() && (pollable().events & POLLOUT) != 0) {
    const std::uint64_t left = microsecondsUntil(deadline);
    if (left == 0) return;
    pollfd descriptor = pollable();
    if (poll(&descriptor, 1, static_cast<int>(left / 1000) + 1) < 0 && errno != EINTR) return;
  }
}

pollfd BusConnection::pollable() const {
  const int events = sd_bus_get_events(bus_.get());
  return {sd_bus_get_fd(bus_.get()), static_cast<short>(events < 0 ? 0 : events), 0};
}

std::uint64_t BusConnection::wakeTime() const {
  std::uint64_t time = UINT64_MAX;
  return sd_bus_get_timeout(bus_.get(), &time) < 0 ? 0 : time;
}

bool BusConnection::needsProcessing() const {
  return lost_ || (pollable().events & POLLOUT) != 0 || wakeTime() == 0 || questions_.size() == 1;
}

BusConnection::Result BusConnection::callAndWait(const char* method, const std::string& text,
                                                 const std::uint32_t* flags) {
  const Message call = newDaemonCall(bus_.get(), method, text);
  if (!call) return failure(-ENOMEM);
  if (flags != nullptr && sd_bus_message_append(call.get(), "u", *flags) < 0) {
    return failure(-ENOMEM);
  }
  BusError error;
  const int code = sd_bus_call(bus_.get(), call.get(), kAnswerLimitUs, error.get(), nullptr);
  return code < 0 ? failure(code) : Result::kDone;
}

void BusConnection::callAndForget(const char* method, const std::string& text) {
  const Message call = newDaemonCall(bus_.get(), method, text);
  const int code =
      !call ? -ENOMEM : sd_bus_call_async(bus_.get(), nullptr, call.get(), nullptr, nullptr, 0);
  // What the bus still believes to be here after that ends with the connection.
  if (code < 0) lost_ = true;
}

BusConnection::Result BusConnection::failure(int code) {
  if (code == -ETIMEDOUT || sd_bus_is_open(bus_.get()) <= 0) lost_ = true;
  return lost_ ? Result::kLost : Result::kFailed;
}

}  // namespace workstation
