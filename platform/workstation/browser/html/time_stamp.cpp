// The HTML engine's time stamps. They need nothing of the engine, so that what stands in for the
// terminal's platform has them from here too.

// What the interface header declares is what this library exports.
#pragma GCC visibility push(default)
#include "zelhtml/zelhtml.h"
#pragma GCC visibility pop

#include <ctime>

namespace {

constexpr long kNanosecondsPerSecond = 1'000'000'000;

}  // namespace

namespace zelhtml {

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
  // Since the start of the machine, which 32 bits hold for 68 years.
  return TimeStamp(static_cast<long>(now.tv_sec), now.tv_nsec);
}

long TimeStamp::seconds() const { return seconds_; }

long TimeStamp::nanoseconds() const { return nanoseconds_; }

TimeStamp TimeStamp::operator+(const TimeStamp& other) const {
  return TimeStamp(seconds_ + other.seconds_, nanoseconds_ + other.nanoseconds_);
}

}  // namespace zelhtml
