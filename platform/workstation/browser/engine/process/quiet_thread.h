/// Threads that a library starts inside somebody else's program: no signal of the host is delivered
/// to them, and writing into a closed pipe is an error there and not the host's end.
#ifndef WORKSTATION_BROWSER_ENGINE_QUIET_THREAD_H
#define WORKSTATION_BROWSER_ENGINE_QUIET_THREAD_H

#include <functional>
#include <thread>

namespace workstation {

/// Runs `body` on a new thread with every signal blocked. A thread that is not joinable: none could
/// be made.
[[nodiscard]] std::thread startQuietThread(std::function<void()> body);

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_QUIET_THREAD_H
