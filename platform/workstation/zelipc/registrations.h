// Who in this process wants which notifications. Not thread-safe: its owner holds a lock.
#ifndef WORKSTATION_ZELIPC_REGISTRATIONS_H
#define WORKSTATION_ZELIPC_REGISTRATIONS_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "workstation/zelipc/zelipc_export.h"

namespace workstation {

/// A registered callback. Notifications and unicast errors come through functions of one type.
struct Receiver {
  zelipc::NotificationCallback callback;
  void* data;
  std::uint64_t number;    // it gets what was sent with a higher number
  bool registered = true;  // guarded like the tables
};

using SharedReceiver = std::shared_ptr<Receiver>;
using Receivers = std::vector<SharedReceiver>;

/// What a change of the tables means for others on the bus.
struct Change {
  SharedReceiver receiver;       // null: nothing changed
  bool concernsName = false;     // first or last registration of its address and name
  bool concernsAddress = false;  // first or last of its address, and so of the name
};

class Registrations {
 public:
  using Key = std::pair<std::string, std::string>;  // address, name

  /// Adds a registration, unless the very same is there already. Without memory nothing changes.
  Change add(const Key& key, zelipc::NotificationCallback callback, void* data,
             std::uint64_t number);
  Change remove(const Key& key, zelipc::NotificationCallback callback, void* data);

  bool addErrorReceiver(zelipc::UnicastErrorCallback callback, void* data, std::uint64_t number);
  SharedReceiver removeErrorReceiver(zelipc::UnicastErrorCallback callback, void* data);

  bool hasAddress(const std::string& address) const { return addresses_.count(address) != 0; }
  Receivers receivers(const Key& key) const;
  const Receivers& errorReceivers() const { return errorReceivers_; }

  /// Everything that others on the bus are told.
  /// All addresses and names with a registration, in order.
  std::vector<Key> keys() const;

 private:
  std::map<Key, Receivers> receivers_;            // no entry is empty
  std::map<std::string, std::size_t> addresses_;  // with the number of their registrations
  Receivers errorReceivers_;
};

}  // namespace workstation

#endif  // WORKSTATION_ZELIPC_REGISTRATIONS_H
