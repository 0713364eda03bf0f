#include "workstation/zelipc/registrations.h"

#include <algorithm>

namespace workstation {
namespace {

Receivers::iterator find(Receivers& receivers, zelipc::NotificationCallback callback, void* data) {
  return std::find_if(receivers.begin(), receivers.end(), [&](const SharedReceiver& receiver) {
    return receiver->callback == callback && receiver->data == data;
  });
}

// Takes the receiver out of the list; null when it is not in there.
SharedReceiver take(Receivers& receivers, zelipc::NotificationCallback callback, void* data) {
  const auto found = find(receivers, callback, data);
  if (found == receivers.end()) return nullptr;
  SharedReceiver receiver = std::move(*found);
  receivers.erase(found);
  receiver->registered = false;
  return receiver;
}

SharedReceiver makeReceiver(zelipc::NotificationCallback callback, void* data,
                            std::uint64_t number) {
  return std::make_shared<Receiver>(Receiver{callback, data, number});
}

}  // namespace

Change Registrations::add(const Key& key, zelipc::NotificationCallback callback, void* data,
                          std::uint64_t number) {
  const auto known = receivers_.find(key);
  if (known != receivers_.end() && find(known->second, callback, data) != known->second.end()) {
    return {};
  }

  // Whatever fails for want of memory comes before the first change that could be seen.
  SharedReceiver receiver = makeReceiver(callback, data, number);
  Receivers& receivers = known == receivers_.end() ? receivers_[key] : known->second;
  try {
    receivers.reserve(receivers.size() + 1);
    ++addresses_[key.first];
  } catch (...) {
    if (receivers.empty()) receivers_.erase(key);
    throw;
  }
  receivers.push_back(receiver);
  return {std::move(receiver), receivers.size() == 1, addresses_[key.first] == 1};
}

Change Registrations::remove(const Key& key, zelipc::NotificationCallback callback, void* data) {
  const auto entry = receivers_.find(key);
  if (entry == receivers_.end()) return {};
  Change change;
  change.receiver = take(entry->second, callback, data);
  if (!change.receiver) return {};

  change.concernsName = entry->second.empty();
  if (change.concernsName) receivers_.erase(entry);
  const auto address = addresses_.find(key.first);
  change.concernsAddress = --address->second == 0;
  if (change.concernsAddress) addresses_.erase(address);
  return change;
}

bool Registrations::addErrorReceiver(zelipc::UnicastErrorCallback callback, void* data,
                                     std::uint64_t number) {
  if (find(errorReceivers_, callback, data) != errorReceivers_.end()) return false;
  errorReceivers_.push_back(makeReceiver(callback, data, number));
  return true;
}

SharedReceiver Registrations::removeErrorReceiver(zelipc::UnicastErrorCallback callback,
                                                  void* data) {
  return take(errorReceivers_, callback, data);
}

Receivers Registrations::receivers(const Key& key) const {
  const auto entry = receivers_.find(key);
  return entry == receivers_.end() ? Receivers() : entry->second;
}

std::vector<Registrations::Key> Registrations::keys() const {
  std::vector<Key> keys;
  for (const auto& entry : receivers_) keys.push_back(entry.first);
  return keys;
}

}  // namespace workstation
