// Lets the creation of a thread fail. Needs pthread_attr_init, pthread_attr_setdetachstate and
// pthread_create in the program's WRAP list.
#ifndef WZAPP_TESTS_RUNTIME_STUBS_FAILING_THREADS_H
#define WZAPP_TESTS_RUNTIME_STUBS_FAILING_THREADS_H

namespace stubs {

enum class ThreadStep { kNone, kAttributes, kDetachedState, kCreation };

// From now on this step fails, for all threads of the process.
void failThreadStep(ThreadStep step);

// Attributes of threads that have been initialised and not yet destroyed.
int threadAttributesAlive();

}  // namespace stubs

#endif  // WZAPP_TESTS_RUNTIME_STUBS_FAILING_THREADS_H
