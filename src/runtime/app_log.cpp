#include "runtime/app_log.h"

#include <cstddef>
#include <cstring>
#include <string_view>
#include <utility>

#include "runtime/attempt.h"
#include "runtime/log_entry.h"
#include "runtime/log_record.h"
#include "support/mutex.h"

namespace wzapp {
namespace {

constexpr std::size_t kPublishSize = 40960;

// What is published with every record of an application.
struct AppData {
  std::string version;
  std::string merchantId;
  std::string system;
  std::string systemVersion;
};

// The size is summed up as lines come in, so that a line costs the same however long the log is.
struct AppLog {
  std::vector<WZLogEntry> entries;
  std::size_t estimatedSize = 0;
};

struct LogTables {
  std::map<std::string, AppLog> logEntries;
  std::map<std::string, AppData> appData;
};

Mutex logMutex;  // taken after an application's mutex, never before it

// Made on first use and never destroyed: scripts may write while the process comes to its end.
LogTables& logTables() WZAPP_REQUIRES(logMutex) {
  static LogTables& tables = *new LogTables;
  return tables;
}

// Null when no application with that id runs.
AppLog* findLog(const std::string& appId) WZAPP_REQUIRES(logMutex) {
  const auto log = logTables().logEntries.find(appId);
  return log == logTables().logEntries.end() ? nullptr : &log->second;
}

void append(AppLog& log, WZLogEntry entry) {
  const std::size_t size = entry.estimatedSize();
  log.entries.push_back(std::move(entry));
  log.estimatedSize += size;
}

void publishWhenFull(const std::string& appId, AppLog& log) WZAPP_REQUIRES(logMutex) {
  if (log.estimatedSize < kPublishSize) return;
  const AppData& data = logTables().appData[appId];
  publishLog({.appId = appId,
              .version = data.version,
              .merchantId = data.merchantId,
              .system = data.system,
              .systemVersion = data.systemVersion},
             log.entries);
  // The memory goes too: an application that wrote much once is not charged for it for ever.
  log = AppLog();
}

WZLogEntry applicationEntry(const char* message, const char* event) {
  WZLogEntry entry(kNoticeLevel, kApplicationEntry);
  entry.message = message;
  entry.event = event;
  return entry;
}

WZLogEntry failureEntry(const RunFailure& failure) {
  WZLogEntry entry(kErrorLevel, kErrorEntry);
  entry.message = failure.message;
  entry.errorCode = failure.errorCode;
  return entry;
}

WZLogEntry failedRequestEntry(const std::string& url, const std::string& status) {
  WZLogEntry entry(kErrorLevel, kErrorEntry);
  entry.message = "HTTP request failed";
  entry.errorCode = "wz_1";
  entry.errorName = "HTTP request failed";
  entry.errorMessage = "URL: " + url;
  entry.errorData = status;
  return entry;
}

// Which text of an entry the arguments of a script's line are, first to last.
using EntryText = std::string WZLogEntry::*;
constexpr EntryText kLineTexts[] = {&WZLogEntry::message, &WZLogEntry::detail};
constexpr EntryText kErrorLineTexts[] = {&WZLogEntry::errorCode, &WZLogEntry::errorName,
                                         &WZLogEntry::message};

template <std::size_t count>
void setTexts(WZLogEntry& entry, const EntryText (&texts)[count],
              const std::vector<std::string>& args) {
  for (std::size_t index = 0; index < count && index < args.size(); ++index) {
    entry.*texts[index] = args[index];
  }
}

WZLogEntry scriptEntry(int level, const std::vector<std::string>& args) {
  WZLogEntry entry(level, kScriptEntry);
  if (level == kErrorLevel) {
    setTexts(entry, kErrorLineTexts, args);
  } else if (level >= js::JS_LOG_EMERGENCY && level <= js::JS_LOG_DEBUG) {
    setTexts(entry, kLineTexts, args);
  }
  return entry;
}

// The number behind a level, which need not be one that the type has a name for; so it must not be
// read as one.
int levelNumber(const js::JSLogLevel& level) {
  int number = 0;
  static_assert(sizeof level == sizeof number);
  std::memcpy(&number, &level, sizeof number);
  return number;
}

void setIfSaid(std::string& text, const std::optional<std::string>& said) {
  if (said) text = *said;
}

// Without a copy: closing a log does not depend on memory.
std::string_view orEmpty(const std::optional<std::string>& said) {
  return said ? std::string_view(*said) : std::string_view();
}

}  // namespace

void openAppLog(const std::string& appId, const LaunchData& launch) noexcept {
  attempt([&] {
    const MutexLock lock(logMutex);
    append(logTables().logEntries[appId], applicationEntry("Application launched", "LAUNCH"));
    AppData& data = logTables().appData[appId];
    data.version = launch.version;
    setIfSaid(data.merchantId, launch.merchantId);
    setIfSaid(data.system, launch.system);
    setIfSaid(data.systemVersion, launch.systemVersion);
  });
}

void closeAppLog(const std::string& appId, const LaunchData& launch,
                 const std::optional<RunFailure>& failure) noexcept {
  attempt([&] {
    const MutexLock lock(logMutex);
    LogTables& tables = logTables();
    // Another application with this id may have closed the log; then it holds the end only.
    attempt([&] {
      AppLog& log = tables.logEntries[appId];
      if (failure) append(log, failureEntry(*failure));
      append(log, applicationEntry("Application ended", "EXIT"));
    });
    if (const AppLog* const log = findLog(appId)) {
      publishLog({.appId = appId,
                  .version = launch.version,
                  .merchantId = orEmpty(launch.merchantId),
                  .system = orEmpty(launch.system),
                  .systemVersion = orEmpty(launch.systemVersion)},
                 log->entries);
    }
    tables.logEntries.erase(appId);
    tables.appData.erase(appId);
  });
}

void onScriptLog(void*, const std::string& appId, js::JSLogLevel level,
                 const std::vector<std::string>& args) noexcept {
  if (args.empty()) return;
  attempt([&] {
    const MutexLock lock(logMutex);
    AppLog* const log = findLog(appId);
    if (log == nullptr) return;
    append(*log, scriptEntry(levelNumber(level), args));
    publishWhenFull(appId, *log);
  });
}

void onScriptTrace(void*, js::JSTraceType type, const std::string& appId,
                   std::map<std::string, std::string>& info) noexcept {
  if (type != js::JS_TRACE_PAGE || appId.empty()) return;
  attempt([&] {
    // A request without a status has got no answer, which is a failure too.
    const std::string& status = info["status"];
    if (status == "200") return;
    const MutexLock lock(logMutex);
    AppLog* const log = findLog(appId);
    if (log == nullptr) return;
    append(*log, failedRequestEntry(info["url"], status));
    publishWhenFull(appId, *log);
  });
}

}  // namespace wzapp
