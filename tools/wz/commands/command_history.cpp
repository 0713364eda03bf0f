#include <algorithm>
#include <string>
#include <vector>

#include "wz/commands/commands.h"
#include "wz/reports/history_output.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/terminal/history_file.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

// The last ones; 0: all.
std::vector<HistoryEvent> lastOf(const History& history, unsigned count) {
  const std::vector<HistoryEvent>& events = history.events;
  const std::size_t kept = count == 0 ? events.size() : std::min<std::size_t>(count, events.size());
  return {events.end() - static_cast<std::ptrdiff_t>(kept), events.end()};
}

void printWords(const History& history, const HistoryOptions& options) {
  const std::vector<HistoryEvent> events = lastOf(history, options.count);
  if (history.events.empty()) printLine("nothing has been installed or removed by wz yet");
  if (!history.events.empty() && history.events.front().number > 1) {
    printNote("note: the history begins with event " +
              std::to_string(history.events.front().number) + "; older ones are not kept");
  }
  for (const HistoryEvent& event : events) printHistoryEvent(event, volume() == Volume::kVerbose);
}

}  // namespace

int showHistory(const HistoryOptions& options) {
  History history;
  if (!enterToReadHistory(options.terminal, history)) return kEnvironment;
  if (!options.asJson) {
    printWords(history, options);
    return kDone;
  }
  printJsonDocument("history", true, {}, [&](JsonWriter& writer) {
    putRows(writer, "events", lastOf(history, options.count),
            [&writer](const HistoryEvent& event) { putHistoryEvent(writer, event); });
  });
  return kDone;
}

}  // namespace wz
