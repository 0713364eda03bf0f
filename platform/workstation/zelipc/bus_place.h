// This process's place on the terminal's bus: the connection, as long as there is one, and what
// others there are told of this process's registrations.
//
// What comes in goes into the queue of deliveries. While nobody serves the bus, look() looks for it
// again and again. Its lock is taken before the queue's. Any thread, unless it says otherwise.
#ifndef WORKSTATION_ZELIPC_BUS_PLACE_H
#define WORKSTATION_ZELIPC_BUS_PLACE_H

#include <poll.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "workstation/mutex.h"
#include "workstation/zelipc/bus_connection.h"
#include "workstation/zelipc/delivery_queue.h"
#include "workstation/zelipc/wake_event.h"

namespace workstation {

class BusPlace final : private BusSink {
 public:
  /// Both outlive it. `wakeEvent` is what the dispatcher wakes by.
  BusPlace(DeliveryQueue& queue, WakeEvent& wakeEvent) : queue_(queue), wakeEvent_(wakeEvent) {}
  BusPlace(const BusPlace&) = delete;
  BusPlace& operator=(const BusPlace&) = delete;

  /// The bus's socket; empty: there is none. Before the dispatcher runs.
  void setSocket(std::string path) { path_ = std::move(path); }

  bool isConnected() const { return connected_; }

  /// Connects where it is time to look and there is a bus, with everything that is registered. The
  /// dispatcher's, or before it runs.
  void look();

  /// Reads and writes what can be. Tells what to wait for, or false when there is more to do at
  /// once. The dispatcher's.
  bool serve(pollfd& descriptor, std::uint64_t& wakeTime);

  using SendResult = BusConnection::Result;
  /// kLost also where there is no connection. With `ask` the queue gets it back as an error when
  /// nobody is there.
  SendResult send(const SharedNotification& notification, bool ask);

  /// To be held throughout a change of the registrations, so that the bus hears of changes in the
  /// order in which they are made.
  [[nodiscard]] Mutex& mutex() WORKSTATION_THREAD_MARK(lock_returned(mutex_)) { return mutex_; }

  /// False when the bus refuses.
  bool announce(const Registrations::Key& key, const Change& change) WORKSTATION_REQUIRES(mutex_);
  void withdraw(const Registrations::Key& key, const Change& change) WORKSTATION_REQUIRES(mutex_);

  /// Writes what was sent last, as long as it takes up to `limit`, and leaves. The dispatcher's.
  void leave(std::chrono::milliseconds limit);

  /// In a forked process: the descriptor would keep the parent's place beyond its end. Allocates
  /// and locks nothing.
  void closeAfterFork();

 private:
  using Clock = std::chrono::steady_clock;

  bool announceAll(BusConnection& connection) WORKSTATION_REQUIRES(mutex_);
  void drop() WORKSTATION_REQUIRES(mutex_);
  void wakeDispatcher() WORKSTATION_REQUIRES(mutex_);

  // BusSink.
  void received(SharedNotification notification) override;
  void unreached(SharedNotification notification) override;

  DeliveryQueue& queue_;
  WakeEvent& wakeEvent_;
  std::string path_;
  Clock::time_point nextLook_;  // the dispatcher's own

  Mutex mutex_;
  std::unique_ptr<BusConnection> bus_ WORKSTATION_GUARDED_BY(mutex_);
  std::atomic<bool> connected_{false};  // whether bus_ is there; changed under mutex_
  std::atomic<int> descriptor_{-1};     // of bus_, for a forked process; changed under mutex_
};

}  // namespace workstation

#endif  // WORKSTATION_ZELIPC_BUS_PLACE_H
