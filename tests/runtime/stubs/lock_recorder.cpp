#include "tests/runtime/stubs/lock_recorder.h"

#include <pthread.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <sstream>

#include "runtime/app_log.h"
#include "tests/runtime/stubs/recording_platform.h"

namespace stubs {
namespace {

thread_local bool isRecording = false;
thread_local const void* lastLocked = nullptr;

std::mutex waitsMutex;
std::condition_variable waitsChanged;
int waits = 0;             // guarded by waitsMutex
int causelessWakeUps = 0;  // still to come; guarded by waitsMutex

// Whether the wait is to end at once.
bool countWait() {
  const std::lock_guard<std::mutex> lock(waitsMutex);
  ++waits;
  waitsChanged.notify_all();
  if (causelessWakeUps == 0) return false;
  --causelessWakeUps;
  return true;
}

std::string addressText(const void* address) {
  std::ostringstream text;
  text << address;
  return text.str();
}

void noteLock(const char* what, const void* mutex) {
  if (!isRecording || mutex == platform().ownMutex()) return;
  isRecording = false;
  lastLocked = mutex;
  platform().note(what + addressText(mutex));
  isRecording = true;
}

}  // namespace

void recordLocks(bool on) { isRecording = on; }

const void* logMutex() {
  recordLocks(true);
  wzapp::onScriptLog(nullptr, "nobody", js::JS_LOG_INFO, {"a line that is dropped"});
  recordLocks(false);
  return lastLocked;
}

std::vector<std::string> withMutexNames(const std::vector<std::string>& calls,
                                        const std::vector<NamedMutex>& names) {
  std::vector<std::string> result;
  for (const std::string& call : calls) {
    const std::size_t space = call.find(' ');
    const std::string verb = call.substr(0, space);
    if (verb != "lock" && verb != "unlock") {
      result.push_back(call);
      continue;
    }
    for (const NamedMutex& name : names) {
      if (call.substr(space + 1) == addressText(name.mutex)) {
        result.push_back(verb + " " + name.name);
      }
    }
  }
  return result;
}

int conditionWaits() {
  const std::lock_guard<std::mutex> lock(waitsMutex);
  return waits;
}

void awaitConditionWaits(int count) {
  std::unique_lock<std::mutex> lock(waitsMutex);
  while (waits < count) waitsChanged.wait(lock);
}

bool conditionWaitsReach(int count) {
  std::unique_lock<std::mutex> lock(waitsMutex);
  return waitsChanged.wait_for(lock, std::chrono::seconds(10), [=] { return waits >= count; });
}

void wakeWithoutCause(int count) {
  const std::lock_guard<std::mutex> lock(waitsMutex);
  causelessWakeUps = count;
}

}  // namespace stubs

extern "C" {

int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);
int __real_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex);
int __real_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  const timespec* deadline);

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
  const int result = __real_pthread_mutex_lock(mutex);
  stubs::noteLock("lock ", mutex);
  return result;
}

// Written down before it happens: who gets the mutex next finds the line.
int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) {
  stubs::noteLock("unlock ", mutex);
  return __real_pthread_mutex_unlock(mutex);
}

// Others may have the mutex in between, as in a wait.
static int wakeAtOnce(pthread_mutex_t* mutex) {
  __real_pthread_mutex_unlock(mutex);
  return __real_pthread_mutex_lock(mutex);
}

int __wrap_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
  if (stubs::countWait()) return wakeAtOnce(mutex);
  return __real_pthread_cond_wait(condition, mutex);
}

int __wrap_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  const timespec* deadline) {
  if (stubs::countWait()) return wakeAtOnce(mutex);
  return __real_pthread_cond_timedwait(condition, mutex, deadline);
}
}
