/// The terminal's message bus: one dbus-daemon for each terminal, on the socket TERMINAL/run/bus.
///
/// The first program that needs the bus starts it and the last one that leaves ends it. A small
/// watcher process stands between: it waits until no program holds the lock on run/bus.users any
/// more, which a program's end releases however it comes about. Nothing outlives the last user.
#ifndef WORKSTATION_TERMINAL_BUS_DAEMON_H
#define WORKSTATION_TERMINAL_BUS_DAEMON_H

#include <string>

namespace workstation {

/// Where the bus of the terminal `terminalDir` listens.
std::string busPath(const std::string& terminalDir);

/// False with a line of text in `error` when that path is longer than a socket's may be (107
/// octets, unix(7)).
[[nodiscard]] bool checkBusPath(const std::string& terminalDir, std::string& error);

/// The use of a terminal's bus; it ends with the object. Not for several threads at once.
class BusUse {
 public:
  BusUse() = default;
  ~BusUse();
  BusUse(const BusUse&) = delete;
  BusUse& operator=(const BusUse&) = delete;

  /// Makes sure that the bus of `terminalDir` (an absolute path) runs for as long as this object
  /// lives. On return it accepts connections. False with a line of text in `error` on failure.
  /// Best called before the process has threads: it forks.
  [[nodiscard]] bool begin(const std::string& terminalDir, std::string& error);

  void end();

 private:
  int users_ = -1;  // holds the shared lock
};

}  // namespace workstation

#endif  // WORKSTATION_TERMINAL_BUS_DAEMON_H
