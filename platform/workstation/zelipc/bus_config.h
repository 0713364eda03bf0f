// What the terminal's bus daemon is started with, and how its socket is written as an address.
//
// Header only: the terminal starts the daemon, this library connects to it. The formats are those
// of dbus-daemon(1) and of the D-Bus specification, "Server Addresses".
#ifndef WORKSTATION_ZELIPC_BUS_CONFIG_H
#define WORKSTATION_ZELIPC_BUS_CONFIG_H

#include <cstddef>
#include <string>
#include <string_view>

namespace workstation {

/// The bus's socket, below the terminal's directory.
inline constexpr std::string_view kBusSocket = "/run/bus";

/// The longest message that the bus takes, in octets with its header; whoever sends a longer one is
/// disconnected. The daemon's own default, so that it also holds on a bus configured otherwise.
inline constexpr std::size_t kBusMessageLimit = std::size_t{32} * 1024 * 1024;

/// The D-Bus address of a socket: octets outside the set that may stand plain are percent-encoded.
inline std::string busAddress(std::string_view socketPath) {
  constexpr std::string_view kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_/.*";
  constexpr std::string_view kHexDigits = "0123456789abcdef";
  std::string address = "unix:path=";
  for (const char c : socketPath) {
    if (kPlain.find(c) != std::string_view::npos) {
      address += c;
      continue;
    }
    const auto octet = static_cast<unsigned char>(c);
    address += '%';
    address += kHexDigits[octet >> 4];
    address += kHexDigits[octet & 0x0F];
  }
  return address;
}

/// The text of the daemon's configuration file for a bus on `socketPath`, an absolute path of fewer
/// than 108 octets. Programs of the user who runs the daemon may connect, take any name, send
/// anything to anybody, and have as many names and matches as they register.
inline std::string busConfiguration(std::string_view socketPath) {
  // An address holds no character that XML would want escaped, '*' and '%' included.
  return "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
         " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
         "<busconfig>\n"
         "  <listen>" +
         busAddress(socketPath) +
         "</listen>\n"
         "  <auth>EXTERNAL</auth>\n"
         "  <policy context=\"default\">\n"
         "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
         "    <allow eavesdrop=\"true\"/>\n"
         "    <allow own=\"*\"/>\n"
         "  </policy>\n"
         "  <limit name=\"max_message_size\">" +
         std::to_string(kBusMessageLimit) +
         "</limit>\n"
         "  <limit name=\"max_incoming_bytes\">1000000000</limit>\n"
         "  <limit name=\"max_outgoing_bytes\">1000000000</limit>\n"
         "  <limit name=\"max_connections_per_user\">10000</limit>\n"
         "  <limit name=\"max_completed_connections\">10000</limit>\n"
         "  <limit name=\"max_names_per_connection\">50000</limit>\n"
         "  <limit name=\"max_match_rules_per_connection\">50000</limit>\n"
         "  <limit name=\"max_replies_per_connection\">50000</limit>\n"
         "</busconfig>\n";
}

}  // namespace workstation

#endif  // WORKSTATION_ZELIPC_BUS_CONFIG_H
