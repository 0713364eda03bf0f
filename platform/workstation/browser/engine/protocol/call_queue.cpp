#include "workstation/browser/engine/protocol/call_queue.h"

#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <utility>

#include "workstation/browser/engine/process/quiet_thread.h"

namespace workstation {
namespace {

constexpr std::size_t kMostTasks = 200'000;
constexpr std::size_t kMostOctets = 64U << 20;

class ThreadQueue : public CallQueue {
 public:
  bool push(Task task, std::size_t size) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (finished_ || tasks_.size() >= kMostTasks || octets_ + size > kMostOctets) return false;
    octets_ += size;
    tasks_.push_back({std::move(task), size});
    wakeUp_.notify_one();
    return true;
  }

  void finish(Task last) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (finished_) return;
    finished_ = true;
    tasks_.push_back({std::move(last), 0});
    wakeUp_.notify_one();
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
    std::unique_lock<std::mutex> lock(mutex_);
    wakeUp_.wait(lock, [this] { return !tasks_.empty(); });
    const Entry entry = std::move(tasks_.front());
    tasks_.pop_front();
    const bool last = finished_ && tasks_.empty();
    lock.unlock();
    try {
      entry.task();
    } catch (const std::exception&) {
      // Out of memory: this call is lost, the invocation goes on.
    }
    lock.lock();
    octets_ -= entry.size;
    return !last;
  }

  std::mutex mutex_;
  std::condition_variable wakeUp_;
  std::deque<Entry> tasks_;
  std::size_t octets_ = 0;
  bool finished_ = false;
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
