/// The script processor's thread of one invocation: runs tasks one after another, in their order.
#ifndef WORKSTATION_BROWSER_ENGINE_CALL_QUEUE_H
#define WORKSTATION_BROWSER_ENGINE_CALL_QUEUE_H

#include <cstddef>
#include <functional>
#include <memory>

namespace workstation {

/// May be used from any thread. The thread is started with the queue and ends, by itself, after the
/// last task that finish() has named; the queue's object need not live that long.
class CallQueue {
 public:
  using Task = std::function<void()>;

  /// Null when there can be no thread.
  static std::shared_ptr<CallQueue> start();

  /// Appends a task. `size` is the memory that it holds, in octets. False, and not run, when
  /// finish() has been called or when too much is waiting already: a page can call faster than
  /// anybody works.
  virtual bool push(Task task, std::size_t size) = 0;

  /// Appends the last task, whatever is waiting. Only the first call counts.
  virtual void finish(Task last) = 0;

  virtual ~CallQueue() = default;
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_CALL_QUEUE_H
