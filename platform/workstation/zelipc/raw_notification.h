/// What the messaging of a workstation can do beyond the terminal's interface: play a program that
/// sends what is no JSON. Exported by libzelipc.so.
#ifndef WORKSTATION_ZELIPC_RAW_NOTIFICATION_H
#define WORKSTATION_ZELIPC_RAW_NOTIFICATION_H

#include <string>

namespace zelipc {

/// ipcNotify with `text` as the payload's text, as it stands; it must not be empty. Receivers read
/// it as they read any other.
__attribute__((visibility("default"))) int ipcNotifyText(const std::string& to,
                                                         const std::string& name,
                                                         const std::string& text,
                                                         unsigned int flags,
                                                         const std::string& from);

}  // namespace zelipc

#endif  // WORKSTATION_ZELIPC_RAW_NOTIFICATION_H
