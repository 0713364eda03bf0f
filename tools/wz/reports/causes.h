/// Why an application is not, or no longer, on a terminal: the rules that took it away, what stood
/// behind each, and the smallest change that would keep it.
#ifndef WZ_REPORTS_CAUSES_H
#define WZ_REPORTS_CAUSES_H

#include <cstdint>
#include <string>
#include <vector>

#include "wz/reports/history_event.h"
#include "wz/reports/json_output.h"
#include "wz/reports/log_reading.h"

namespace wz {

/// A rule that an application has broken.
struct Cause {
  std::string code, line;
  unsigned pass = 0;                ///< of the dependency check, from 1; 0: before it
  std::vector<std::string> values;  ///< in the line, for the directives of its format

  // Of a trigger or an interface that was missing:
  std::string exporter;  ///< id of the application that had exported it; empty: not known
  std::string exporterVersion;
  std::uint64_t event = 0;     ///< that took the exporter away; 0: not known
  std::string how;             ///< what became of it there, a sentence without its stop
  std::string package;         ///< that had brought the exporter
  std::vector<Cause> because;  ///< why it was taken away; none: it was asked for
};

/// The causes of a change, with those behind them.
/// \param events  of the whole history, with `at` the number of the event that `change` is of.
[[nodiscard]] std::vector<Cause> causesOf(const HistoryChange& change, std::uint64_t at,
                                          const std::vector<HistoryEvent>& events);

/// The same of a log alone; what stands behind them is not known then.
[[nodiscard]] std::vector<Cause> causesOf(const LogRemarks& remarks, unsigned pass);

/// What would have to be different for the application to stay, as few things as possible.
[[nodiscard]] std::vector<std::string> smallestChange(const std::string& id,
                                                      const std::vector<Cause>& causes);

/// Prints a tree of causes, each level two blanks further in.
void printCauses(const std::vector<Cause>& causes, const std::string& indent);
void putCauses(JsonWriter& writer, const char* key, const std::vector<Cause>& causes);

}  // namespace wz

#endif  // WZ_REPORTS_CAUSES_H
