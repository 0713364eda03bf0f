/// The process between the host and the browser.
///
/// Its code runs in a fork of a program with threads, where only system calls are safe: nothing
/// here allocates, locks or touches anything but its plan.
#ifndef WORKSTATION_BROWSER_ENGINE_BROWSER_WATCHER_H
#define WORKSTATION_BROWSER_ENGINE_BROWSER_WATCHER_H

#include <cstddef>

namespace workstation {

struct PlanText {
  const char* data;
  std::size_t size;
};

/// All descriptors are 10 or above and close on exec; all pointers outlive the fork.
struct WatcherPlan {
  unsigned long namespaces;  ///< CLONE_NEW... flags; with any of them CLONE_NEWUSER is one.
  PlanText uidMap, gidMap;   ///< For the user namespace.
  int commandRead, eventWrite;
  int lifeRead;     ///< An octet in it, or its end, tells the watcher to end.
  int statusWrite;  ///< Takes one WatcherFailure; nothing when the browser's program runs.
  int null, errors;
  int host;  ///< pidfd of the host.
  const char* program;
  char* const* argv;
  char* const* envp;
};

enum class WatcherStep { kNone, kNamespaces, kFork, kExec };

struct WatcherFailure {
  WatcherStep step;
  int error;  ///< errno
};

/// Forks the watcher, which forks the browser. 0 with the watcher's pidfd in `watcher`, or an
/// errno. The watcher sends no signal when it ends, so the host's own waiting for children never
/// meets it.
int forkWatcher(const WatcherPlan& plan, int& watcher);

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_BROWSER_WATCHER_H
