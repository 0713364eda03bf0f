#include "workstation/browser/engine/protocol/call_queue.h"

#include <deque>
#include <exception>
#include <utility>

#include "workstation/browser/engine/process/quiet_thread.h"
#include "workstation/mutex.h"

namespace workstation {
namespace {

constexpr std::size_t kMostTasks = 200'000;
constexpr std::size_t kMostOctets = 64U << 20;

class ThreadQueue : public CallQueue {
 public:
  bool push(Task task, std::size_t size) override {
    const MutexLock lock(mutex_);
    if (finished_ || tasks_.size() >= kMostTasks || octets_ + size > kMostOctets) return false;
    octets_ += size;
    tasks_.push_back({std::move(task), size});
    wakeUp_.notifyOne();
    return true;
  }

  void finish(Task last) override {
    const MutexLock lock(mutex_);
    if (finished_) return;
    finished_ = true;
    tasks_.push_back({std::move(last), 0});
    wakeUp_.notifyOne();
  }

  void run() {
    while (runNext()) {
    }
  }

 private:
  struct Entry {
    Task task;
    std::size_t size;
  };

  bool runNext() {
    bool isLast = false;
    const Entry entry = take(isLast);
    try {
      entry.task();
    } catch (const std::exception&) {
      // Out of memory: this call is lost, the invocation goes on.
    }
    const MutexLock lock(mutex_);
    octets_ -= entry.size;
    return !isLast;
  }

  Entry take(bool& isLast) {
    const MutexLock lock(mutex_);
    while (tasks_.empty()) wakeUp_.wait(mutex_);
    Entry entry = std::move(tasks_.front());
    tasks_.pop_front();
    isLast = finished_ && tasks_.empty();
    return entry;
  }

  Mutex mutex_;
  Condition wakeUp_;
  std::deque<Entry> tasks_ WORKSTATION_GUARDED_BY(mutex_);
  std::size_t octets_ WORKSTATION_GUARDED_BY(mutex_) = 0;
  bool finished_ WORKSTATION_GUARDED_BY(mutex_) = false;
};

}  // namespace

std::shared_ptr<CallQueue> CallQueue::start() {
  auto queue = std::make_shared<ThreadQueue>();
  std::thread thread = startQuietThread([queue] { queue->run(); });
  if (!thread.joinable()) return nullptr;
  thread.detach();
  return queue;
}

}  // namespace workstation
