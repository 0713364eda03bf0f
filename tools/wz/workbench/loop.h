/// The thread on which everything of the workbench happens but HTTP: children and their output, the
/// bus, what pages ask for. Nothing on it may wait.
#ifndef WZ_WORKBENCH_LOOP_H
#define WZ_WORKBENCH_LOOP_H

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>

#include "support/mutex.h"

namespace wz {

class Loop {
 public:
  using Task = std::function<void()>;
  using Timer = std::uint64_t;  ///< 0 is none

  Loop();
  ~Loop();
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;

  /// Has `task` run on the loop's thread, after those that were posted before. Any thread; after
  /// the loop's end nothing runs any more.
  void post(Task task);

  // The rest is for the loop's thread.

  /// Calls `task` whenever one of `events` (poll(2)), an error or the end shows on `descriptor`.
  /// Replaces what was watched for there.
  void watch(int descriptor, short events, Task task);
  void forget(int descriptor);

  Timer after(std::chrono::milliseconds time, Task task);
  void cancel(Timer timer);

  /// Runs until stop().
  void run();
  void stop() { isOver_ = true; }

 private:
  using Clock = std::chrono::steady_clock;
  struct Watch {
    short events;
    Task task;
    std::uint64_t number;  // one that takes another's place on a descriptor is another
  };

  int timeout() const;
  void runPosted();
  void runDue();
  void waitAndServe();

  wzapp::Mutex mutex_;
  std::deque<Task> posted_ WZAPP_GUARDED_BY(mutex_);
  const int wake_;
  std::map<int, Watch> watches_;
  std::uint64_t watchCount_ = 0;
  std::map<std::pair<Clock::time_point, Timer>, Task> timers_;
  std::map<Timer, Clock::time_point> due_;
  Timer lastTimer_ = 0;
  bool isOver_ = false;
};

}  // namespace wz

#endif  // WZ_WORKBENCH_LOOP_H
