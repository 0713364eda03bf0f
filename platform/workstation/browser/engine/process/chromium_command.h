/// How Chromium is started: its program, switches and environment.
#ifndef WORKSTATION_BROWSER_ENGINE_CHROMIUM_COMMAND_H
#define WORKSTATION_BROWSER_ENGINE_CHROMIUM_COMMAND_H

#include "workstation/browser/browser_control.h"
#include "workstation/browser/engine/process/chromium_process.h"
#include "workstation/browser/engine/process/profile_directory.h"

namespace workstation {

/// Whether there is a display server to open windows on (DISPLAY or WAYLAND_DISPLAY).
bool hasDisplayServer();

/// Whether that display server takes connections; if not, `error` names it and says what helps. One
/// that is reached over the network is not asked.
[[nodiscard]] bool reachDisplayServer(std::string& error);

/// Debian's package of the same engine without windows, which starts three times as fast.
inline constexpr char kHeadlessPackage[] = "chromium-headless-shell";

/// The browser's binary: `chosen` if that is not empty, else Debian's; for one `withWindows` no
/// other will do, without them the package above comes first. False, with the reason in `error`,
/// when there is none that can be run.
[[nodiscard]] bool findBrowser(const std::string& chosen, bool withWindows, std::string& program,
                               std::string& error);

/// Makes the profile of a browser whose window has nothing inside of it but the page. False, with
/// the reason in `error`, when it cannot be written.
[[nodiscard]] bool writeWindowPreferences(const ProfileDirectory& profile, std::string& error);

/// The command for `program` with everything it writes below `profile`. `window` is the size of the
/// window that it begins with, "480,800"; empty: it never has one.
ChromiumCommand chromiumCommand(const std::string& program, const ProfileDirectory& profile,
                                const std::string& window, const std::string& locale = "");

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_CHROMIUM_COMMAND_H
