// Sees the locking of mutexes and the waiting on conditions. Needs pthread_mutex_lock,
// pthread_mutex_unlock, pthread_cond_wait and pthread_cond_timedwait in the program's WRAP list.
#ifndef WZAPP_TESTS_RUNTIME_STUBS_LOCK_RECORDER_H
#define WZAPP_TESTS_RUNTIME_STUBS_LOCK_RECORDER_H

#include <string>
#include <vector>

namespace stubs {

// From now on, or no longer, the calling thread's locking is written into the recording platform's
// record, as "lock <address>" and "unlock <address>".
void recordLocks(bool on);

// The mutex that guards the application logs.
const void* logMutex();

struct NamedMutex {
  const void* mutex;
  std::string name;
};

// `calls` with the names of the mutexes instead of their addresses, and without other mutexes.
std::vector<std::string> withMutexNames(const std::vector<std::string>& calls,
                                        const std::vector<NamedMutex>& names);

// How many waits on conditions have begun in this process. Each is counted with its mutex held: who
// gets the mutex after that finds the thread waiting.
int conditionWaits();

// Blocks until there have been so many.
void awaitConditionWaits(int count);

// The same, but for ten seconds at most; whether there have been so many.
[[nodiscard]] bool conditionWaitsReach(int count);

// Lets the next `count` waits end at once, as a system may let any wait end without a cause.
void wakeWithoutCause(int count);

}  // namespace stubs

#endif  // WZAPP_TESTS_RUNTIME_STUBS_LOCK_RECORDER_H
