#include "runtime/log_entry.h"

#include <ctime>

namespace wzapp {

WZLogEntry::WZLogEntry(int entryLevel, int entryKind) : level(entryLevel), kind(entryKind) {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  time.seconds = static_cast<std::int32_t>(now.tv_sec);
  time.nanoseconds = static_cast<std::int32_t>(now.tv_nsec);
}

std::size_t WZLogEntry::estimatedSize() const {
  constexpr std::size_t kFlatSum = 202;
  return message.size() + errorCode.size() + errorName.size() + errorMessage.size() +
         errorData.size() + event.size() + detail.size() + kFlatSum;
}

}  // namespace wzapp
