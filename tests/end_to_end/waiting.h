/// How the end-to-end tests wait: always for something, never for longer than kPatience.
#ifndef WZAPP_TESTS_END_TO_END_WAITING_H
#define WZAPP_TESTS_END_TO_END_WAITING_H

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace wzapp_test {

/// Longer than anything here takes on a busy machine: when it is over, something hangs.
inline constexpr std::chrono::seconds kPatience{20};

/// Waits until `condition()` holds, for what nobody tells of (files and processes of others), and
/// looks every few milliseconds. False when it does not come about.
template <class Condition>
[[nodiscard]] bool eventually(const Condition& condition) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

/// What callbacks on other threads have brought, in the order of its coming.
template <class T>
class Collected {
 public:
  void add(T thing) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      things_.push_back(std::move(thing));
    }
    changed_.notify_all();
  }

  void clear() {
    const std::lock_guard<std::mutex> lock(mutex_);
    things_.clear();
  }

  [[nodiscard]] std::vector<T> all() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return things_;
  }

  /// Waits until `enough(things)` holds. False when it does not come about.
  template <class Enough>
  [[nodiscard]] bool await(const Enough& enough) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, kPatience, [&] { return enough(std::as_const(things_)); });
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<T> things_;
};

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_END_TO_END_WAITING_H
