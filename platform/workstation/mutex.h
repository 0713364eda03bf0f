/// A mutex that clang can follow: with -Wthread-safety it is an error to touch what a mutex guards
/// without holding it. Other compilers see a plain mutex.
///
///   Mutex mutex_;
///   std::deque<Task> tasks_ WORKSTATION_GUARDED_BY(mutex_);
///   const MutexLock lock(mutex_);
///
/// What a lambda does is looked at without regard to where it is called: conditions are waited for
/// in loops. The platform has these marks of its own since it includes nothing of the library that
/// stands on it.
#ifndef WORKSTATION_MUTEX_H
#define WORKSTATION_MUTEX_H

#include <chrono>
#include <condition_variable>
#include <mutex>

#ifdef __clang__
#define WORKSTATION_THREAD_MARK(mark) __attribute__((mark))
#else
#define WORKSTATION_THREAD_MARK(mark)
#endif

/// Behind a variable: which mutex is held to read or write it.
#define WORKSTATION_GUARDED_BY(mutex) WORKSTATION_THREAD_MARK(guarded_by(mutex))
/// Behind a function's parameters: which mutexes its caller holds.
#define WORKSTATION_REQUIRES(...) WORKSTATION_THREAD_MARK(requires_capability(__VA_ARGS__))

namespace workstation {

/// Not recursive.
class WORKSTATION_THREAD_MARK(capability("mutex")) Mutex {
 public:
  Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void lock() WORKSTATION_THREAD_MARK(acquire_capability()) { mutex_.lock(); }
  void unlock() WORKSTATION_THREAD_MARK(release_capability()) { mutex_.unlock(); }

 private:
  friend class Condition;
  std::mutex mutex_;
};

/// Holds a mutex from construction to destruction.
class WORKSTATION_THREAD_MARK(scoped_lockable) MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) WORKSTATION_THREAD_MARK(acquire_capability(mutex))
      : mutex_(mutex) {
    mutex_.lock();
  }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;
  ~MutexLock() WORKSTATION_THREAD_MARK(release_capability()) { mutex_.unlock(); }

 private:
  Mutex& mutex_;
};

/// Something to wait for while a mutex is let go. A wait may end for no reason, so that its caller
/// looks again.
class Condition {
 public:
  using Clock = std::chrono::steady_clock;

  void wait(Mutex& mutex) WORKSTATION_REQUIRES(mutex) {
    std::unique_lock<std::mutex> lock(mutex.mutex_, std::adopt_lock);
    condition_.wait(lock);
    lock.release();
  }

  /// False once `deadline` has passed.
  bool waitUntil(Mutex& mutex, Clock::time_point deadline) WORKSTATION_REQUIRES(mutex) {
    std::unique_lock<std::mutex> lock(mutex.mutex_, std::adopt_lock);
    const bool isInTime = condition_.wait_until(lock, deadline) == std::cv_status::no_timeout;
    lock.release();
    return isInTime;
  }

  void notifyOne() { condition_.notify_one(); }
  void notifyAll() { condition_.notify_all(); }

 private:
  std::condition_variable condition_;
};

}  // namespace workstation

#endif  // WORKSTATION_MUTEX_H
