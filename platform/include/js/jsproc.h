/// The terminal's script processor and the callbacks through which scripts reach the platform.
///
/// The callbacks run on the script processor's threads, several at once where several pages run.
#ifndef JS_JSPROC_H
#define JS_JSPROC_H

#include <map>
#include <string>
#include <vector>

namespace js {

enum JSLogLevel {
  JS_LOG_EMERGENCY,
  JS_LOG_ALERT,
  JS_LOG_CRITICAL,
  JS_LOG_ERROR,
  JS_LOG_WARNING,
  JS_LOG_NOTICE,
  JS_LOG_INFO,
  JS_LOG_DEBUG
};

enum JSTraceType { JS_TRACE_SCRIPT = 0, JS_TRACE_EVENT = 1, JS_TRACE_PAGE = 2 };

/// A script sends a notification. 0 on success.
typedef int (*JSNotify)(void* user, const char* to, const char* name, const char* json,
                        unsigned int flags, const char* from);

/// A script sends a notification and waits for the one named `replyName`, whose JSON text goes
/// into `reply`. A negative `timeoutMs` waits without limit. 0 on success.
typedef int (*JSNotifyAndWait)(void* user, const char* to, const char* name, const char* json,
                               unsigned int flags, const char* from, const char* replyName,
                               std::string& reply, int timeoutMs);

/// Something happened in a page of `appId`; for JS_TRACE_PAGE, a request ended, with its "url" and
/// "status" in `info`.
typedef void (*JSTrace)(void* user, JSTraceType type, const std::string& appId,
                        std::map<std::string, std::string>& info);

/// A script of `appId` wrote a log line.
typedef void (*JSLog)(void* user, const std::string& appId, JSLogLevel level,
                      const std::vector<std::string>& args);

/// The script processor itself, for zelhtml::htmlSetScriptProcessor.
bool jsProcessorExt(void* user, const std::string& source,
                    std::map<std::string, std::string>& context);

void jsSetNotify(JSNotify callback, void* user);
void jsSetNotifyAndWait(JSNotifyAndWait callback, void* user);
void jsSetTrace(JSTrace callback, void* user);
void jsSetLog(JSLog callback, void* user);

}  // namespace js

#endif  // JS_JSPROC_H
