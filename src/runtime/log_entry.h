// One line of an application's log.
#ifndef WZAPP_RUNTIME_LOG_ENTRY_H
#define WZAPP_RUNTIME_LOG_ENTRY_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace wzapp {

// Wall-clock time since 1970-01-01T00:00:00Z.
struct LogTime {
  std::int32_t seconds = 0;
  std::int32_t nanoseconds = 0;
};

// Values of WZLogEntry::kind.
constexpr int kApplicationEntry = 0;
constexpr int kErrorEntry = 1;
constexpr int kScriptEntry = 2;

// Levels that the runtime itself uses; scripts use 0 (emergency) to 7 (debug).
constexpr int kErrorLevel = 3;
constexpr int kNoticeLevel = 5;

struct WZLogEntry {
  // Takes the time.
  WZLogEntry(int level, int kind);

  // What the entry counts towards the size at which a log is published, in octets: its texts, and
  // a flat sum for everything else in a record.
  std::size_t estimatedSize() const;

  LogTime time;
  int level;
  int kind;
  std::string message;
  std::string errorCode;
  std::string errorName;
  std::string errorMessage;
  std::string errorData;
  std::string event;   // "LAUNCH" or "EXIT", of an application entry.
  std::string detail;  // Second text of a script's line.
};

}  // namespace wzapp

#endif  // WZAPP_RUNTIME_LOG_ENTRY_H
