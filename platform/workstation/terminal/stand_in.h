/// Other entries for a folder, seen by the calling process and its children alone.
#ifndef WORKSTATION_TERMINAL_STAND_IN_H
#define WORKSTATION_TERMINAL_STAND_IN_H

#include <map>
#include <string>

namespace workstation {

/// From here on, each of `links` stands in `folder` as a symbolic link to its target, in place of
/// an entry of that name; every other entry is found as before, and no new one can be made. Nothing
/// in the folder itself changes, so there is nothing to put back however the process ends.
///
/// For a process with one thread, inside of a terminal or not. It lasts as long as the process.
/// False with a line of text in `error`.
[[nodiscard]] bool showInFolder(const std::string& folder,
                                const std::map<std::string, std::string>& links,
                                std::string& error);

}  // namespace workstation

#endif  // WORKSTATION_TERMINAL_STAND_IN_H
