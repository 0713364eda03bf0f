#include "workstation/zelipc/messaging.h"

#include <poll.h>
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <utility>

#include "workstation/zelipc/bus_config.h"

namespace workstation {
namespace {

constexpr const char* kTerminalVariable = "WZ_TERMINAL";
constexpr std::chrono::seconds kCallbackAtExit{1};  // for a callback that still runs
constexpr std::chrono::seconds kFlushAtExit{2};     // for what was sent last
constexpr std::chrono::seconds kCloseAtExit{1};     // for the rest

std::string busPath() {
  const char* const terminal = std::getenv(kTerminalVariable);
  if (terminal == nullptr || *terminal == '\0') return {};
  return std::string(terminal).append(kBusSocket);
}

SharedNotification newNotification(const std::string& to, const std::string& name, unsigned flags,
                                   const std::string& from) {
  auto notification = std::make_shared<Notification>();
  notification->from = from;
  notification->to = to;
  notification->name = name;
  notification->flags = flags;
  return notification;
}

// Threads that the host does not know of take none of its signals.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_;
};

// The time-out for poll(2) that ends at `wakeTime`, monotonic in microseconds, or -1 for none.
int pollTimeout(std::uint64_t wakeTime) {
  if (wakeTime == UINT64_MAX) return -1;
  const auto sinceStart = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now().time_since_epoch());
  const auto now = static_cast<std::uint64_t>(sinceStart.count());
  if (wakeTime <= now) return 0;
  return static_cast<int>(std::min<std::uint64_t>((wakeTime - now) / 1000 + 1, INT_MAX));
}

std::atomic<Messaging*> current{nullptr};
Messaging* abandoned = nullptr;  // those of the processes that this one was forked from, in a chain

// Made when the library is loaded, and so before any fork that could matter.
[[maybe_unused]] const int forkHandler =
    pthread_atfork(nullptr, nullptr, Messaging::beginAnewAfterFork);

}  // namespace

Messaging& Messaging::instance() {
  if (Messaging* const messaging = current.load()) return *messaging;
  auto* const made = new Messaging;
  Messaging* before = nullptr;
  if (current.compare_exchange_strong(before, made)) return *made;
  delete made;  // another thread was faster
  return *before;
}

// Of a forked process only the thread that forked goes on: the dispatcher is not there, whatever it
// and others had locked stays locked, and the bus and what waits belong to the parent. So nothing
// of it is touched but the bus's descriptor. Between fork and exec nothing may be allocated.
void Messaging::beginAnewAfterFork() {
  DeliveryQueue::setDispatcher(false);
  Messaging* const parents = current.exchange(nullptr);
  if (parents == nullptr) return;
  parents->bus_.closeAfterFork();
  parents->abandonedBefore_ = abandoned;
  abandoned = parents;
}

// ---- Life of the dispatcher

int Messaging::start() {
  const MutexLock lock(startMutex_);
  if (state_ == State::kIdle && startThread()) state_ = State::kRunning;
  return state_ == State::kRunning ? kIpcDone : kIpcNotStarted;
}

// The first look for the bus is made here, so that the first notification finds it.
bool Messaging::startThread() {
  if (!wakeEvent_.open()) return false;
  bus_.setSocket(busPath());
  bus_.look();
  {
    const SignalsBlocked blocked;
    if (pthread_create(&thread_, nullptr, runDispatcher, this) != 0) return false;
  }
  // Registered late, so it runs before what the program's statics made before are destroyed.
  // Without it the thread would simply run on.
  (void)std::atexit(stopAtExit);
  return true;
}

// In a forked process there may be none.
void Messaging::stopAtExit() {
  if (Messaging* const messaging = current.load()) messaging->stop();
}

void Messaging::stop() {
  pthread_t thread;
  {
    const MutexLock lock(startMutex_);
    const State before = std::exchange(state_, State::kEnded);
    // Forked, and never started here; or ended already, where parent and child both had asked.
    if (before != State::kRunning) return;
    thread = thread_;
  }
  queue_.stop();
  // A callback that ends the process, or waits for something of the thread that does, must not keep
  // it.
  const bool hasEnded = !DeliveryQueue::isDispatcher() &&
                        awaitStage(Stage::kLeaving, kCallbackAtExit) &&
                        awaitStage(Stage::kEnded, kFlushAtExit + kCloseAtExit);
  if (hasEnded) {
    pthread_join(thread, nullptr);
  } else {
    pthread_detach(thread);
  }
}

void* Messaging::runDispatcher(void* messaging) {
  DeliveryQueue::setDispatcher(true);
  static_cast<Messaging*>(messaging)->dispatch();
  return nullptr;
}

void Messaging::dispatch() {
  while (!queue_.isStopped()) {
    try {
      bus_.look();
      waitForWork();
      queue_.deliverSome();
    } catch (...) {
      // No memory: what was at hand is lost, the next may go well.
    }
  }
  setStage(Stage::kLeaving);
  bus_.leave(kFlushAtExit);
  setStage(Stage::kEnded);
}

void Messaging::setStage(Stage stage) {
  const MutexLock lock(stageMutex_);
  stage_ = stage;
  stageChanged_.notifyAll();
}

// Whether it has got there within that time.
bool Messaging::awaitStage(Stage stage, std::chrono::seconds patience) {
  const Condition::Clock::time_point deadline = Condition::Clock::now() + patience;
  const MutexLock lock(stageMutex_);
  while (stage_ < stage && stageChanged_.waitUntil(stageMutex_, deadline)) {
  }
  return stage_ >= stage;
}

void Messaging::waitForWork() {
  pollfd descriptors[] = {{wakeEvent_.descriptor(), POLLIN, 0}, {-1, 0, 0}};
  std::uint64_t wakeTime = UINT64_MAX;
  if (!bus_.serve(descriptors[1], wakeTime) || !queue_.beginSleep()) return;
  // An error is an interruption, or as good as one.
  (void)poll(descriptors, std::size(descriptors), pollTimeout(wakeTime));
  queue_.endSleep();
  if (descriptors[0].revents != 0) wakeEvent_.clear();
}

// ---- Sending

int Messaging::notify(const std::string& to, const std::string& name,
                      const zelipc::JSObject& payload, unsigned flags, const std::string& from) {
  const int started = start();
  if (started != kIpcDone) return started;
  const auto notification = newNotification(to, name, flags, from);
  // The bus carries text; within the process the value is handed on as it is.
  if (bus_.isConnected()) notification->text = payload.dump();
  return route(notification, [&] {
    notification->payload = payload;
    notification->text.clear();
  });
}

int Messaging::notifyText(const std::string& to, const std::string& name, const std::string& text,
                          unsigned flags, const std::string& from) {
  if (text.empty()) return kIpcInvalid;
  const int started = start();
  if (started != kIpcDone) return started;
  const auto notification = newNotification(to, name, flags, from);
  notification->text = text;
  return route(notification, [] {});
}

// To the bus where there is one, and to receivers of this process; `prepare` is called before the
// latter.
template <class Prepare>
int Messaging::route(const SharedNotification& notification, Prepare prepare) {
  const Audience audience = queue_.audienceOf(notification->to);
  notification->number = audience.number;
  bool sent = false;
  if (!notification->text.empty() && bus_.isConnected()) {
    // Whether somebody is there only matters to those who hear of errors.
    const bool ask = !audience.isHere && audience.hearsErrors;
    const int code = sendToBus(notification, ask, sent);
    if (code != kIpcDone) return code;
  }
  const bool isError = !audience.isHere;
  if (isError && (sent || !audience.hearsErrors)) return kIpcDone;
  prepare();
  queue_.push(notification, isError);
  return kIpcDone;
}

int Messaging::sendToBus(const SharedNotification& notification, bool ask, bool& sent) {
  if (BusConnection::sizeOf(*notification) > BusConnection::kLargest) return kIpcTooLarge;
  const BusConnection::Result result = bus_.send(notification, ask);
  sent = result == BusConnection::Result::kDone;
  return result == BusConnection::Result::kFailed ? kIpcRefused : kIpcDone;
}

// ---- Registrations

int Messaging::registerReceiver(const Registrations::Key& key,
                                zelipc::NotificationCallback callback, void* data) {
  if (callback == nullptr) return kIpcInvalid;
  const int started = start();
  if (started != kIpcDone) return started;

  Change change;
  {
    const MutexLock held(bus_.mutex());
    change = queue_.add(key, callback, data);
    if (!change.receiver || bus_.announce(key, change)) return kIpcDone;
    change = queue_.remove(key, callback, data);
    bus_.withdraw(key, change);
  }
  queue_.waitUntilIdle(*change.receiver);
  return kIpcRefused;
}

int Messaging::unregisterReceiver(const Registrations::Key& key,
                                  zelipc::NotificationCallback callback, void* data) {
  Change change;
  {
    const MutexLock held(bus_.mutex());
    change = queue_.remove(key, callback, data);
    if (!change.receiver) return kIpcNotRegistered;
    bus_.withdraw(key, change);
  }
  queue_.waitUntilIdle(*change.receiver);
  return kIpcDone;
}

int Messaging::registerErrorReceiver(zelipc::UnicastErrorCallback callback, void* data) {
  if (callback == nullptr) return kIpcInvalid;
  const int started = start();
  if (started != kIpcDone) return started;
  queue_.addErrorReceiver(callback, data);
  return kIpcDone;
}

int Messaging::unregisterErrorReceiver(zelipc::UnicastErrorCallback callback, void* data) {
  const SharedReceiver receiver = queue_.removeErrorReceiver(callback, data);
  if (!receiver) return kIpcNotRegistered;
  queue_.waitUntilIdle(*receiver);
  return kIpcDone;
}

}  // namespace workstation
