/// What the commands that run an application begin with.
#ifndef WZ_COMMANDS_RUN_SETUP_H
#define WZ_COMMANDS_RUN_SETUP_H

#include <string>

#include "wz/terminal/application.h"

namespace wz {

/// The variable with which `wz test` names the socket of the browsers that it lends.
inline constexpr const char* kBrowserLender = "WZ_BROWSERS";

/// Makes the library's folders in the terminal. False when they cannot be made.
[[nodiscard]] bool prepareConfigRoot();

/// Finds what the user has named: `namedFolder` if it is not empty; a path with a "/" is a folder;
/// of a plain name an installed application comes before a folder. `folder` is empty where an
/// installed application runs. To be called before the process has threads. An exit code.
int findApplication(const std::string& name, const std::string& namedFolder, StandIn& standIn,
                    std::string& folder, Application& application);

/// Says why the library has not started the application; `code` is its answer. An exit code.
int explainStart(int code, const std::string& entry, const Application& application);

}  // namespace wz

#endif  // WZ_COMMANDS_RUN_SETUP_H
