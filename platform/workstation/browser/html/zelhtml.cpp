// The HTML engine's part of the interface: script processors by type, and time stamps.

// What the interface header declares is what this library exports.
#pragma GCC visibility push(default)
#include "zelhtml/zelhtml.h"
#pragma GCC visibility pop

#include <ctime>
#include <mutex>
#include <new>
#include <utility>

#include "workstation/browser/html/script_runner.h"

namespace {

struct Processor {
  zelhtml::ScriptProcessor function = nullptr;
  void* user = nullptr;
};

struct Registry {
  std::mutex mutex;
  std::map<std::string, Processor> processors;
};

// Never destroyed: pages may still call while the process ends.
Registry& registry() {
  static Registry* const kRegistry = new Registry;
  return *kRegistry;
}

constexpr long kNanosecondsPerSecond = 1'000'000'000;

}  // namespace

namespace zelhtml {

void htmlSetScriptProcessor(const std::string& type, ScriptProcessor processor, void* user) {
  try {
    const std::lock_guard<std::mutex> lock(registry().mutex);
    registry().processors[type] = {processor, user};
  } catch (const std::bad_alloc&) {
    // Without memory there is no processor, which its pages are told.
  }
}

TimeStamp::TimeStamp() : TimeStamp(0, 0) {}

TimeStamp::TimeStamp(long seconds, long nanoseconds)
    : seconds_(seconds + nanoseconds / kNanosecondsPerSecond),
      nanoseconds_(nanoseconds % kNanosecondsPerSecond) {
  if (nanoseconds_ < 0) {
    nanoseconds_ += kNanosecondsPerSecond;
    --seconds_;
  }
}

TimeStamp TimeStamp::Monotonic() {
  timespec now = {};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return TimeStamp(now.tv_sec, now.tv_nsec);
}

long TimeStamp::seconds() const { return seconds_; }

long TimeStamp::nanoseconds() const { return nanoseconds_; }

TimeStamp TimeStamp::operator+(const TimeStamp& other) const {
  return TimeStamp(seconds_ + other.seconds_, nanoseconds_ + other.nanoseconds_);
}

}  // namespace zelhtml

namespace workstation {

bool runScript(const std::string& type, const std::string& source,
               std::map<std::string, std::string>& context) {
  Processor processor;
  {
    const std::lock_guard<std::mutex> lock(registry().mutex);
    const auto found = registry().processors.find(type);
    if (found != registry().processors.end()) processor = found->second;
  }
  return processor.function != nullptr && processor.function(processor.user, source, context);
}

}  // namespace workstation
