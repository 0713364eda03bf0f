/// A script's call to the platform as the source text that the script processor runs.
///
/// The GUI service writes it, the script processor reads it; between them it travels through the
/// HTML engine's processor for scripts of type "js". Beside it goes a context: "appId" and
/// "invocation" on the way in; "result" (the callback's number), "reply" (JSON text) and, where the
/// call could not be made at all, "error" on the way out.
#ifndef WORKSTATION_BROWSER_JS_SCRIPT_CALL_H
#define WORKSTATION_BROWSER_JS_SCRIPT_CALL_H

#include <map>
#include <string>
#include <vector>

namespace workstation {

struct ScriptCall {
  enum class Kind { kNotify, kNotifyAndWait, kLog, kTrace };

  Kind kind = Kind::kNotify;
  std::string to, name, json, from;         ///< kNotify, kNotifyAndWait
  unsigned int flags = 0;                   ///< kNotify, kNotifyAndWait
  std::string replyName;                    ///< kNotifyAndWait
  int timeoutMs = 0;                        ///< kNotifyAndWait; negative: no limit
  int level = 0;                            ///< kLog: 0 to 7; kTrace: a js::JSTraceType
  std::vector<std::string> texts;           ///< kLog
  std::map<std::string, std::string> info;  ///< kTrace
};

/// The type under which the library registers its script processor.
inline constexpr char kScriptType[] = "js";

std::string scriptSource(const ScriptCall& call);

/// False when `source` is no call; `call` is then unspecified.
[[nodiscard]] bool readScriptSource(const std::string& source, ScriptCall& call);

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_JS_SCRIPT_CALL_H
