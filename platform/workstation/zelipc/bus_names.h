// How addresses and names of notifications appear on the bus.
//
// Both are any octets at all, while the bus wants UTF-8 without NUL for texts and less for names.
// So each is turned into a key of letters, digits and underscores: hexadecimal digits, or, when
// that is long, its beginning and a hash. Keys only steer notifications to processes; which
// registrations one reaches is decided by comparing the texts themselves.
#ifndef WORKSTATION_ZELIPC_BUS_NAMES_H
#define WORKSTATION_ZELIPC_BUS_NAMES_H

#include <string>
#include <string_view>

namespace workstation {

// Where notifications are found on the bus: signals to the bus name of the address that carry the
// keys of the address and the name, then sender, address, name and payload as octets, then the
// flags.
inline constexpr const char* kBusPath = "/zelipc";
inline constexpr const char* kBusInterface = "zelipc.Notifications";
inline constexpr const char* kBusMember = "Notification";

/// At most 200 octets, the same for the same text.
std::string busKey(std::string_view text);

/// The bus name that the processes with a registrant at `address` own or queue for.
std::string busName(std::string_view address);

/// The match rule for the notifications named `name` to `address`, also for those that the bus
/// takes to another process.
std::string busMatch(std::string_view address, std::string_view name);

}  // namespace workstation

#endif  // WORKSTATION_ZELIPC_BUS_NAMES_H
