// The logs of the running applications.
//
// Each application has a log from its launch to its end, found by its id; two that run with the
// same id share one, and the first to end closes it. Lines for an id without a log are dropped.
// A log is published whenever its lines have grown to some 40 KB, and at the application's end.
//
// Everything here may be called from any thread. One mutex guards all logs and is held while a
// record is handed to the messaging; an application's own mutex may be held when it is taken. A
// line for which there is no memory is lost.
#ifndef WZAPP_RUNTIME_APP_LOG_H
#define WZAPP_RUNTIME_APP_LOG_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "js/jsproc.h"

namespace wzapp {

// What a launch says about the application; absent: not said.
struct LaunchData {
  std::string version;
  std::optional<std::string> merchantId;
  std::optional<std::string> system;
  std::optional<std::string> systemVersion;
};

// Why an application has ended with a negative result.
struct RunFailure {
  std::string message;
  std::string errorCode;
};

// Opens the log of `appId` with its "LAUNCH" line. An open one goes on, with what `launch` says in
// place of what was said before.
void openAppLog(const std::string& appId, const LaunchData& launch) noexcept;

// Adds the failure, if any, and the "EXIT" line, publishes the log in the name of `launch`, and
// closes it.
void closeAppLog(const std::string& appId, const LaunchData& launch,
                 const std::optional<RunFailure>& failure) noexcept;

// A script's line, for js::jsSetLog: text and detail, or, at level 3, error code, error name and
// text. A line without arguments is ignored.
void onScriptLog(void* user, const std::string& appId, js::JSLogLevel level,
                 const std::vector<std::string>& args) noexcept;

// A page's request that has ended, for js::jsSetTrace: unless its "status" is "200", it becomes an
// error line. A missing "status" or "url" is added to `info`, empty.
void onScriptTrace(void* user, js::JSTraceType type, const std::string& appId,
                   std::map<std::string, std::string>& info) noexcept;

}  // namespace wzapp

#endif  // WZAPP_RUNTIME_APP_LOG_H
