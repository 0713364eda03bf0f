/// Makes this process see a terminal's fixed paths, for itself and its children only.
///
/// The process moves into a user and a mount namespace of its own (user_namespaces(7),
/// mount_namespaces(7)), as an ordinary user and without any trace on the machine:
///
///     /mnt/flash                    -> TERMINAL/flash
///     /home/usr1 ... /home/usr16    -> TERMINAL/home/usr1 ... usr16
///     /home/sys1 ... /home/sys16    -> TERMINAL/home/sys1 ... sys16
///
/// All are symbolic links into the one mount on which TERMINAL lies, so that a move between
/// /home/sys13 and /mnt/flash is a plain rename, as it is on a terminal. Every other entry of /home
/// and of /mnt, the user's own home first of all, is found where it was. The two folders themselves
/// can not be written to.
///
/// The user id stays the user's. Root becomes the ordinary id 1000, because it is not to be let
/// through where a terminal's program would be denied. Inside, the group "system" is the user's own
/// group, the user has a passwd entry, and the process has no capabilities and cannot regain any. A
/// file right in /etc that the machine replaces meanwhile stays the old one inside.
/// A terminal with a touch screen shows the device node by which programs recognise one.
#ifndef WORKSTATION_TERMINAL_TERMINAL_NAMESPACE_H
#define WORKSTATION_TERMINAL_TERMINAL_NAMESPACE_H

#include <string>

namespace workstation {

/// Enters the terminal in the folder `terminalDir` and sets WZ_TERMINAL to the folder's absolute
/// path, which stays good inside. The folder, its `flash` and its `home` must exist and belong to
/// the user, and its profile must be sound.
///
/// To be called at the top of main: the process must have one thread. Takes some milliseconds.
/// False with a line of text in `error` for the user when it did not work; the process may then be
/// half inside and should end.
[[nodiscard]] bool enterTerminal(const std::string& terminalDir, std::string& error);

}  // namespace workstation

#endif  // WORKSTATION_TERMINAL_TERMINAL_NAMESPACE_H
