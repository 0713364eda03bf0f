// Symbols to link against; see CMakeLists.txt.

#include <cstdlib>

#include "js/jsproc.h"

namespace js {

bool jsProcessorExt(void*, const std::string&, std::map<std::string, std::string>&) {
  std::abort();
}
void jsSetNotify(JSNotify, void*) { std::abort(); }
void jsSetNotifyAndWait(JSNotifyAndWait, void*) { std::abort(); }
void jsSetTrace(JSTrace, void*) { std::abort(); }
void jsSetLog(JSLog, void*) { std::abort(); }

}  // namespace js
