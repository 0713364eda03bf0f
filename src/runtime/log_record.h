// The record in which an application's log is published, a notification named "_WZLog".
#ifndef WZAPP_RUNTIME_LOG_RECORD_H
#define WZAPP_RUNTIME_LOG_RECORD_H

#include <string>
#include <string_view>
#include <vector>

#include "runtime/log_entry.h"

namespace wzapp {

// In whose name a record is published; empty: not said. The texts are the caller's.
struct LogOrigin {
  std::string_view appId = {};
  std::string_view version = {};
  std::string_view merchantId = {};
  std::string_view system = {};
  std::string_view systemVersion = {};
};

// Sends one record with `entries`. The caller holds the log's mutex. A record that cannot be built
// or sent is lost; nothing is reported.
void publishLog(const LogOrigin& origin, const std::vector<WZLogEntry>& entries) noexcept;

// Local time with its offset from UTC, in the manner of ISO 8601 but with seconds in the offset:
// "2024-03-05T14:07:09.123+01:00:00".
std::string timeStampText(const LogTime& time);

}  // namespace wzapp

#endif  // WZAPP_RUNTIME_LOG_RECORD_H
