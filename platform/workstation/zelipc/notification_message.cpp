#include "workstation/zelipc/notification_message.h"

#include <systemd/sd-bus.h>

#include <cstddef>
#include <string>

namespace workstation {
namespace {

bool readOctets(sd_bus_message* message, std::string& octets) {
  const void* data = nullptr;
  std::size_t size = 0;
  if (sd_bus_message_read_array(message, 'y', &data, &size) < 0) return false;
  octets.assign(static_cast<const char*>(data), size);
  return true;
}

}  // namespace

SharedNotification readNotification(sd_bus_message* message) {
  auto notification = std::make_shared<Notification>();
  const bool read =
      sd_bus_message_skip(message, "ss") >= 0 && readOctets(message, notification->from) &&
      readOctets(message, notification->to) && readOctets(message, notification->name) &&
      readOctets(message, notification->text) &&
      sd_bus_message_read(message, "u", &notification->flags) >= 0;
  return read && !notification->text.empty() ? notification : nullptr;
}

}  // namespace workstation
