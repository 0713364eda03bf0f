#include "workstation/terminal/bus_daemon.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>

#include "workstation/terminal/owner_check.h"
#include "workstation/terminal/program_search.h"
#include "workstation/terminal/terminal_layout.h"
#include "workstation/zelipc/bus_config.h"

namespace workstation {
namespace {

constexpr char kProgram[] = "dbus-daemon";
constexpr int kReadyPipe = 3;  // in the watcher and the daemon

// Everything that the processes behind a fork need, made before it: between fork and exec nothing
// may be allocated, because another thread may have held the allocator's lock.
struct DaemonPlan {
  std::string program;
  std::string socket, users, config, log;
  std::string configOption, addressOption;
};

std::string runPath(const std::string& terminalDir, const char* name) {
  return terminalDir + "/" + kRunFolder + "/" + name;
}

bool fail(std::string& error, const std::string& what) {
  error = what + ": " + std::strerror(errno);
  return false;
}

bool lockFile(int file, int operation) {
  int result = 0;
  do result = flock(file, operation);
  while (result != 0 && errno == EINTR);
  return result == 0;
}

// A lock file is never removed: two programs would then lock two files of one name.
int openLockFile(const std::string& path) {
  return open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
}

bool accepts(const std::string& path) {
  const int client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (client < 0) return false;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof(address.sun_path) - 1);
  const bool connected =
      connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
  close(client);
  return connected;
}

// ---- Behind the fork ---------------------------------------------------------------------------

void forgetInheritedState() {
  for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGALRM, SIGTERM, SIGCHLD}) {
    std::signal(number, SIG_DFL);
  }
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  // Somebody may be waiting for the end of what the starting program writes.
  const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
  for (const int standard : {0, 1, 2}) dup2(nothing, standard);
  (void)!chdir("/");
}

// Leaves open the standard files and `keep`, which becomes descriptor kReadyPipe.
void closeOtherFiles(int keep) {
  if (keep != kReadyPipe) dup2(keep, kReadyPipe);
  fcntl(kReadyPipe, F_SETFD, FD_CLOEXEC);
  close_range(kReadyPipe + 1, ~0U, 0);
}

// Ends the calling process with its parent `parent`, whatever ends that.
void followParent(pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(1);
}

[[noreturn]] void runDaemon(const DaemonPlan& plan, pid_t watcher) {
  followParent(watcher);
  const int log = open(plan.log.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (log >= 0) dup2(log, 2);
  fcntl(kReadyPipe, F_SETFD, 0);
  const char* const arguments[] = {kProgram,
                                   "--nofork",
                                   "--nopidfile",
                                   "--nosyslog",
                                   plan.configOption.c_str(),
                                   plan.addressOption.c_str(),
                                   nullptr};
  execv(plan.program.c_str(), const_cast<char* const*>(arguments));
  _exit(127);
}

// Returns as soon as one of two children has ended.
void awaitOne(pid_t first, pid_t second) {
  pollfd ends[] = {{static_cast<int>(syscall(SYS_pidfd_open, first, 0)), POLLIN, 0},
                   {static_cast<int>(syscall(SYS_pidfd_open, second, 0)), POLLIN, 0}};
  while (poll(ends, 2, -1) < 0 && errno == EINTR) {
  }
}

bool isStillAt(int file, const std::string& path) {
  struct stat open {
  }, named{};
  return fstat(file, &open) == 0 && stat(path.c_str(), &named) == 0 &&
         open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

// The watcher. A child of its own waits for the exclusive lock on the users' file, because waiting
// for a lock and for the daemon cannot be done in one call; the lock belongs to the open file,
// which both share, so that the watcher holds it once that child has it.
[[noreturn]] void watch(const DaemonPlan& plan, int ready) {
  closeOtherFiles(ready);
  forgetInheritedState();
  const pid_t self = getpid();
  // Opened anew: the starting program's own open file carries its shared lock.
  const int users = open(plan.users.c_str(), O_RDWR | O_CLOEXEC);
  if (users < 0) _exit(1);
  const pid_t daemon = fork();
  if (daemon == 0) runDaemon(plan, self);
  close(kReadyPipe);
  const pid_t waiter = daemon < 0 ? -1 : fork();
  if (waiter == 0) {
    followParent(self);
    _exit(lockFile(users, LOCK_EX) ? 0 : 1);
  }
  if (waiter > 0) awaitOne(daemon, waiter);
  for (const pid_t child : {daemon, waiter}) {
    if (child > 0 && kill(child, SIGKILL) == 0) waitpid(child, nullptr, 0);
  }
  // Where somebody has replaced the run folder, what lies there now is not this daemon's.
  if (flock(users, LOCK_EX | LOCK_NB) == 0 && isStillAt(users, plan.users)) {
    for (const std::string* const file : {&plan.socket, &plan.config, &plan.log}) {
      unlink(file->c_str());
    }
  }
  _exit(0);
}

// ---- Starting ----------------------------------------------------------------------------------

bool makePlan(const std::string& terminalDir, DaemonPlan& plan, std::string& error) {
  plan.program = findProgram(kProgram);
  if (plan.program.empty()) {
    error = std::string("the message bus cannot be started: there is no ") + kProgram +
            " in PATH; install it (Debian: apt install dbus-daemon)";
    return false;
  }
  plan.socket = busPath(terminalDir);
  plan.users = runPath(terminalDir, "bus.users");
  plan.config = runPath(terminalDir, "bus.conf");
  plan.log = runPath(terminalDir, "bus.log");
  plan.configOption = "--config-file=" + plan.config;
  plan.addressOption = "--print-address=" + std::to_string(kReadyPipe);
  return true;
}

bool writeConfig(const DaemonPlan& plan, std::string& error) {
  std::ofstream file(plan.config, std::ios::binary | std::ios::trunc);
  file << busConfiguration(plan.socket);
  file.close();
  return file ? true : fail(error, "cannot write " + plan.config);
}

// The daemon writes its address, a line, when it accepts connections.
bool awaitReady(int pipe) {
  char octet = 0;
  ssize_t count = 0;
  do {
    count = read(pipe, &octet, 1);
  } while ((count < 0 && errno == EINTR) || (count == 1 && octet != '\n'));
  return count == 1;
}

std::string firstLine(const std::string& path) {
  std::string line;
  std::ifstream file(path);
  std::getline(file, line);
  return line.empty() ? "it ended at once" : line;
}

bool startDaemon(const std::string& terminalDir, std::string& error) {
  DaemonPlan plan;
  if (!makePlan(terminalDir, plan, error) || !writeConfig(plan, error)) return false;
  int ready[2];
  if (pipe2(ready, O_CLOEXEC) != 0) return fail(error, "cannot start the message bus");
  // Forked twice, so that the watcher is no child that this program would have to wait for.
  const pid_t child = fork();
  if (child == 0) {
    setsid();
    const pid_t watcher = fork();
    if (watcher == 0) watch(plan, ready[1]);
    _exit(watcher < 0 ? 1 : 0);
  }
  close(ready[1]);
  bool running = child > 0;
  if (running) {
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    running = awaitReady(ready[0]);
    if (!running) error = "the message bus did not start: " + firstLine(plan.log);
  } else {
    fail(error, "cannot start the message bus");
  }
  close(ready[0]);
  return running;
}

bool prepareRunFolder(const std::string& terminalDir, std::string& error) {
  const std::string folder = terminalDir + "/" + kRunFolder;
  if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) return fail(error, folder);
  if (!checkOwner(folder, error)) return false;
  // Whoever can reach the bus can play any program of the terminal.
  return chmod(folder.c_str(), 0700) == 0 ? true : fail(error, folder);
}

}  // namespace

std::string busPath(const std::string& terminalDir) {
  return terminalDir + std::string(kBusSocket);
}

bool checkBusPath(const std::string& terminalDir, std::string& error) {
  constexpr std::size_t kLongest = sizeof(sockaddr_un::sun_path) - 1;
  const std::string path = busPath(terminalDir);
  if (path.size() <= kLongest) return true;
  const std::size_t added = path.size() - terminalDir.size();
  error = "the path of the terminal directory " + terminalDir + " has " +
          std::to_string(terminalDir.size()) + " octets; its message bus allows at most " +
          std::to_string(kLongest - added) + "; use a folder with a shorter path";
  return false;
}

BusUse::~BusUse() { end(); }

bool BusUse::begin(const std::string& terminalDir, std::string& error) {
  end();
  if (!checkBusPath(terminalDir, error) || !prepareRunFolder(terminalDir, error)) return false;
  // Taken before the users' lock and never by the watcher, so that nobody waits in a circle.
  const int start = openLockFile(runPath(terminalDir, "bus.lock"));
  users_ = openLockFile(runPath(terminalDir, "bus.users"));
  bool running = start >= 0 && users_ >= 0 && lockFile(start, LOCK_EX) && lockFile(users_, LOCK_SH);
  if (!running) {
    fail(error, "cannot lock the message bus of " + terminalDir);
  } else if (!accepts(busPath(terminalDir))) {
    running = startDaemon(terminalDir, error);
  }
  if (start >= 0) close(start);
  if (!running) end();
  return running;
}

void BusUse::end() {
  if (users_ >= 0) close(users_);
  users_ = -1;
}

}  // namespace workstation
