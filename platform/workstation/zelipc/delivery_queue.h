// What waits to be delivered in this process, and who has registered for it.
//
// One thread, the dispatcher, takes from the queue and calls the callbacks; no lock is held
// meanwhile. Everything else may be called by any thread, from callbacks too. Throws
// std::bad_alloc.
#ifndef WORKSTATION_ZELIPC_DELIVERY_QUEUE_H
#define WORKSTATION_ZELIPC_DELIVERY_QUEUE_H

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "workstation/mutex.h"
#include "workstation/zelipc/notification.h"
#include "workstation/zelipc/registrations.h"
#include "workstation/zelipc/wake_event.h"

namespace workstation {

/// Who in this process a notification concerns.
struct Audience {
  bool isHere;           // somebody has the address
  bool hearsErrors;      // somebody wants to know that nobody has
  std::uint64_t number;  // who registers from now on is not part of it
};

class DeliveryQueue {
 public:
  /// `wakeEvent` ends the dispatcher's sleep; it outlives the queue.
  explicit DeliveryQueue(WakeEvent& wakeEvent) : wakeEvent_(wakeEvent) {}
  DeliveryQueue(const DeliveryQueue&) = delete;
  DeliveryQueue& operator=(const DeliveryQueue&) = delete;

  // Registrations. The change says what others on the bus are to be told.
  Change add(const Registrations::Key& key, zelipc::NotificationCallback callback, void* data);
  Change remove(const Registrations::Key& key, zelipc::NotificationCallback callback, void* data);
  void addErrorReceiver(zelipc::UnicastErrorCallback callback, void* data);
  SharedReceiver removeErrorReceiver(zelipc::UnicastErrorCallback callback, void* data);
  std::vector<Registrations::Key> keys();

  /// Waits for the end of the receiver's callback, unless the caller is that callback.
  void waitUntilIdle(const Receiver& receiver);

  // Senders.
  Audience audienceOf(const std::string& address);
  /// Appends it for the receivers of its address and name, or, as an error, for those who hear of
  /// what nobody is there for.
  void push(SharedNotification notification, bool isError);

  // The dispatcher.
  /// Whether the calling thread is it.
  static bool isDispatcher();
  static void setDispatcher(bool isDispatcher);
  /// False when there is something to do at once; otherwise push() and stop() wake it from now on.
  bool beginSleep();
  void endSleep();
  /// Calls the callbacks of some of what waits, so that the bus is served between.
  void deliverSome();

  /// Nothing is delivered from now on.
  void stop();
  bool isStopped();

 private:
  struct Delivery {
    SharedNotification notification;
    bool isError = false;
    std::uint64_t number = 0;
  };

  bool pop(Delivery& delivery);
  void deliver(const Delivery& delivery);
  void call(const Receiver& receiver, const Notification& notification);

  WakeEvent& wakeEvent_;

  Mutex mutex_;
  Condition idle_;  // running_ is another
  Registrations registrations_ WORKSTATION_GUARDED_BY(mutex_);
  std::deque<Delivery> deliveries_ WORKSTATION_GUARDED_BY(mutex_);
  // Of registrations and deliveries.
  std::uint64_t lastNumber_ WORKSTATION_GUARDED_BY(mutex_) = 0;
  const Receiver* running_ WORKSTATION_GUARDED_BY(mutex_) = nullptr;  // whose callback runs
  bool sleeping_ WORKSTATION_GUARDED_BY(mutex_) = false;  // the dispatcher waits for wakeEvent_
  bool stopped_ WORKSTATION_GUARDED_BY(mutex_) = false;
};

}  // namespace workstation

#endif  // WORKSTATION_ZELIPC_DELIVERY_QUEUE_H
