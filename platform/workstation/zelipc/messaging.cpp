#include "workstation/zelipc/messaging.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <new>
#include <utility>
#include <vector>

#include "workstation/zelipc/bus_config.h"

namespace workstation {
namespace {

constexpr const char* kTerminalVariable = "WZ_TERMINAL";
constexpr std::chrono::milliseconds kLookAgain{250};  // for a bus that is not there
constexpr std::chrono::seconds kCallbackAtExit{1};    // for a callback that still runs
constexpr std::chrono::seconds kFlushAtExit{2};       // for what was sent last
constexpr std::chrono::seconds kCloseAtExit{1};       // for the rest
constexpr int kDeliveriesAtOnce = 64;                 // before the bus is served again

thread_local bool isDispatcher = false;

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

std::uint64_t microseconds(std::chrono::steady_clock::time_point time) {
  const auto sinceStart =
      std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch());
  return static_cast<std::uint64_t>(sinceStart.count());
}

// The time-out for poll(2) that ends at `wakeTime`, or -1 for none.
int pollTimeout(std::uint64_t wakeTime) {
  if (wakeTime == UINT64_MAX) return -1;
  const std::uint64_t now = microseconds(std::chrono::steady_clock::now());
  if (wakeTime <= now) return 0;
  return static_cast<int>(std::min<std::uint64_t>((wakeTime - now) / 1000 + 1, INT_MAX));
}

}  // namespace

namespace {

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
// of it is touched but the descriptor, which would keep the parent's place on the bus beyond its
// end. Between fork and exec nothing may be allocated.
void Messaging::beginAnewAfterFork() {
  isDispatcher = false;
  Messaging* const parents = current.exchange(nullptr);
  if (parents == nullptr) return;
  const int descriptor = parents->busDescriptor_.exchange(-1);
  if (descriptor >= 0) close(descriptor);
  parents->abandonedBefore_ = abandoned;
  abandoned = parents;
}

// ---- Life of the dispatcher

int Messaging::start() {
  const std::lock_guard lock(startMutex_);
  if (state_ == State::kIdle && startThread()) state_ = State::kRunning;
  return state_ == State::kRunning ? kIpcDone : kIpcNotStarted;
}

// The first look for the bus is made here, so that the first notification finds it.
bool Messaging::startThread() {
  if (!wakeEvent_.open()) return false;
  busPath_ = busPath();
  lookForBus();
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
    const std::lock_guard lock(startMutex_);
    const State before = std::exchange(state_, State::kEnded);
    // Forked, and never started here; or ended already, where parent and child both had asked.
    if (before != State::kRunning) return;
    thread = thread_;
  }
  std::unique_lock lock(mutex_);
  stopping_ = true;
  wakeEvent_.notify();
  // A callback that ends the process, or waits for something of the thread that does, must not keep
  // it.
  const bool ended = !isDispatcher && changed_.wait_for(lock, kCallbackAtExit, [this] {
    return stage_ != Stage::kServing;
  }) && changed_.wait_for(lock, kFlushAtExit + kCloseAtExit, [this] {
    return stage_ == Stage::kEnded;
  });
  lock.unlock();
  if (ended) {
    pthread_join(thread, nullptr);
  } else {
    pthread_detach(thread);
  }
}

void* Messaging::runDispatcher(void* messaging) {
  isDispatcher = true;
  static_cast<Messaging*>(messaging)->dispatch();
  return nullptr;
}

void Messaging::dispatch() {
  while (!isStopping()) {
    try {
      lookForBus();
      waitForWork();
      deliverSome();
    } catch (...) {
      // No memory: what was at hand is lost, the next may go well.
    }
  }
  setStage(Stage::kLeaving);
  leaveBus();
  setStage(Stage::kEnded);
}

void Messaging::setStage(Stage stage) {
  const std::lock_guard lock(mutex_);
  stage_ = stage;
  changed_.notify_all();
}

bool Messaging::isStopping() {
  const std::lock_guard lock(mutex_);
  return stopping_;
}

// ---- Steps of the dispatcher

// Connecting may take its time, so the connection is made without a lock and shown when complete.
void Messaging::lookForBus() {
  if (connected_ || busPath_.empty() || Clock::now() < nextLook_) return;
  nextLook_ = Clock::now() + kLookAgain;
  std::unique_ptr<BusConnection> connection = BusConnection::open(busPath_, *this);
  if (!connection) return;
  const std::lock_guard lock(busMutex_);
  if (!announceAll(*connection)) return;
  bus_ = std::move(connection);
  busDescriptor_ = bus_->pollable().fd;
  connected_ = true;
}

void Messaging::waitForWork() {
  pollfd descriptors[] = {{wakeEvent_.descriptor(), POLLIN, 0}, {-1, 0, 0}};
  std::uint64_t wakeTime = UINT64_MAX;
  if (!serveBus(descriptors[1], wakeTime)) return;
  {
    const std::lock_guard lock(mutex_);
    if (stopping_ || !queue_.empty()) return;
    sleeping_ = true;
  }
  // An error is an interruption, or as good as one.
  (void)poll(descriptors, std::size(descriptors), pollTimeout(wakeTime));
  {
    const std::lock_guard lock(mutex_);
    sleeping_ = false;
  }
  if (descriptors[0].revents != 0) wakeEvent_.clear();
}

// Tells what to wait for, or false when there is more to do at once.
bool Messaging::serveBus(pollfd& descriptor, std::uint64_t& wakeTime) {
  const std::lock_guard lock(busMutex_);
  if (!bus_) {
    if (!busPath_.empty()) wakeTime = microseconds(nextLook_);
    return true;
  }
  if (!bus_->process()) {
    dropBus();
    return false;
  }
  descriptor = bus_->pollable();
  wakeTime = bus_->wakeTime();
  return true;
}

void Messaging::deliverSome() {
  for (int i = 0; i < kDeliveriesAtOnce; ++i) {
    Delivery delivery;
    {
      const std::lock_guard lock(mutex_);
      if (stopping_ || queue_.empty()) return;
      delivery = std::move(queue_.front());
      queue_.pop_front();
    }
    deliver(delivery);
  }
}

void Messaging::deliver(const Delivery& delivery) {
  Notification& notification = *delivery.notification;
  Receivers receivers;
  {
    const std::lock_guard lock(mutex_);
    receivers = delivery.isError ? registrations_.errorReceivers()
                                 : registrations_.receivers({notification.to, notification.name});
  }
  if (!receivers.empty() && !notification.text.empty()) {
    try {
      notification.payload.parse(notification.text.c_str());
    } catch (const std::bad_alloc&) {
      return;  // lost, rather than delivered with a payload that nobody sent
    }
  }
  for (const SharedReceiver& receiver : receivers) {
    if (receiver->number < delivery.number) call(*receiver, notification);
  }
}

void Messaging::call(const Receiver& receiver, const Notification& notification) {
  {
    const std::lock_guard lock(mutex_);
    if (!receiver.registered) return;
    running_ = &receiver;
  }
  try {
    receiver.callback(receiver.data, notification.from, notification.to, notification.name,
                      notification.payload, notification.flags);
  } catch (...) {
    // A callback's exception has nobody to catch it; it must not end the process.
  }
  const std::lock_guard lock(mutex_);
  running_ = nullptr;
  changed_.notify_all();
}

// ---- Sending

int Messaging::notify(const std::string& to, const std::string& name,
                      const zelipc::JSObject& payload, unsigned flags, const std::string& from) {
  const int started = start();
  if (started != kIpcDone) return started;
  const auto notification = newNotification(to, name, flags, from);
  // The bus carries text; within the process the value is handed on as it is.
  if (connected_) notification->text = payload.dump();
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
  const Audience audience = audienceOf(notification->to);
  notification->number = audience.number;
  bool sent = false;
  if (!notification->text.empty() && connected_) {
    // Whether somebody is there only matters to those who hear of errors.
    const bool ask = !audience.isHere && audience.hearsErrors;
    const int code = sendToBus(notification, ask, sent);
    if (code != kIpcDone) return code;
  }
  const bool isError = !audience.isHere;
  if (isError && (sent || !audience.hearsErrors)) return kIpcDone;
  prepare();
  enqueue(notification, isError);
  return kIpcDone;
}

Messaging::Audience Messaging::audienceOf(const std::string& address) {
  const std::lock_guard lock(mutex_);
  return {registrations_.hasAddress(address), !registrations_.errorReceivers().empty(),
          ++lastNumber_};
}

int Messaging::sendToBus(const SharedNotification& notification, bool ask, bool& sent) {
  if (BusConnection::sizeOf(*notification) > BusConnection::kLargest) return kIpcTooLarge;
  const std::lock_guard lock(busMutex_);
  if (!bus_) return kIpcDone;
  const BusConnection::Result result = bus_->send(notification, ask);
  wakeForBus();
  sent = result == BusConnection::Result::kDone;
  return result == BusConnection::Result::kFailed ? kIpcRefused : kIpcDone;
}

void Messaging::enqueue(SharedNotification notification, bool isError) {
  const std::lock_guard lock(mutex_);
  // An error may come long after; who has registered meanwhile has not sent the notification.
  const std::uint64_t number = isError ? notification->number : ++lastNumber_;
  queue_.push_back({std::move(notification), isError, number});
  if (!sleeping_) return;
  sleeping_ = false;
  wakeEvent_.notify();
}

void Messaging::received(SharedNotification notification) {
  enqueue(std::move(notification), false);
}

void Messaging::unreached(SharedNotification notification) {
  enqueue(std::move(notification), true);
}

// ---- Registrations

int Messaging::registerReceiver(const Registrations::Key& key,
                                zelipc::NotificationCallback callback, void* data) {
  if (callback == nullptr) return kIpcInvalid;
  const int started = start();
  if (started != kIpcDone) return started;

  // Held throughout, so that the bus hears of changes in the order in which they are made.
  std::unique_lock busLock(busMutex_);
  Change change;
  {
    const std::lock_guard lock(mutex_);
    change = registrations_.add(key, callback, data, ++lastNumber_);
  }
  if (!change.receiver || announce(key, change)) return kIpcDone;

  {
    const std::lock_guard lock(mutex_);
    change = registrations_.remove(key, callback, data);
  }
  withdraw(key, change);
  busLock.unlock();
  waitUntilIdle(*change.receiver);
  return kIpcRefused;
}

int Messaging::unregisterReceiver(const Registrations::Key& key,
                                  zelipc::NotificationCallback callback, void* data) {
  Change change;
  {
    const std::lock_guard busLock(busMutex_);
    {
      const std::lock_guard lock(mutex_);
      change = registrations_.remove(key, callback, data);
    }
    if (!change.receiver) return kIpcNotRegistered;
    withdraw(key, change);
  }
  waitUntilIdle(*change.receiver);
  return kIpcDone;
}

int Messaging::registerErrorReceiver(zelipc::UnicastErrorCallback callback, void* data) {
  if (callback == nullptr) return kIpcInvalid;
  const int started = start();
  if (started != kIpcDone) return started;
  const std::lock_guard lock(mutex_);
  registrations_.addErrorReceiver(callback, data, ++lastNumber_);
  return kIpcDone;
}

int Messaging::unregisterErrorReceiver(zelipc::UnicastErrorCallback callback, void* data) {
  SharedReceiver receiver;
  {
    const std::lock_guard lock(mutex_);
    receiver = registrations_.removeErrorReceiver(callback, data);
  }
  if (!receiver) return kIpcNotRegistered;
  waitUntilIdle(*receiver);
  return kIpcDone;
}

void Messaging::waitUntilIdle(const Receiver& receiver) {
  if (isDispatcher) return;  // the caller is the callback, or none runs
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return running_ != &receiver; });
}

// ---- The bus, under busMutex_

// False when the bus refuses. One that is lost is found again with everything that is registered.
bool Messaging::announce(const Registrations::Key& key, const Change& change) {
  if (!bus_ || !change.concernsName) return true;
  const BusConnection::Result result = bus_->join(key.first, key.second, change.concernsAddress);
  wakeForBus();
  return result != BusConnection::Result::kFailed;
}

void Messaging::withdraw(const Registrations::Key& key, const Change& change) {
  if (!bus_ || !change.concernsName) return;
  bus_->leave(key.first, key.second, change.concernsAddress);
  wakeForBus();
}

// What a bus refuses that was accepted by another is only heard of inside the process.
bool Messaging::announceAll(BusConnection& connection) {
  std::vector<Registrations::Key> keys;
  {
    const std::lock_guard lock(mutex_);
    keys = registrations_.keys();
  }
  // The keys of one address stand together.
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const bool isNewAddress = i == 0 || keys[i - 1].first != keys[i].first;
    const auto result = connection.join(keys[i].first, keys[i].second, isNewAddress);
    if (result == BusConnection::Result::kLost) return false;
  }
  return true;
}

void Messaging::dropBus() {
  connected_ = false;
  busDescriptor_ = -1;
  bus_.reset();
}

void Messaging::leaveBus() {
  const std::lock_guard lock(busMutex_);
  if (!bus_) return;
  bus_->flush(kFlushAtExit);
  dropBus();
}

// The dispatcher may wait for less than what the last call on the bus has left to do.
void Messaging::wakeForBus() {
  if (!isDispatcher && bus_->needsProcessing()) wakeEvent_.notify();
}

}  // namespace workstation
