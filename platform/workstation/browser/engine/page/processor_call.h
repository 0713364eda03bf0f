/// One call of the host's script processor.
#ifndef WORKSTATION_BROWSER_ENGINE_PROCESSOR_CALL_H
#define WORKSTATION_BROWSER_ENGINE_PROCESSOR_CALL_H

#include <map>
#include <string>

#include "workstation/browser/js/script_call.h"

namespace workstation {

struct CallResult {
  int code;
  std::string text;  ///< The reply for code 0, else an error's text.
};

/// Waits for what the processor makes of the call, as long as it likes.
CallResult callProcessor(const ScriptCall& call, std::map<std::string, std::string> context);

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_PROCESSOR_CALL_H
