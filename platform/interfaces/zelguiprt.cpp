// Symbols to link against; see CMakeLists.txt.

#include <cstdlib>

#include "zelgui/zelgui.h"

namespace zelgui {

void uiSetLocalProperties(bool) { std::abort(); }
int uiSetPropertyString(int, int, const char*) { std::abort(); }
int uiSetPropertyInt(int, int, int) { std::abort(); }
int uiReadConfig(int) { std::abort(); }
std::string uiGetTerminalResourceDir(const std::string&) { std::abort(); }
int uiInvokeURLAsync(int, int, const UIProperties&, const std::string&, UICallback, void*) {
  std::abort();
}
int uiInvokeWait(int, UIProperties&, int) { std::abort(); }
int uiInvokeCancelAsync(int) { std::abort(); }
std::string uiScriptError() { std::abort(); }

}  // namespace zelgui
