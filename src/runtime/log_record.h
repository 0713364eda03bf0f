// The record in which an application's log is published, a notification named "_WZLog".
#ifndef WZAPP_RUNTIME_LOG_RECORD_H
#define WZAPP_RUNTIME_LOG_RECORD_H

#include <string>
#include <vector>

#include "runtime/log_entry.h"

namespace wzapp {

// Sends one record with `entries` in the name of the application. The caller holds the log's
// mutex. A record that cannot be built or sent is lost; nothing is reported.
void publishLog(const std::string& appId, const std::string& version, const std::string& merchantId,
                const std::string& system, const std::string& systemVersion,
                const std::vector<WZLogEntry>& entries) noexcept;

// Local time with its offset from UTC, in the manner of ISO 8601 but with seconds in the offset:
// "2024-03-05T14:07:09.123+01:00:00".
std::string timeStampText(const LogTime& time);

}  // namespace wzapp

#endif  // WZAPP_RUNTIME_LOG_RECORD_H
