// The script processor: turns the source of a script's call into a call of the host's callback.

// What the interface header declares is what this library exports.
#pragma GCC visibility push(default)
#include "js/jsproc.h"
#pragma GCC visibility pop

#include <new>

#include "workstation/browser/js/script_call.h"
#include "workstation/mutex.h"

namespace js {
namespace {

using workstation::ScriptCall;
using Context = std::map<std::string, std::string>;

template <class Function>
struct Callback {
  Function function = nullptr;
  void* user = nullptr;
};

struct Callbacks {
  Callback<JSNotify> notify;
  Callback<JSNotifyAndWait> notifyAndWait;
  Callback<JSTrace> trace;
  Callback<JSLog> log;
};

workstation::Mutex callbacksMutex;
Callbacks registeredCallbacks WORKSTATION_GUARDED_BY(callbacksMutex);

Callbacks currentCallbacks() {
  const workstation::MutexLock lock(callbacksMutex);
  return registeredCallbacks;
}

template <class Function>
void setCallback(Callback<Function> Callbacks::*slot, Function function, void* user) {
  const workstation::MutexLock lock(callbacksMutex);
  registeredCallbacks.*slot = {function, user};
}

bool fail(Context& context, const char* error) {
  context["error"] = error;
  return false;
}

bool runNotify(const Callbacks& callbacks, const ScriptCall& call, Context& context) {
  const auto& [function, user] = callbacks.notify;
  if (function == nullptr) return fail(context, "nobody takes notifications");
  const int result = function(user, call.to.c_str(), call.name.c_str(), call.json.c_str(),
                              call.flags, call.from.c_str());
  context["result"] = std::to_string(result);
  return true;
}

bool runNotifyAndWait(const Callbacks& callbacks, const ScriptCall& call, Context& context) {
  const auto& [function, user] = callbacks.notifyAndWait;
  if (function == nullptr) return fail(context, "nobody takes notifications with replies");
  std::string reply;
  const int result =
      function(user, call.to.c_str(), call.name.c_str(), call.json.c_str(), call.flags,
               call.from.c_str(), call.replyName.c_str(), reply, call.timeoutMs);
  context["result"] = std::to_string(result);
  context["reply"] = reply;
  return true;
}

bool runLog(const Callbacks& callbacks, const ScriptCall& call, Context& context) {
  const auto& [function, user] = callbacks.log;
  if (function == nullptr) return fail(context, "nobody takes log lines");
  function(user, context["appId"], static_cast<JSLogLevel>(call.level), call.texts);
  context["result"] = "0";
  return true;
}

bool runTrace(const Callbacks& callbacks, const ScriptCall& call, Context& context) {
  const auto& [function, user] = callbacks.trace;
  if (function == nullptr) return fail(context, "nobody takes traces");
  Context info = call.info;
  function(user, static_cast<JSTraceType>(call.level), context["appId"], info);
  context["result"] = "0";
  return true;
}

// In the order of ScriptCall::Kind.
constexpr bool (*kRunners[])(const Callbacks&, const ScriptCall&, Context&) = {
    runNotify, runNotifyAndWait, runLog, runTrace};

}  // namespace

bool jsProcessorExt(void*, const std::string& source, Context& context) {
  try {
    ScriptCall call;
    if (!workstation::readScriptSource(source, call)) return fail(context, "not a script's call");
    return kRunners[static_cast<std::size_t>(call.kind)](currentCallbacks(), call, context);
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void jsSetNotify(JSNotify callback, void* user) { setCallback(&Callbacks::notify, callback, user); }

void jsSetNotifyAndWait(JSNotifyAndWait callback, void* user) {
  setCallback(&Callbacks::notifyAndWait, callback, user);
}

void jsSetTrace(JSTrace callback, void* user) { setCallback(&Callbacks::trace, callback, user); }

void jsSetLog(JSLog callback, void* user) { setCallback(&Callbacks::log, callback, user); }

}  // namespace js
