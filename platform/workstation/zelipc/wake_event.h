// What ends a poll(2) from another thread.
#ifndef WORKSTATION_ZELIPC_WAKE_EVENT_H
#define WORKSTATION_ZELIPC_WAKE_EVENT_H

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>

namespace workstation {

/// An event descriptor; becomes readable with notify(), which any thread may call.
class WakeEvent {
 public:
  WakeEvent() = default;
  WakeEvent(const WakeEvent&) = delete;
  WakeEvent& operator=(const WakeEvent&) = delete;
  ~WakeEvent() {
    if (descriptor_ >= 0) close(descriptor_);
  }

  /// Makes the descriptor unless it is there; false when there is none to be had.
  bool open() {
    if (descriptor_ < 0) descriptor_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    return descriptor_ >= 0;
  }

  int descriptor() const { return descriptor_; }

  // Both fail only when the event is already set, or was not.
  void notify() {
    const std::uint64_t one = 1;
    (void)!write(descriptor_, &one, sizeof one);
  }
  void clear() {
    std::uint64_t count = 0;
    (void)!read(descriptor_, &count, sizeof count);
  }

 private:
  int descriptor_ = -1;
};

}  // namespace workstation

#endif  // WORKSTATION_ZELIPC_WAKE_EVENT_H
