#include "workstation/zelipc/bus_place.h"

#include <unistd.h>

#include <cstddef>
#include <utility>
#include <vector>

namespace workstation {
namespace {

constexpr std::chrono::milliseconds kLookAgain{250};  // for a bus that is not there

std::uint64_t microseconds(std::chrono::steady_clock::time_point time) {
  const auto sinceStart =
      std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch());
  return static_cast<std::uint64_t>(sinceStart.count());
}

}  // namespace

// Connecting may take its time, so the connection is made without a lock and shown when complete.
void BusPlace::look() {
  if (connected_ || path_.empty() || Clock::now() < nextLook_) return;
  nextLook_ = Clock::now() + kLookAgain;
  std::unique_ptr<BusConnection> connection = BusConnection::open(path_, *this);
  if (!connection) return;
  const MutexLock lock(mutex_);
  if (!announceAll(*connection)) return;
  bus_ = std::move(connection);
  descriptor_ = bus_->pollable().fd;
  connected_ = true;
}

// What a bus refuses that was accepted by another is only heard of inside the process.
bool BusPlace::announceAll(BusConnection& connection) {
  const std::vector<Registrations::Key> keys = queue_.keys();
  // The keys of one address stand together.
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const bool isNewAddress = i == 0 || keys[i - 1].first != keys[i].first;
    const auto result = connection.join(keys[i].first, keys[i].second, isNewAddress);
    if (result == BusConnection::Result::kLost) return false;
  }
  return true;
}

bool BusPlace::serve(pollfd& descriptor, std::uint64_t& wakeTime) {
  const MutexLock lock(mutex_);
  if (!bus_) {
    if (!path_.empty()) wakeTime = microseconds(nextLook_);
    return true;
  }
  if (!bus_->process()) {
    drop();
    return false;
  }
  descriptor = bus_->pollable();
  wakeTime = bus_->wakeTime();
  return true;
}

BusPlace::SendResult BusPlace::send(const SharedNotification& notification, bool ask) {
  const MutexLock lock(mutex_);
  if (!bus_) return SendResult::kLost;
  const SendResult result = bus_->send(notification, ask);
  wakeDispatcher();
  return result;
}

// A bus that is lost is found again with everything that is registered.
bool BusPlace::announce(const Registrations::Key& key, const Change& change) {
  if (!bus_ || !change.concernsName) return true;
  const BusConnection::Result result = bus_->join(key.first, key.second, change.concernsAddress);
  wakeDispatcher();
  return result != BusConnection::Result::kFailed;
}

void BusPlace::withdraw(const Registrations::Key& key, const Change& change) {
  if (!bus_ || !change.concernsName) return;
  bus_->leave(key.first, key.second, change.concernsAddress);
  wakeDispatcher();
}

void BusPlace::leave(std::chrono::milliseconds limit) {
  const MutexLock lock(mutex_);
  if (!bus_) return;
  bus_->flush(limit);
  drop();
}

void BusPlace::closeAfterFork() {
  const int descriptor = descriptor_.exchange(-1);
  if (descriptor >= 0) close(descriptor);
}

void BusPlace::drop() {
  connected_ = false;
  descriptor_ = -1;
  bus_.reset();
}

// It may wait for less than what the last call on the bus has left to do.
void BusPlace::wakeDispatcher() {
  if (!DeliveryQueue::isDispatcher() && bus_->needsProcessing()) wakeEvent_.notify();
}

void BusPlace::received(SharedNotification notification) {
  queue_.push(std::move(notification), false);
}

void BusPlace::unreached(SharedNotification notification) {
  queue_.push(std::move(notification), true);
}

}  // namespace workstation
