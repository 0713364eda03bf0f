/// Whether a terminal's flash has room for what packages bring. On a copy of the terminal, which
/// lies elsewhere, an installation cannot tell.
#ifndef WZ_TERMINAL_ROOM_TRIAL_H
#define WZ_TERMINAL_ROOM_TRIAL_H

#include <string>
#include <vector>

#include "wz/terminal/installation.h"

namespace wz {

/// An application for which there is no room, as the library counts it: what goes for it is free by
/// then, and a reserve stays.
struct NoRoom {
  std::string file;  ///< the package
  std::string id;
  std::uint64_t needed = 0;  ///< octets of its files
};

/// Looks through the packages, which have been opened with their entries counted, in their order.
[[nodiscard]] std::vector<NoRoom> findNoRoom(const std::string& terminalDir,
                                             const std::vector<WaitingPackage>& packages);

/// Puts that into what a trial has found.
void addNoRoom(const std::vector<NoRoom>& found, InstallOutcome& outcome);

}  // namespace wz

#endif  // WZ_TERMINAL_ROOM_TRIAL_H
