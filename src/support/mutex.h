// A mutex that clang can follow: with -Wthread-safety it is an error to touch what a mutex guards
// without holding it. Other compilers see a plain mutex.
//
//   Mutex sinkMutex;
//   InstallSink currentSink WZAPP_GUARDED_BY(sinkMutex);
//   const MutexLock lock(sinkMutex);
//
// The standard library's own mutexes carry no such marks here. What a lambda does is looked at
// without regard to where it is called; hand it what it needs as a local.
#ifndef WZAPP_SUPPORT_MUTEX_H
#define WZAPP_SUPPORT_MUTEX_H

#include <pthread.h>

#ifdef __clang__
#define WZAPP_THREAD_MARK(mark) __attribute__((mark))
#else
#define WZAPP_THREAD_MARK(mark)
#endif

// Behind a variable: which mutex is held to read or write it.
#define WZAPP_GUARDED_BY(mutex) WZAPP_THREAD_MARK(guarded_by(mutex))
// Behind a function's parameters: which mutexes its caller holds.
#define WZAPP_REQUIRES(...) WZAPP_THREAD_MARK(requires_capability(__VA_ARGS__))

namespace wzapp {

// Not recursive. Needs no memory and cannot fail. Holds nothing that its end would have to let go,
// so that a static one serves the threads that outlive static objects.
class WZAPP_THREAD_MARK(capability("mutex")) Mutex {
 public:
  constexpr Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void lock() WZAPP_THREAD_MARK(acquire_capability()) { pthread_mutex_lock(&mutex_); }
  void unlock() WZAPP_THREAD_MARK(release_capability()) { pthread_mutex_unlock(&mutex_); }

  // For waiting on a condition, by who holds it.
  [[nodiscard]] pthread_mutex_t* native() { return &mutex_; }

 private:
  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

// Holds a mutex from construction to destruction.
class WZAPP_THREAD_MARK(scoped_lockable) MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) WZAPP_THREAD_MARK(acquire_capability(mutex)) : mutex_(mutex) {
    mutex_.lock();
  }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;
  ~MutexLock() WZAPP_THREAD_MARK(release_capability()) { mutex_.unlock(); }

 private:
  Mutex& mutex_;
};

}  // namespace wzapp

#endif  // WZAPP_SUPPORT_MUTEX_H
