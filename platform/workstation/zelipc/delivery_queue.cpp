#include "workstation/zelipc/delivery_queue.h"

#include <new>
#include <utility>

namespace workstation {
namespace {

constexpr int kDeliveriesAtOnce = 64;  // before the bus is served again

thread_local bool isDispatcherThread = false;

}  // namespace

// ---- Registrations

Change DeliveryQueue::add(const Registrations::Key& key, zelipc::NotificationCallback callback,
                          void* data) {
  const MutexLock lock(mutex_);
  return registrations_.add(key, callback, data, ++lastNumber_);
}

Change DeliveryQueue::remove(const Registrations::Key& key, zelipc::NotificationCallback callback,
                             void* data) {
  const MutexLock lock(mutex_);
  return registrations_.remove(key, callback, data);
}

void DeliveryQueue::addErrorReceiver(zelipc::UnicastErrorCallback callback, void* data) {
  const MutexLock lock(mutex_);
  registrations_.addErrorReceiver(callback, data, ++lastNumber_);
}

SharedReceiver DeliveryQueue::removeErrorReceiver(zelipc::UnicastErrorCallback callback,
                                                  void* data) {
  const MutexLock lock(mutex_);
  return registrations_.removeErrorReceiver(callback, data);
}

std::vector<Registrations::Key> DeliveryQueue::keys() {
  const MutexLock lock(mutex_);
  return registrations_.keys();
}

void DeliveryQueue::waitUntilIdle(const Receiver& receiver) {
  if (isDispatcherThread) return;  // the caller is the callback, or none runs
  const MutexLock lock(mutex_);
  while (running_ == &receiver) idle_.wait(mutex_);
}

// ---- Senders

Audience DeliveryQueue::audienceOf(const std::string& address) {
  const MutexLock lock(mutex_);
  return {registrations_.hasAddress(address), !registrations_.errorReceivers().empty(),
          ++lastNumber_};
}

void DeliveryQueue::push(SharedNotification notification, bool isError) {
  const MutexLock lock(mutex_);
  // An error may come long after; who has registered meanwhile has not sent the notification.
  const std::uint64_t number = isError ? notification->number : ++lastNumber_;
  deliveries_.push_back({std::move(notification), isError, number});
  if (!sleeping_) return;
  sleeping_ = false;
  wakeEvent_.notify();
}

// ---- The dispatcher

bool DeliveryQueue::isDispatcher() { return isDispatcherThread; }

void DeliveryQueue::setDispatcher(bool isDispatcher) { isDispatcherThread = isDispatcher; }

bool DeliveryQueue::beginSleep() {
  const MutexLock lock(mutex_);
  sleeping_ = !stopped_ && deliveries_.empty();
  return sleeping_;
}

void DeliveryQueue::endSleep() {
  const MutexLock lock(mutex_);
  sleeping_ = false;
}

void DeliveryQueue::deliverSome() {
  for (int i = 0; i < kDeliveriesAtOnce; ++i) {
    Delivery delivery;
    if (!pop(delivery)) return;
    deliver(delivery);
  }
}

bool DeliveryQueue::pop(Delivery& delivery) {
  const MutexLock lock(mutex_);
  if (stopped_ || deliveries_.empty()) return false;
  delivery = std::move(deliveries_.front());
  deliveries_.pop_front();
  return true;
}

void DeliveryQueue::deliver(const Delivery& delivery) {
  Notification& notification = *delivery.notification;
  Receivers receivers;
  {
    const MutexLock lock(mutex_);
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

void DeliveryQueue::call(const Receiver& receiver, const Notification& notification) {
  {
    const MutexLock lock(mutex_);
    if (!receiver.registered) return;
    running_ = &receiver;
  }
  try {
    receiver.callback(receiver.data, notification.from, notification.to, notification.name,
                      notification.payload, notification.flags);
  } catch (...) {
    // A callback's exception has nobody to catch it; it must not end the process.
  }
  const MutexLock lock(mutex_);
  running_ = nullptr;
  idle_.notifyAll();
}

void DeliveryQueue::stop() {
  const MutexLock lock(mutex_);
  stopped_ = true;
  wakeEvent_.notify();
}

bool DeliveryQueue::isStopped() {
  const MutexLock lock(mutex_);
  return stopped_;
}

}  // namespace workstation
