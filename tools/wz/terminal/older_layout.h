/// The older layout of a terminal, in which its applications lay elsewhere.
#ifndef WZ_TERMINAL_OLDER_LAYOUT_H
#define WZ_TERMINAL_OLDER_LAYOUT_H

namespace wz {

/// Whether the terminal that this process is inside of has applications there that are still to be
/// moved. Anybody may look.
[[nodiscard]] bool hasOlderLayout();

/// Where there are, lets the library move them, and tells the history. For who has the right to
/// change the terminal.
void migrateOlderLayout();

}  // namespace wz

#endif  // WZ_TERMINAL_OLDER_LAYOUT_H
