#include "workstation/browser/gui/ui_properties.h"

#include <map>
#include <optional>
#include <utility>

#include "workstation/mutex.h"

namespace workstation {
namespace {

using Properties = std::map<std::pair<int, int>, std::string>;

struct Shared {
  Mutex mutex;
  Properties properties WORKSTATION_GUARDED_BY(mutex);
};

// Never destroyed: threads of the host may still call while the process ends.
Shared& shared() {
  static Shared* const kShared = new Shared;
  return *kShared;
}

thread_local std::optional<Properties> ownProperties;

const std::string* find(const Properties& properties, int display, int property) {
  const auto found = properties.find({display, property});
  return found == properties.end() ? nullptr : &found->second;
}

}  // namespace

void useLocalProperties(bool local) {
  if (!local) {
    ownProperties.reset();
  } else if (!ownProperties) {
    ownProperties.emplace();
  }
}

void setProperty(int display, int property, const std::string& value) {
  if (ownProperties) {
    (*ownProperties)[{display, property}] = value;
    return;
  }
  const MutexLock lock(shared().mutex);
  shared().properties[{display, property}] = value;
}

std::string propertyValue(int display, int property) {
  if (ownProperties) {
    if (const std::string* own = find(*ownProperties, display, property)) return *own;
  }
  const MutexLock lock(shared().mutex);
  const std::string* value = find(shared().properties, display, property);
  return value != nullptr ? *value : std::string();
}

}  // namespace workstation
