/// Events of a terminal's history in words.
#ifndef WZ_REPORTS_HISTORY_OUTPUT_H
#define WZ_REPORTS_HISTORY_OUTPUT_H

#include <string>

#include "wz/reports/history_event.h"

namespace wz {

/// Prints the event on one line; with `verbose` also its packages with their digests, each change
/// with who or what made it, and the log.
void printHistoryEvent(const HistoryEvent& event, bool verbose);

/// "replaced shop 1.2 by 1.1, a downgrade"
[[nodiscard]] std::string changeText(const HistoryChange& change);

}  // namespace wz

#endif  // WZ_REPORTS_HISTORY_OUTPUT_H
