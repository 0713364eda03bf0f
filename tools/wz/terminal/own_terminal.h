/// The terminal that commands use where none is named: a folder among the user's data.
#ifndef WZ_TERMINAL_OWN_TERMINAL_H
#define WZ_TERMINAL_OWN_TERMINAL_H

#include <string>

#include "workstation/terminal/terminal_directory.h"

namespace wz {

/// A new terminal as it is unless told otherwise, without certificates.
[[nodiscard]] workstation::NewTerminal defaultTerminal();

/// Adds the roots of the development keys, so that packages signed with those are taken by the
/// terminals of a library that trusts them. With a product's own authorities there are none.
void addDevelopmentRoots(workstation::NewTerminal& terminal);

/// Sets `directory` to $XDG_DATA_HOME/wzapp/terminal, or ~/.local/share/wzapp/terminal where that
/// variable holds no absolute path. A terminal is made there when there is none, and said so. False
/// after a message.
[[nodiscard]] bool findOwnTerminal(std::string& directory);

}  // namespace wz

#endif  // WZ_TERMINAL_OWN_TERMINAL_H
