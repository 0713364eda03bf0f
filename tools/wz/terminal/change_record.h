/// Tells a terminal's history what is done to it. All of it is for who has the right to change the
/// terminal that this process is inside of (terminal_change.h).
#ifndef WZ_TERMINAL_CHANGE_RECORD_H
#define WZ_TERMINAL_CHANGE_RECORD_H

#include <string>
#include <vector>

#include "wz/reports/history_event.h"
#include "wz/reports/installed_applications.h"
#include "wz/terminal/installation.h"

namespace wz {

/// One change. It begins before anything is done, with a note in the terminal's folder by which the
/// next change finds out where a program was killed.
class ChangeRecord {
 public:
  /// Remembers what is installed and who waits to be. What cannot be written is warned of, here and
  /// below, and hinders nothing.
  void begin(HistoryKind kind, const std::vector<WaitingPackage>& packages);

  /// Forgets it: nothing was done.
  void drop();

  /// Appends what the run came to.
  void finish(const std::vector<WaitingPackage>& packages, const InstallOutcome& outcome);

  /// The same for a run that is to end here: takes back the packages that still wait, and says what
  /// is done and what is not.
  void interrupt(const std::vector<std::string>& log);

 private:
  HistoryEvent event_;
  std::vector<WaitingPackage> packages_;
  InstalledApplications before_;
};

/// Where the last change was cut off, does for it what ChangeRecord::interrupt() does.
void finishCutOffChange();

}  // namespace wz

#endif  // WZ_TERMINAL_CHANGE_RECORD_H
