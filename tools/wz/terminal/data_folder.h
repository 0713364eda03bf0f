/// Where the user's data lies.
#ifndef WZ_TERMINAL_DATA_FOLDER_H
#define WZ_TERMINAL_DATA_FOLDER_H

#include <string>

namespace wz {

/// $XDG_DATA_HOME, or ~/.local/share where that variable holds no absolute path. Empty without
/// HOME.
[[nodiscard]] std::string dataFolder();

}  // namespace wz

#endif  // WZ_TERMINAL_DATA_FOLDER_H
