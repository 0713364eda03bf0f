#include "wz/workbench/loop.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace wz {

Loop::Loop() : wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

Loop::~Loop() { close(wake_); }

void Loop::post(Task task) {
  const wzapp::MutexLock lock(mutex_);
  posted_.push_back(std::move(task));
  const std::uint64_t one = 1;
  (void)!write(wake_, &one, sizeof one);
}

void Loop::watch(int descriptor, short events, Task task) {
  watches_[descriptor] = {events, std::move(task), ++watchCount_};
}

void Loop::forget(int descriptor) { watches_.erase(descriptor); }

Loop::Timer Loop::after(std::chrono::milliseconds time, Task task) {
  const Clock::time_point due = Clock::now() + time;
  timers_.emplace(std::make_pair(due, ++lastTimer_), std::move(task));
  due_.emplace(lastTimer_, due);
  return lastTimer_;
}

void Loop::cancel(Timer timer) {
  const auto found = due_.find(timer);
  if (found == due_.end()) return;
  timers_.erase({found->second, timer});
  due_.erase(found);
}

void Loop::run() {
  while (!isOver_) {
    waitAndServe();
    runPosted();
    runDue();
  }
}

// For poll(2), in milliseconds; -1: until something comes.
int Loop::timeout() const {
  if (timers_.empty()) return -1;
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(timers_.begin()->first.first - Clock::now());
  constexpr std::int64_t kLongest = 60'000;
  return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, kLongest));
}

void Loop::waitAndServe() {
  std::vector<pollfd> descriptors{{wake_, POLLIN, 0}};
  std::vector<std::uint64_t> numbers{0};
  for (const auto& [descriptor, watch] : watches_) {
    descriptors.push_back({descriptor, watch.events, 0});
    numbers.push_back(watch.number);
  }
  if (poll(descriptors.data(), descriptors.size(), timeout()) <= 0) return;
  for (std::size_t i = 1; i < descriptors.size(); ++i) {
    if (descriptors[i].revents == 0) continue;
    const auto found = watches_.find(descriptors[i].fd);
    // A task before this one may have ended this watch, or begun another on the same number.
    if (found == watches_.end() || found->second.number != numbers[i]) continue;
    const Task task = found->second.task;
    task();
  }
}

void Loop::runPosted() {
  std::deque<Task> tasks;
  {
    const wzapp::MutexLock lock(mutex_);
    std::uint64_t count = 0;
    (void)!read(wake_, &count, sizeof count);
    tasks.swap(posted_);
  }
  for (const Task& task : tasks) task();
}

void Loop::runDue() {
  while (!timers_.empty() && timers_.begin()->first.first <= Clock::now()) {
    const auto node = timers_.extract(timers_.begin());
    due_.erase(node.key().second);
    node.mapped()();
  }
}

}  // namespace wz
