// The HTML engine's part of the interface: script processors by type.

// What the interface header declares is what this library exports.
#pragma GCC visibility push(default)
#include "zelhtml/zelhtml.h"
#pragma GCC visibility pop

#include <new>
#include <utility>

#include "workstation/browser/html/script_runner.h"
#include "workstation/mutex.h"

namespace {

struct Processor {
  zelhtml::ScriptProcessor function = nullptr;
  void* user = nullptr;
};

struct Registry {
  workstation::Mutex mutex;
  std::map<std::string, Processor> processors WORKSTATION_GUARDED_BY(mutex);
};

// Never destroyed: pages may still call while the process ends.
Registry& registry() {
  static Registry* const kRegistry = new Registry;
  return *kRegistry;
}

}  // namespace

namespace zelhtml {

void htmlSetScriptProcessor(const std::string& type, ScriptProcessor processor, void* user) {
  try {
    const workstation::MutexLock lock(registry().mutex);
    registry().processors[type] = {processor, user};
  } catch (const std::bad_alloc&) {
    // Without memory there is no processor, which its pages are told.
  }
}

}  // namespace zelhtml

namespace workstation {

bool runScript(const std::string& type, const std::string& source,
               std::map<std::string, std::string>& context) {
  Processor processor;
  {
    const MutexLock lock(registry().mutex);
    const auto found = registry().processors.find(type);
    if (found != registry().processors.end()) processor = found->second;
  }
  return processor.function != nullptr && processor.function(processor.user, source, context);
}

}  // namespace workstation
