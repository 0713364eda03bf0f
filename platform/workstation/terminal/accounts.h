/// The account files (passwd(5), group(5)) that a process inside a terminal sees.
#ifndef WORKSTATION_TERMINAL_ACCOUNTS_H
#define WORKSTATION_TERMINAL_ACCOUNTS_H

#include <string>

namespace workstation {

/// The machine's group file with the group "system" standing for `gid`. Its line is the first:
/// a look-up with a small buffer must not stumble over a long line before it.
std::string groupFile(unsigned gid);

/// The machine's passwd file with a line for `uid` put first. Empty when it need not change: it has
/// a line for that id, and the id is not `assumed`, which would make that line somebody else's.
std::string passwdFile(unsigned uid, unsigned gid, bool assumed);

}  // namespace workstation

#endif  // WORKSTATION_TERMINAL_ACCOUNTS_H
