#include "workstation/browser/engine/process/browser_watcher.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <linux/sched.h>
#include <poll.h>
#include <pthread.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

// The sanitizers' run-time libraries take locks that another thread may have held at the fork.
#define WATCHER_CODE __attribute__((no_sanitize("address", "thread", "undefined")))

namespace workstation {
namespace {

// Places of the browser's descriptors, which --remote-debugging-pipe fixes.
constexpr int kBrowserCommands = 3;
constexpr int kBrowserEvents = 4;

// Places of the watcher's descriptors.
constexpr int kLife = 3;
constexpr int kHost = 4;
constexpr int kBrowser = 5;

constexpr int kSignals = 64;

// The kernel's view of a signal's disposition.
struct KernelAction {
  void* handler;
  unsigned long flags;
  void* restorer;
  unsigned long mask;
};

WATCHER_CODE long rawFork(unsigned long flags, int* pidfd) {
#if defined(__s390__)
  return syscall(SYS_clone, 0L, flags, pidfd, 0L, 0L);
#else
  return syscall(SYS_clone, flags, 0L, pidfd, 0L, 0L);
#endif
}

WATCHER_CODE void setDisposition(int signal, void* handler) {
  KernelAction action = {handler, 0, nullptr, 0};
  syscall(SYS_rt_sigaction, signal, &action, nullptr, sizeof action.mask);
}

WATCHER_CODE void setSignalMask(unsigned long mask) {
  syscall(SYS_rt_sigprocmask, SIG_SETMASK, &mask, nullptr, sizeof mask);
}

[[noreturn]] WATCHER_CODE void leave(const WatcherPlan& plan, WatcherStep step) {
  const WatcherFailure failure = {step, errno};
  syscall(SYS_write, plan.statusWrite, &failure, sizeof failure);
  for (;;) syscall(SYS_exit_group, 1);
}

WATCHER_CODE bool writeFile(const char* path, const PlanText& text) {
  const long fd = syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CLOEXEC, 0);
  if (fd < 0) return false;
  const long written = syscall(SYS_write, fd, text.data, text.size);
  const int error = errno;
  syscall(SYS_close, fd);
  errno = error;
  return written == static_cast<long>(text.size);
}

WATCHER_CODE bool setUpNamespaces(const WatcherPlan& plan) {
  if (!writeFile("/proc/self/setgroups", {"deny", 4})) return false;
  if (!writeFile("/proc/self/uid_map", plan.uidMap)) return false;
  if (!writeFile("/proc/self/gid_map", plan.gidMap)) return false;
  // The browser should see its own processes and nobody else's. Containers with a masked /proc
  // refuse this one; the browser then runs with the old one.
  syscall(SYS_mount, "none", "/", nullptr, MS_REC | MS_SLAVE, nullptr);
  syscall(SYS_mount, "proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr);
  return true;
}

[[noreturn]] WATCHER_CODE void runBrowser(const WatcherPlan& plan) {
  // A group of its own, so that it can be killed as one where there is no PID namespace.
  syscall(SYS_setsid);
  setDisposition(SIGCHLD, nullptr);
  setSignalMask(0);
  syscall(SYS_dup3, plan.commandRead, kBrowserCommands, 0);
  syscall(SYS_dup3, plan.eventWrite, kBrowserEvents, 0);
  syscall(SYS_close_range, kBrowserEvents + 1, ~0U, 1U << 2 /* CLOSE_RANGE_CLOEXEC */);
  syscall(SYS_execve, plan.program, plan.argv, plan.envp);
  leave(plan, WatcherStep::kExec);
}

[[noreturn]] WATCHER_CODE void watch(const WatcherPlan& plan, long browser, int browserFd) {
  syscall(SYS_dup3, browserFd, kBrowser, 0);
  syscall(SYS_dup3, plan.lifeRead, kLife, 0);
  syscall(SYS_dup3, plan.host, kHost, 0);
  syscall(SYS_close_range, kBrowser + 1, ~0U, 0);
  pollfd fds[3] = {{kBrowser, POLLIN, 0}, {kLife, POLLIN, 0}, {kHost, POLLIN, 0}};
  while (syscall(SYS_ppoll, fds, 3, nullptr, nullptr, 0) <= 0) {
  }
  if (plan.namespaces == 0) {
    syscall(SYS_kill, -browser, SIGKILL);
    while (syscall(SYS_ppoll, fds, 1, nullptr, nullptr, 0) <= 0) {
    }
  }
  for (;;) syscall(SYS_exit_group, 0);
}

[[noreturn]] WATCHER_CODE void runWatcher(const WatcherPlan& plan) {
  for (int signal = 1; signal <= kSignals; ++signal) setDisposition(signal, nullptr);
  // Nobody waits for what the browser leaves behind, so the kernel clears it away.
  setDisposition(SIGCHLD, reinterpret_cast<void*>(SIG_IGN));
  if (plan.namespaces != 0 && !setUpNamespaces(plan)) leave(plan, WatcherStep::kNamespaces);
  syscall(SYS_dup3, plan.null, STDIN_FILENO, 0);
  syscall(SYS_dup3, plan.errors, STDOUT_FILENO, 0);
  syscall(SYS_dup3, plan.errors, STDERR_FILENO, 0);
  int browserFd = -1;
  const long browser = rawFork(CLONE_PIDFD | SIGCHLD, &browserFd);
  if (browser < 0) leave(plan, WatcherStep::kFork);
  if (browser == 0) runBrowser(plan);
  watch(plan, browser, browserFd);
}

}  // namespace

WATCHER_CODE int forkWatcher(const WatcherPlan& plan, int& watcher) {
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  // A handler of the host's must not run in the child.
  pthread_sigmask(SIG_SETMASK, &all, &before);
  const long pid = rawFork(plan.namespaces | CLONE_PIDFD, &watcher);
  if (pid == 0) runWatcher(plan);
  const int error = pid < 0 ? errno : 0;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return error;
}

}  // namespace workstation
