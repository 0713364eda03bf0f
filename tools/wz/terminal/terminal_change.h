/// The right to change a terminal, from its inside.
#ifndef WZ_TERMINAL_TERMINAL_CHANGE_H
#define WZ_TERMINAL_TERMINAL_CHANGE_H

#include <string>

#include "workstation/terminal/terminal_directory.h"

namespace wz {

/// While it lives, no other program changes the terminal.
class TerminalChange {
 public:
  /// Enters the terminal (session.h), takes the right to change it, brings to an end what was cut
  /// off there (change_record.h), and sees to it that packages can be dropped. False after a
  /// message.
  [[nodiscard]] bool begin(const std::string& terminalDir);

 private:
  workstation::TerminalLock lock_;
};

}  // namespace wz

#endif  // WZ_TERMINAL_TERMINAL_CHANGE_H
