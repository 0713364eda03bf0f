// The exported functions of the messaging. No exception leaves them.

#include "workstation/zelipc/zelipc_export.h"

#include "workstation/zelipc/messaging.h"
#include "workstation/zelipc/raw_notification.h"

namespace zelipc {
namespace {

using workstation::Messaging;

// Only the lack of memory throws.
template <class Call>
int guarded(Call call) noexcept {
  try {
    return call(Messaging::instance());
  } catch (...) {
    return workstation::kIpcNoMemory;
  }
}

}  // namespace

int ipcNotify(const std::string& to, const std::string& name, const JSObject& payload,
              unsigned int flags, const std::string& from) {
  return guarded(
      [&](Messaging& messaging) { return messaging.notify(to, name, payload, flags, from); });
}

int ipcNotifyText(const std::string& to, const std::string& name, const std::string& text,
                  unsigned int flags, const std::string& from) {
  return guarded(
      [&](Messaging& messaging) { return messaging.notifyText(to, name, text, flags, from); });
}

// There are no options.
int ipcRegisterNotificationCB(const std::string& name, NotificationCallback callback, void* data,
                              int /*options*/, const std::string& from) {
  return guarded([&](Messaging& messaging) {
    return messaging.registerReceiver({from, name}, callback, data);
  });
}

int ipcUnregisterNotificationCB(const std::string& name, NotificationCallback callback, void* data,
                                const std::string& from) {
  return guarded([&](Messaging& messaging) {
    return messaging.unregisterReceiver({from, name}, callback, data);
  });
}

int ipcRegisterUnicastError(UnicastErrorCallback callback, void* data) {
  return guarded(
      [&](Messaging& messaging) { return messaging.registerErrorReceiver(callback, data); });
}

int ipcUnregisterUnicastError(UnicastErrorCallback callback, void* data) {
  return guarded(
      [&](Messaging& messaging) { return messaging.unregisterErrorReceiver(callback, data); });
}

}  // namespace zelipc
