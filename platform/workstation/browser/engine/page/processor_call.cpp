#include "workstation/browser/engine/page/processor_call.h"

#include <cstdlib>
#include <utility>

#include "workstation/browser/engine/page/page_call.h"
#include "workstation/browser/html/script_runner.h"

namespace workstation {

CallResult callProcessor(const ScriptCall& call, std::map<std::string, std::string> context) {
  if (!runScript(kScriptType, scriptSource(call), context)) {
    const std::string& error = context["error"];
    return {kNoProcessor, error.empty() ? "no script processor takes the call" : error};
  }
  const int code = static_cast<int>(std::strtol(context["result"].c_str(), nullptr, 10));
  if (code == 0) return {0, std::move(context["reply"])};
  return {code, "the notification '" + call.name + "' failed with " + std::to_string(code)};
}

}  // namespace workstation
