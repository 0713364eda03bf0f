// Notifications: who gets which, on which thread, and what an unregister call promises.

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "conformance/check.h"
#include "zelipc/zelipc.h"

namespace conformance {
namespace {

constexpr auto kLimit = std::chrono::seconds(10);
constexpr char kName[] = "CONFORMANCE";
constexpr char kReceiver[] = "conformance.receiver";
constexpr char kSender[] = "conformance.sender";

// What callbacks have brought, to be waited for.
struct Arrivals {
  std::mutex mutex;
  std::condition_variable changed;
  int notifications = 0;
  int errors = 0;
  std::string from, to, payload;
  std::thread::id thread;

  bool waitFor(const int& count, int atLeast) {
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, kLimit, [&] { return count >= atLeast; });
  }
};

void onNotification(void* data, const std::string& from, const std::string& to, const std::string&,
                    const zelipc::JSObject& payload, unsigned int) {
  auto& arrivals = *static_cast<Arrivals*>(data);
  const std::lock_guard<std::mutex> lock(arrivals.mutex);
  ++arrivals.notifications;
  arrivals.from = from;
  arrivals.to = to;
  arrivals.payload = payload.dump();
  arrivals.thread = std::this_thread::get_id();
  arrivals.changed.notify_all();
}

void onError(void* data, const std::string& from, const std::string& to, const std::string&,
             const zelipc::JSObject&, unsigned int) {
  auto& arrivals = *static_cast<Arrivals*>(data);
  const std::lock_guard<std::mutex> lock(arrivals.mutex);
  ++arrivals.errors;
  arrivals.from = from;
  arrivals.to = to;
  arrivals.changed.notify_all();
}

}  // namespace

void checkMessaging(Report& report) {
  Arrivals arrivals;
  zelipc::JSObject payload;
  payload["amount"] = zelipc::JSObject(1250);

  report.expectEqual(
      zelipc::ipcRegisterNotificationCB(kName, onNotification, &arrivals, 0, kReceiver), 0,
      "registering for a notification gives 0");
  // A sender may hold its locks, so no callback may run on its thread.
  report.expectEqual(zelipc::ipcNotify(kReceiver, kName, payload, 0, kSender), 0,
                     "sending a notification gives 0");
  report.expect(arrivals.waitFor(arrivals.notifications, 1), "a registrant gets its notification",
                "it did not come within 10 s");
  {
    const std::lock_guard<std::mutex> lock(arrivals.mutex);
    report.expectEqual(arrivals.from, kSender, "a notification names its sender");
    report.expectEqual(arrivals.to, kReceiver, "a notification names its receiver");
    report.expectEqual(arrivals.payload, "{\"amount\":1250}", "a payload arrives as it was sent");
    report.expect(arrivals.thread != std::this_thread::get_id(),
                  "callbacks run on a thread of the library's own");
  }
  report.expectEqual(
      zelipc::ipcUnregisterNotificationCB(kName, onNotification, &arrivals, kReceiver), 0,
      "unregistering gives 0");

  static_cast<void>(zelipc::ipcRegisterUnicastError(onError, &arrivals));
  static_cast<void>(zelipc::ipcNotify("conformance.nobody", kName, payload, 0, kSender));
  report.expect(arrivals.waitFor(arrivals.errors, 1),
                "a notification to nobody comes back as a unicast error",
                "it did not come within 10 s");
  {
    const std::lock_guard<std::mutex> lock(arrivals.mutex);
    report.expectEqual(arrivals.to, "conformance.nobody", "a unicast error keeps the receiver");
    report.expectEqual(arrivals.from, kSender, "a unicast error keeps the sender");
    report.expectEqual(arrivals.notifications, 1,
                       "after unregistering, the callback is not called again");
  }
  static_cast<void>(zelipc::ipcUnregisterUnicastError(onError, &arrivals));
}

}  // namespace conformance
