/// The terminal that commands use where none is named: a folder among the user's data.
#ifndef WZ_TERMINAL_OWN_TERMINAL_H
#define WZ_TERMINAL_OWN_TERMINAL_H

#include <string>

#include "workstation/terminal/terminal_directory.h"

namespace wz {

/// A new terminal as it is unless told otherwise, without certificates.
[[nodiscard]] workstation::NewTerminal defaultTerminal();

/// Adds the roots of the development keys in force, and their table where it is another than the
/// one compiled in, so that the terminal takes packages signed with them; keys of the user's own
/// are made where there are none. With a product's own authorities nothing is added. False with a
/// line of text in `error`.
[[nodiscard]] bool addTrust(workstation::NewTerminal& terminal, std::string& error);

/// Adds the table that another terminal has of its own, if it has one; its roots are a folder.
[[nodiscard]] bool addTrustOf(const std::string& terminalDir, workstation::NewTerminal& terminal,
                              std::string& error);

/// Sets `directory` to $XDG_DATA_HOME/wzapp/terminal, or ~/.local/share/wzapp/terminal where that
/// variable holds no absolute path. A terminal is made there when there is none, and said so. False
/// after a message.
[[nodiscard]] bool findOwnTerminal(std::string& directory);

}  // namespace wz

#endif  // WZ_TERMINAL_OWN_TERMINAL_H
