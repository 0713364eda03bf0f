#include "wz/reports/run_report.h"

#include <cstddef>
#include <iterator>
#include <vector>

#include "wz/reports/output.h"

namespace wz {
namespace {

using workstation::PageEvent;

const char* levelName(int level) {
  constexpr const char* kNames[] = {"emergency", "alert",  "critical", "error",
                                    "warning",   "notice", "info",     "debug"};
  const bool known = level >= 0 && static_cast<std::size_t>(level) < std::size(kNames);
  return known ? kNames[level] : "unknown";
}

}  // namespace

void reportEvent(const PageEvent& event) {
  switch (event.kind) {
    case PageEvent::Kind::kConsole:
      printLine(event.appId + " console " + levelName(event.level) + ": " +
                joined(event.texts, " "));
      break;
    case PageEvent::Kind::kLog:
      printLine(event.appId + " log " + levelName(event.level) + ": " + joined(event.texts, " "));
      break;
    case PageEvent::Kind::kFailedRequest:
      printLine(event.appId + " request failed: " + event.status + " " + event.url);
      break;
    case PageEvent::Kind::kFirstPaint:
      printLine(event.appId + " first paint");
      break;
    case PageEvent::Kind::kEnded:
      break;
  }
}

void reportRecord(const zelipc::JSObject& record) { printLine("_WZLog " + record.dump()); }

void reportEnd(const std::string& id, int result, const std::string& errorText,
               const std::map<std::string, std::string>& properties) {
  printLine(id + " ended with result " + std::to_string(result) +
            (errorText.empty() ? "" : ": " + errorText));
  for (const auto& [key, value] : properties) {
    std::string line = "  ";
    line += key;
    line += " = ";
    line += value;
    printLine(line);
  }
}

}  // namespace wz
