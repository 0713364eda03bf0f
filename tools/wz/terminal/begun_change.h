/// The note that lies in a terminal's folder while the terminal is being changed. Where a program
/// was killed meanwhile, it tells what was there before, and what was to be done.
#ifndef WZ_TERMINAL_BEGUN_CHANGE_H
#define WZ_TERMINAL_BEGUN_CHANGE_H

#include <vector>

#include "wz/reports/history_event.h"
#include "wz/reports/installed_applications.h"
#include "wz/terminal/installation.h"

namespace wz {

struct BegunChange {
  HistoryEvent event;                    ///< with the number that it was to have
  std::vector<WaitingPackage> packages;  ///< what they bring, without its manifests and entries
  InstalledApplications before;
};

/// Writes the note of the terminal that this process is inside of. False with errno.
[[nodiscard]] bool writeNote(const BegunChange& begun);

[[nodiscard]] bool hasNote();

/// False for one that cannot be read.
[[nodiscard]] bool readNote(BegunChange& begun);

void removeNote();

}  // namespace wz

#endif  // WZ_TERMINAL_BEGUN_CHANGE_H
