/// Processes of this machine that a test looks for and watches.
#ifndef WZAPP_TESTS_END_TO_END_PROCESSES_H
#define WZAPP_TESTS_END_TO_END_PROCESSES_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace wzapp_test {

/// All descendants of a process, parents before children. Zombies are left out.
std::vector<pid_t> descendantsOf(pid_t ancestor);

/// All processes that this one sees, but for zombies.
std::vector<pid_t> allProcesses();

/// The arguments of a process, each followed by a space; empty when it has gone.
std::string commandLineOf(pid_t process);

/// Those whose command line contains `part`.
std::vector<pid_t> withArgument(const std::vector<pid_t>& processes, const std::string& part);

/// The browser that the process `host` has started, without the processes of its own; -1: none.
pid_t browserOf(pid_t host);

/// The processes in which the pages of that browser run.
std::vector<pid_t> renderersOf(pid_t host);

/// Processes told apart from later ones with the same number (pidfd_open(2)).
class WatchedProcesses {
 public:
  explicit WatchedProcesses(const std::vector<pid_t>& processes);
  WatchedProcesses(const WatchedProcesses&) = delete;
  WatchedProcesses& operator=(const WatchedProcesses&) = delete;
  ~WatchedProcesses();

  /// Waits until all have ended. A process that nobody has reaped yet has ended.
  [[nodiscard]] bool awaitEnd();

 private:
  std::vector<int> files_;
};

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_END_TO_END_PROCESSES_H
