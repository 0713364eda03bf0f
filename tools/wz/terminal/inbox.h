/// Where callbacks on other threads leave what the main thread is to act on.
#ifndef WZ_TERMINAL_INBOX_H
#define WZ_TERMINAL_INBOX_H

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <utility>

#include "support/mutex.h"
#include "wz/terminal/interrupt.h"

namespace wz {

using Deadline = std::chrono::steady_clock::time_point;

inline constexpr Deadline kNoDeadline = Deadline::max();

/// The point in time `seconds` from now; none for 0.
inline Deadline deadlineIn(double seconds) {
  if (seconds <= 0) return kNoDeadline;
  return std::chrono::steady_clock::now() +
         std::chrono::duration_cast<std::chrono::steady_clock::duration>(
             std::chrono::duration<double>(seconds));
}

/// A queue that any thread may put into and one thread takes from.
template <typename Item>
class Inbox {
 public:
  Inbox() : event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
  ~Inbox() { close(event_); }
  Inbox(const Inbox&) = delete;
  Inbox& operator=(const Inbox&) = delete;

  void put(Item item) {
    const wzapp::MutexLock lock(mutex_);
    items_.push_back(std::move(item));
    const std::uint64_t one = 1;
    (void)!write(event_, &one, sizeof(one));
  }

  /// The oldest item. Nothing when none has come by `deadline`, or, with `untilInterrupt`, when the
  /// user wants the program to end; what has come before is taken first.
  std::optional<Item> take(Deadline deadline, bool untilInterrupt = true) {
    for (;;) {
      if (std::optional<Item> item = takeNow()) return item;
      if (untilInterrupt && interrupted()) return std::nullopt;
      if (!sleepUntil(deadline, untilInterrupt)) return takeNow();
    }
  }

 private:
  std::optional<Item> takeNow() {
    const wzapp::MutexLock lock(mutex_);
    std::uint64_t count = 0;
    (void)!read(event_, &count, sizeof(count));
    if (items_.empty()) return std::nullopt;
    Item item = std::move(items_.front());
    items_.pop_front();
    return item;
  }

  // Sleeps until something may have come; false at the deadline.
  bool sleepUntil(Deadline deadline, bool untilInterrupt) {
    int timeoutMs = -1;
    if (deadline != kNoDeadline) {
      const auto left =
          std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
      if (left.count() <= 0) return false;
      constexpr std::int64_t kLongestMs = 86'400'000;  // a day
      timeoutMs = static_cast<int>(std::min<std::int64_t>(left.count(), kLongestMs));
    }
    pollfd events[] = {{event_, POLLIN, 0},
                       {untilInterrupt ? interruptDescriptor() : -1, POLLIN, 0}};
    poll(events, 2, timeoutMs);
    return true;
  }

  wzapp::Mutex mutex_;
  std::deque<Item> items_ WZAPP_GUARDED_BY(mutex_);
  int event_;  // readable while something may be in the queue
};

}  // namespace wz

#endif  // WZ_TERMINAL_INBOX_H
