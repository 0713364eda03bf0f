// A notification as the bus carries it (bus_names.h).
#ifndef WORKSTATION_ZELIPC_NOTIFICATION_MESSAGE_H
#define WORKSTATION_ZELIPC_NOTIFICATION_MESSAGE_H

#include "workstation/zelipc/notification.h"

struct sd_bus_message;

namespace workstation {

/// Reads the body of a signal that carries a notification; its payload is in its text. Null when
/// the message is something else.
SharedNotification readNotification(sd_bus_message* message);

}  // namespace workstation

#endif  // WORKSTATION_ZELIPC_NOTIFICATION_MESSAGE_H
