// A notification on its way.
#ifndef WORKSTATION_ZELIPC_NOTIFICATION_H
#define WORKSTATION_ZELIPC_NOTIFICATION_H

#include <cstdint>
#include <memory>
#include <string>

#include "workstation/zelipc/zelipc_export.h"

namespace workstation {

struct Notification {
  std::string from;
  std::string to;
  std::string name;
  unsigned flags = 0;
  zelipc::JSObject payload;  // unless it is still the JSON text below
  std::string text;          // empty: the payload is there
  std::uint64_t number = 0;  // when this process sent it, beside its registrations
};

/// One that several hold: the queue, a question to the bus.
using SharedNotification = std::shared_ptr<Notification>;

}  // namespace workstation

#endif  // WORKSTATION_ZELIPC_NOTIFICATION_H
