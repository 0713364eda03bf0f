/// What a page's pointer and keys do, as the DevTools protocol has it.
#ifndef WZ_WORKBENCH_POINTER_H
#define WZ_WORKBENCH_POINTER_H

#include <string>
#include <vector>

#include "wz/workbench/answer.h"
#include "zelipc/zelipc.h"

namespace wz {

struct PageCommand {
  std::string method;
  zelipc::JSObject params;
};

/// {"type": "move"|"down"|"up"|"wheel", "x", "y", "button", "touch", "dx", "dy"}
/// \param pressed  the button that is down, "none" at first; kept from call to call.
/// What is wrong with the question; nothing: `command` is it.
[[nodiscard]] Problem pointerCommand(const zelipc::JSObject& question, std::string& pressed,
                                     PageCommand& command);

/// {"type": "down"|"up"|"press", "key", "code", "text"}: one command or two.
[[nodiscard]] Problem keyCommands(const zelipc::JSObject& question,
                                  std::vector<PageCommand>& commands);

}  // namespace wz

#endif  // WZ_WORKBENCH_POINTER_H
