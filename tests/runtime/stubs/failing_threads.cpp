#include "tests/runtime/stubs/failing_threads.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<stubs::ThreadStep> failing{stubs::ThreadStep::kNone};
std::atomic<int> attributesAlive{0};

}  // namespace

namespace stubs {

void failThreadStep(ThreadStep step) { failing = step; }

int threadAttributesAlive() { return attributesAlive; }

}  // namespace stubs

extern "C" {

int __real_pthread_attr_init(pthread_attr_t* attributes);
int __real_pthread_attr_destroy(pthread_attr_t* attributes);
int __real_pthread_attr_setdetachstate(pthread_attr_t* attributes, int state);
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*entry)(void*), void* argument);

int __wrap_pthread_attr_init(pthread_attr_t* attributes) {
  if (failing == stubs::ThreadStep::kAttributes) return ENOMEM;
  ++attributesAlive;
  return __real_pthread_attr_init(attributes);
}

int __wrap_pthread_attr_destroy(pthread_attr_t* attributes) {
  --attributesAlive;
  return __real_pthread_attr_destroy(attributes);
}

int __wrap_pthread_attr_setdetachstate(pthread_attr_t* attributes, int state) {
  if (failing == stubs::ThreadStep::kDetachedState) return EINVAL;
  return __real_pthread_attr_setdetachstate(attributes, state);
}

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*entry)(void*), void* argument) {
  if (failing == stubs::ThreadStep::kCreation) return EAGAIN;
  return __real_pthread_create(thread, attributes, entry, argument);
}
}
