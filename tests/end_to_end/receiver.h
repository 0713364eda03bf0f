/// A program of the terminal that applications talk to, played by the test itself.
#ifndef WZAPP_TESTS_END_TO_END_RECEIVER_H
#define WZAPP_TESTS_END_TO_END_RECEIVER_H

#include <gtest/gtest.h>

#include <string>

#include "tests/end_to_end/station.h"
#include "tests/end_to_end/waiting.h"
#include "zelipc/zelipc.h"

namespace wzapp_test {

/// Collects the notifications of one name at one address.
class Receiver {
 public:
  Receiver(const std::string& address, const std::string& name) : address_(address), name_(name) {
    EXPECT_EQ(zelipc::ipcRegisterNotificationCB(name_, onNotification, this, 0, address_), 0);
  }
  Receiver(const Receiver&) = delete;
  Receiver& operator=(const Receiver&) = delete;
  ~Receiver() { zelipc::ipcUnregisterNotificationCB(name_, onNotification, this, address_); }

  /// Waits until `count` notifications have come.
  [[nodiscard]] bool await(std::size_t count = 1) {
    return received_.await([&](const auto& all) { return all.size() >= count; });
  }

  std::vector<Received> all() const { return received_.all(); }

  /// Sends the answer that a page waits for.
  void reply(const std::string& appId, const zelipc::JSObject& payload) const {
    EXPECT_EQ(zelipc::ipcNotify(appId, name_ + "_reply", payload, 0, address_), 0);
  }

 private:
  static void onNotification(void* self, const std::string& from, const std::string& to,
                             const std::string& name, const zelipc::JSObject& payload,
                             unsigned flags) {
    static_cast<Receiver*>(self)->received_.add({from, to, name, payload, flags});
  }

  std::string address_, name_;
  Collected<Received> received_;
};

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_END_TO_END_RECEIVER_H
