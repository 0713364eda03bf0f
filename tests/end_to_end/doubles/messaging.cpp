// Messaging without a bus: every notification but a log record is answered on the spot, by a thread
// of its own as callbacks must be.

#include <mutex>
#include <thread>

#include "tests/end_to_end/doubles/platform.h"
#include "zelipc/zelipc.h"

namespace {

struct Registration {
  std::string name, from;
  zelipc::NotificationCallback callback = nullptr;
  void* data = nullptr;
};

std::mutex mutex;           // guards registration
Registration registration;  // one is enough

void answer() {
  Registration receiver;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    receiver = registration;
  }
  if (receiver.callback == nullptr) return;
  zelipc::JSObject payload;
  payload["points"] = zelipc::JSObject(7);
  receiver.callback(receiver.data, "club", receiver.from, receiver.name, payload, 0);
}

}  // namespace

namespace zelipc {

int ipcNotify(const std::string& to, const std::string& name, const JSObject& payload,
              unsigned int flags, const std::string& from) {
  platform_double::tell("notify " + to + " " + name + " " + std::to_string(flags) + " " + from +
                        " " + payload.dump());
  if (name != "_WZLog") std::thread(answer).join();
  return 0;
}

int ipcRegisterNotificationCB(const std::string& name, NotificationCallback callback, void* data,
                              int options, const std::string& from) {
  platform_double::tell("register " + name + " " + std::to_string(options) + " " + from);
  const std::lock_guard<std::mutex> lock(mutex);
  registration = {name, from, callback, data};
  return 0;
}

int ipcUnregisterNotificationCB(const std::string& name, NotificationCallback, void*,
                                const std::string& from) {
  platform_double::tell("unregister " + name + " " + from);
  const std::lock_guard<std::mutex> lock(mutex);
  registration = {};
  return 0;
}

int ipcRegisterUnicastError(UnicastErrorCallback, void*) {
  platform_double::tell("register error");
  return 0;
}

int ipcUnregisterUnicastError(UnicastErrorCallback, void*) {
  platform_double::tell("unregister error");
  return 0;
}

}  // namespace zelipc
