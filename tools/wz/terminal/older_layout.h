/// The older layout of a terminal, in which its applications lay elsewhere.
#ifndef WZ_TERMINAL_OLDER_LAYOUT_H
#define WZ_TERMINAL_OLDER_LAYOUT_H

namespace wz {

/// Where the applications of the older layout are still to be moved, lets the library do that, and
/// tells the history. For who has the right to change the terminal that this process is inside of.
void migrateOlderLayout();

}  // namespace wz

#endif  // WZ_TERMINAL_OLDER_LAYOUT_H
