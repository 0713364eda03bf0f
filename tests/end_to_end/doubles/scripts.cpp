// HTML engine and script processor without pages: runPage makes the calls that a page would.

#include <map>

#include "js/jsproc.h"
#include "tests/end_to_end/doubles/platform.h"
#include "zelhtml/zelhtml.h"

namespace {

// Set once, before any application runs.
js::JSNotify onNotify;
js::JSNotifyAndWait onNotifyAndWait;
js::JSTrace onTrace;
js::JSLog onLog;

}  // namespace

namespace zelhtml {

void htmlSetScriptProcessor(const std::string& type, ScriptProcessor processor, void* user) {
  const bool isOwn = processor == js::jsProcessorExt && user == nullptr;
  platform_double::tell("processor " + type + (isOwn ? " own" : " other"));
}

}  // namespace zelhtml

namespace js {

bool jsProcessorExt(void*, const std::string&, std::map<std::string, std::string>&) {
  return false;
}

void jsSetNotify(JSNotify callback, void*) {
  platform_double::tell("set notify");
  onNotify = callback;
}
void jsSetNotifyAndWait(JSNotifyAndWait callback, void*) {
  platform_double::tell("set notifyAndWait");
  onNotifyAndWait = callback;
}
void jsSetTrace(JSTrace callback, void*) {
  platform_double::tell("set trace");
  onTrace = callback;
}
void jsSetLog(JSLog callback, void*) {
  platform_double::tell("set log");
  onLog = callback;
}

}  // namespace js

namespace platform_double {

void runPage(const std::string& appId) {
  onLog(nullptr, appId, js::JS_LOG_INFO, {"from the page"});
  std::map<std::string, std::string> request = {{"url", "u:"}, {"status", "500"}};
  onTrace(nullptr, js::JS_TRACE_PAGE, appId, request);
  tell("notify returned " +
       std::to_string(onNotify(nullptr, "till", "PAID", "{}", 3, appId.c_str())));
  std::string reply;
  const int code =
      onNotifyAndWait(nullptr, "club", "ASK", "{}", 0, appId.c_str(), "ASK_reply", reply, 10000);
  tell("notifyAndWait returned " + std::to_string(code) + " " + reply);
}

}  // namespace platform_double
