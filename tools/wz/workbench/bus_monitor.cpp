#include "wz/workbench/bus_monitor.h"

#include <poll.h>
#include <systemd/sd-bus.h>

#include <cstring>
#include <utility>

#include "workstation/zelipc/bus_config.h"
#include "workstation/zelipc/bus_names.h"
#include "workstation/zelipc/notification_message.h"

namespace wz {
namespace {

constexpr int kMessagesAtOnce = 64;
constexpr std::uint64_t kPatienceUs = 3'000'000;  // for a bus that does not answer

struct MessageCloser {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using BusMessageHandle = std::unique_ptr<sd_bus_message, MessageCloser>;

const char* orEmpty(const char* text) { return text == nullptr ? "" : text; }

}  // namespace

void BusMonitor::BusCloser::operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }

BusMonitor::BusMonitor(Loop& loop, Listener listener)
    : loop_(loop), listener_(std::move(listener)) {}

BusMonitor::~BusMonitor() {
  *isAlive_ = false;
  if (descriptor_ >= 0) loop_.forget(descriptor_);
}

std::unique_ptr<BusMonitor> BusMonitor::open(Loop& loop, const std::string& socketPath,
                                             Listener listener, std::string& error) {
  std::unique_ptr<BusMonitor> monitor(new BusMonitor(loop, std::move(listener)));
  const int code = monitor->begin(socketPath);
  if (code >= 0) return monitor;
  error = std::string("the message bus cannot be watched: ") + std::strerror(-code);
  return nullptr;
}

int BusMonitor::begin(const std::string& socketPath) {
  sd_bus* bus = nullptr;
  int code = sd_bus_new(&bus);
  if (code < 0) return code;
  bus_.reset(bus);
  code = sd_bus_set_address(bus, workstation::busAddress(socketPath).c_str());
  if (code >= 0) code = sd_bus_set_bus_client(bus, 1);
  if (code >= 0) code = sd_bus_set_monitor(bus, 1);
  if (code >= 0) code = sd_bus_start(bus);
  sd_bus_message* called = nullptr;
  if (code >= 0) {
    code = sd_bus_message_new_method_call(bus, &called, "org.freedesktop.DBus",
                                          "/org/freedesktop/DBus",
                                          "org.freedesktop.DBus.Monitoring", "BecomeMonitor");
  }
  const BusMessageHandle call(called);
  if (code >= 0) code = sd_bus_message_append(called, "asu", 0, 0);  // everything, without flags
  if (code >= 0) code = sd_bus_call(bus, called, kPatienceUs, nullptr, nullptr);
  if (code >= 0) code = descriptor_ = sd_bus_get_fd(bus);
  if (code < 0) return code;
  loop_.watch(descriptor_, POLLIN, [this] { serve(); });
  loop_.post([this, alive = isAlive_] {  // what came with the answer
    if (*alive) serve();
  });
  return 0;
}

void BusMonitor::serve() {
  const std::shared_ptr<bool> alive = isAlive_;
  for (int i = 0; i < kMessagesAtOnce; ++i) {
    sd_bus_message* message = nullptr;
    const int code = sd_bus_process(bus_.get(), &message);
    const BusMessageHandle handle(message);
    if (code < 0) {
      loop_.forget(std::exchange(descriptor_, -1));
      return listener_.onLost();
    }
    if (code == 0) return;
    if (message != nullptr) take(message);
    if (!*alive) return;
  }
  loop_.post([this, alive] {  // others have their turn in between
    if (*alive && descriptor_ >= 0) serve();
  });
}

void BusMonitor::take(sd_bus_message* message) {
  BusMessage told;
  if (sd_bus_message_is_signal(message, workstation::kBusInterface, workstation::kBusMember) > 0) {
    const workstation::SharedNotification notification = workstation::readNotification(message);
    if (!notification) return;
    told.from = notification->from;
    told.to = notification->to;
    told.name = notification->name;
    told.text = notification->text;
    told.flags = notification->flags;
    told.sender = orEmpty(sd_bus_message_get_sender(message));
    if (sd_bus_message_get_cookie(message, &told.cookie) < 0) told.cookie = 0;
    return listener_.onMessage(told);
  }
  if (sd_bus_message_is_method_error(message, nullptr) <= 0) return;
  told.kind = BusMessage::Kind::kReturned;
  told.sender = orEmpty(sd_bus_message_get_destination(message));
  if (sd_bus_message_get_reply_cookie(message, &told.cookie) < 0) return;
  listener_.onMessage(told);
}

}  // namespace wz
