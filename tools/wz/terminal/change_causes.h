/// What a change of a terminal came to: what is there now and was not, or the reverse, and which
/// package or which rule made it so.
#ifndef WZ_TERMINAL_CHANGE_CAUSES_H
#define WZ_TERMINAL_CHANGE_CAUSES_H

#include <string>
#include <vector>

#include "wz/reports/history_event.h"
#include "wz/reports/installed_applications.h"
#include "wz/terminal/installation.h"

namespace wz {

/// Each application and each marketplace manifest that appeared, changed or vanished.
[[nodiscard]] std::vector<HistoryChange> differences(const InstalledApplications& before,
                                                     const InstalledApplications& now);

/// The same with who brought it, or the rules by which the log says that it went.
[[nodiscard]] std::vector<HistoryChange> explainedDifferences(
    const InstalledApplications& before, const InstalledApplications& now,
    const std::vector<WaitingPackage>& packages, const std::vector<std::string>& log);

/// The same for a run that came to its end, with what its packages brought and is not there.
[[nodiscard]] std::vector<HistoryChange> explainedChanges(
    const InstalledApplications& before, const InstalledApplications& now,
    const std::vector<WaitingPackage>& packages, const std::vector<std::string>& log);

/// Whether all that the package brings is there, and was not before.
[[nodiscard]] bool isBrought(const WaitingPackage& package, const InstalledApplications& before,
                             const InstalledApplications& now);

}  // namespace wz

#endif  // WZ_TERMINAL_CHANGE_CAUSES_H
