/// Which browser a terminal has.
#ifndef WZ_CHECK_TERMINAL_ENGINE_H
#define WZ_CHECK_TERMINAL_ENGINE_H

#include <string>

namespace wz {

/// Sets `engine` to the major version of the browser that the terminal in the folder `directory`
/// states, 0 where it states none. False after a message when its profile cannot be read.
[[nodiscard]] bool readTerminalEngine(const std::string& directory, unsigned& engine);

}  // namespace wz

#endif  // WZ_CHECK_TERMINAL_ENGINE_H
