// The terminal's platform libraries for measurements: they answer at once and keep nothing, so that
// what is measured is the library.
#ifndef WZAPP_BENCH_SILENT_PLATFORM_H
#define WZAPP_BENCH_SILENT_PLATFORM_H

#include <chrono>

#include "zelipc/zelipc.h"

namespace bench {

using Clock = std::chrono::steady_clock;

// When the GUI service was last asked to open a page. To be read after awaitInvocation().
Clock::time_point lastInvocation();

// Blocks until `count` pages have been asked for in all.
void awaitInvocation(int count);
int invocations();

// Ends all pages that are open, and lets those that are opened from now on end at once, or no
// longer.
void endPages(bool end);

// How many notifications have been sent.
long sentNotifications();

// From now on every notification that is sent is answered on the messaging library's thread.
// Call once.
void answerNotifications();

// When the last answer was handed to its receiver.
Clock::time_point lastAnswer();

}  // namespace bench

#endif  // WZAPP_BENCH_SILENT_PLATFORM_H
