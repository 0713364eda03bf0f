/// One thing that happened to what is installed on a terminal, as its history keeps it.
#ifndef WZ_REPORTS_HISTORY_EVENT_H
#define WZ_REPORTS_HISTORY_EVENT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "wz/check/json_tree.h"
#include "wz/reports/json_output.h"

namespace wz {

/// A package that took part.
struct HistoryPackage {
  std::string file;    ///< what the user called it
  std::string sha256;  ///< of its octets, hexadecimal; empty: not known
  std::uint64_t octets = 0;
  bool isDone = false;  ///< what it was for has come about
};

/// Why something was removed or refused.
struct HistoryRule {
  std::string code;   ///< "WZ-0514"
  std::string line;   ///< of the log, or what was found
  unsigned pass = 0;  ///< of the dependency check, from 1; 0: before it
};

enum class HistoryChangeKind {
  kAppeared,
  kChanged,
  kVanished,
  kRefused,  ///< a package brought it, and it is not there
};

enum class HistoryThing { kApplication, kMarketplaceManifest, kRemoval };

struct HistoryChange {
  HistoryChangeKind kind = HistoryChangeKind::kAppeared;
  HistoryThing thing = HistoryThing::kApplication;
  std::string id, versionBefore, versionNow;
  bool isDowngrade = false;
  std::string package, archive;  ///< that did it; empty: none
  std::vector<HistoryRule> rules;
  std::vector<std::string> exportedTriggers, exportedInterfaces;  ///< of the application
};

struct HistoryMove {
  std::string from, to;
  bool isDone = false;
};

enum class HistoryKind { kInstall, kRemove, kMigration };

struct HistoryEvent {
  std::uint64_t number = 0;  ///< from 1
  std::string time;          ///< "2026-11-22T09:41:07Z"
  HistoryKind kind = HistoryKind::kInstall;
  bool isInterrupted = false;  ///< it did not come to its end
  int result = -1;             ///< of the library; -1: none
  std::vector<HistoryPackage> packages;
  std::vector<HistoryChange> changes;
  std::vector<HistoryMove> moves;  ///< of a migration
  std::vector<std::string> log;
  std::uint64_t linesLeftOut = 0;  ///< of a log that was too long, in its middle
};

/// "install", "remove", "migration".
[[nodiscard]] const char* historyKindText(HistoryKind kind);
/// "appeared", "changed", "vanished", "refused".
[[nodiscard]] const char* historyChangeText(HistoryChangeKind kind);

/// Now, as events have it.
[[nodiscard]] std::string historyTime();

/// Writes the event as members of an object.
void putHistoryEvent(JsonWriter& writer, const HistoryEvent& event);

/// The same as one line of text with its line feed.
[[nodiscard]] std::string historyLine(const HistoryEvent& event);

/// Reads an event, or a line of text that is one; false for what is none. Members that are missing
/// are as in a new one.
[[nodiscard]] bool readHistoryEvent(const JsonNode& root, HistoryEvent& event);
[[nodiscard]] bool readHistoryLine(std::string_view line, HistoryEvent& event);

}  // namespace wz

#endif  // WZ_REPORTS_HISTORY_EVENT_H
