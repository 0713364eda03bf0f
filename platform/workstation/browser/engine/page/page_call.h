/// What a page's `wz` sends to the platform, read from the text that comes through the binding.
#ifndef WORKSTATION_BROWSER_ENGINE_PAGE_CALL_H
#define WORKSTATION_BROWSER_ENGINE_PAGE_CALL_H

#include <map>
#include <string>

#include "workstation/browser/browser_control.h"
#include "workstation/browser/js/script_call.h"

namespace workstation {

/// What a call of the page fails with when the script processor could not be asked. The script
/// itself adds -102 (no answer came through) and -103 (the call is too long).
enum PageCallError { kNoProcessor = -100, kTooManyCalls = -101 };

struct PageCall {
  enum class Kind {
    kScript,    ///< `script` is for the script processor, whose reply the page awaits unless a log.
    kBlocking,  ///< The same, and the page stands still until the reply is there.
    kDrop,      ///< The blocking call `id` has been given up.
    kExit,      ///< Ends the invocation.
    kClose,     ///< Closes the window.
    kInput,     ///< Tells what the user has done.
  };

  Kind kind = Kind::kScript;
  long long id = 0;
  ScriptCall script;
  int result = 0;                                 ///< kExit
  std::map<std::string, std::string> properties;  ///< kExit
  PageEvent::Input input;                         ///< kInput
};

/// False when `payload` is nothing that the script makes.
[[nodiscard]] bool readPageCall(const std::string& payload, PageCall& call);

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_PAGE_CALL_H
