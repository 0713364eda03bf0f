/// The terminal that a command works on.
#ifndef WZ_TERMINAL_SESSION_H
#define WZ_TERMINAL_SESSION_H

#include <string>

#include "workstation/terminal/bus_daemon.h"

namespace wz {

/// Sets `directory` to the terminal that enterChosenTerminal() would enter. False after a message.
[[nodiscard]] bool chooseTerminal(const std::string& terminalDir, std::string& directory);

/// Enters `terminalDir`; when that is empty the terminal that WZ_TERMINAL names, and otherwise the
/// user's own, which is made when it is not there (own_terminal.h). To be called before the process
/// has threads. False after a message.
[[nodiscard]] bool enterChosenTerminal(const std::string& terminalDir);

/// Being inside a terminal, with its message bus running. There is one in a process.
class Session {
 public:
  /// Enters as enterChosenTerminal does, and sees to it that the terminal's bus runs.
  [[nodiscard]] bool begin(const std::string& terminalDir);

  /// The second half, for a process that is inside already.
  [[nodiscard]] bool beginBus();

 private:
  workstation::BusUse bus_;
};

}  // namespace wz

#endif  // WZ_TERMINAL_SESSION_H
