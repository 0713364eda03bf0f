#include "workstation/browser/engine/process/chromium_process.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "workstation/browser/engine/process/browser_watcher.h"

namespace workstation {
namespace {

// Above the places that the watcher and the browser expect their descriptors in.
constexpr int kLowestFd = 10;

struct Pipe {
  UniqueFd read, write;
};

UniqueFd movedUp(int fd) {
  UniqueFd low(fd);
  return UniqueFd(::fcntl(low.get(), F_DUPFD_CLOEXEC, kLowestFd));
}

bool makePipe(Pipe& made) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return false;
  made.read = movedUp(ends[0]);
  made.write = movedUp(ends[1]);
  return made.read && made.write;
}

// A pipe that can be written to without a signal when nobody reads.
bool makeLifeLine(Pipe& made) {
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return false;
  made.read = movedUp(ends[0]);
  made.write = movedUp(ends[1]);
  return made.read && made.write;
}

// What the watcher needs, opened and laid out before the fork: between a fork and an exec in a
// program with threads nothing may be allocated.
struct Preparation {
  Pipe commands, events, life, status;
  UniqueFd null, errors, host;
  std::vector<char*> argv, envp;
  std::string uidMap, gidMap;

  bool prepare(const ChromiumCommand& command);
  WatcherPlan plan(unsigned long namespaces, const ChromiumCommand& command) const;
};

std::vector<char*> pointersTo(const std::string* first, const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  if (first != nullptr) pointers.push_back(const_cast<char*>(first->c_str()));
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

// Root becomes an ordinary user: as root the browser would refuse to start with its sandbox on.
std::string ownIdMap(unsigned id) {
  return std::to_string(id == 0 ? 1000 : id) + ' ' + std::to_string(id) + " 1\n";
}

bool Preparation::prepare(const ChromiumCommand& command) {
  if (!makePipe(commands) || !makePipe(events) || !makeLifeLine(life) || !makePipe(status))
    return false;
  null = movedUp(::open("/dev/null", O_RDWR | O_CLOEXEC));
  errors = movedUp(::open(command.errorFile.c_str(),
                          O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC | O_NOFOLLOW, 0600));
  host = movedUp(static_cast<int>(::syscall(SYS_pidfd_open, ::getpid(), 0)));
  argv = pointersTo(&command.program, command.arguments);
  envp = pointersTo(nullptr, command.environment);
  uidMap = ownIdMap(::geteuid());
  gidMap = ownIdMap(::getegid());
  return null && errors && host;
}

WatcherPlan Preparation::plan(unsigned long namespaces, const ChromiumCommand& command) const {
  WatcherPlan plan = {};
  plan.namespaces = namespaces;
  plan.uidMap = {uidMap.data(), uidMap.size()};
  plan.gidMap = {gidMap.data(), gidMap.size()};
  plan.commandRead = commands.read.get();
  plan.eventWrite = events.write.get();
  plan.lifeRead = life.read.get();
  plan.statusWrite = status.write.get();
  plan.null = null.get();
  plan.errors = errors.get();
  plan.host = host.get();
  plan.program = command.program.c_str();
  plan.argv = argv.data();
  plan.envp = envp.data();
  return plan;
}

void waitForEnd(int watcher) {
  siginfo_t info;
  while (::waitid(static_cast<idtype_t>(P_PIDFD), static_cast<id_t>(watcher), &info,
                  WEXITED | __WALL) != 0 &&
         errno == EINTR) {
  }
}

// Reads what the watcher had to say by the time the browser's program runs.
WatcherFailure readStatus(int fd) {
  WatcherFailure failure = {};
  ssize_t count = 0;
  do {
    count = ::read(fd, &failure, sizeof failure);
  } while (count < 0 && errno == EINTR);
  if (count != static_cast<ssize_t>(sizeof failure)) failure = {};
  return failure;
}

// Which namespaces to try, the best first.
std::vector<unsigned long> namespaceChoices(bool ownNetwork) {
  const unsigned long base = CLONE_NEWUSER | CLONE_NEWPID | CLONE_NEWNS;
  std::vector<unsigned long> choices;
  if (ownNetwork) choices.push_back(base | CLONE_NEWNET);
  choices.push_back(base);
  // Without a user namespace root would have to give up the sandbox.
  if (::geteuid() != 0) choices.push_back(0);
  return choices;
}

std::string describe(const WatcherFailure& failure, const ChromiumCommand& command) {
  const char* reason = std::strerror(failure.error);
  if (failure.step == WatcherStep::kExec)
    return "cannot run the browser " + command.program + ": " + reason;
  if (failure.step == WatcherStep::kFork)
    return std::string("cannot start a process for the browser: ") + reason;
  return std::string("cannot make the browser's namespaces: ") + reason +
         "; allow user namespaces (sysctl user.max_user_namespaces, "
         "kernel.unprivileged_userns_clone, "
         "the container's or AppArmor's profile) or start this program as an ordinary user";
}

}  // namespace

std::unique_ptr<ChromiumProcess> ChromiumProcess::start(const ChromiumCommand& command,
                                                        std::string& error) {
  WatcherFailure failure = {};
  for (const unsigned long namespaces : namespaceChoices(command.ownNetwork)) {
    Preparation prepared;
    if (!prepared.prepare(command)) {
      error = std::string("cannot prepare the browser's start: ") + std::strerror(errno);
      return nullptr;
    }
    int watcher = -1;
    const int forkError = forkWatcher(prepared.plan(namespaces, command), watcher);
    if (forkError != 0) {
      failure = {namespaces != 0 ? WatcherStep::kNamespaces : WatcherStep::kFork, forkError};
      continue;
    }
    std::unique_ptr<ChromiumProcess> process(new ChromiumProcess);
    process->watcher_ = UniqueFd(watcher);
    process->life_ = std::move(prepared.life.write);
    prepared.status.write.reset();
    failure = readStatus(prepared.status.read.get());
    if (failure.step == WatcherStep::kNone) {
      process->commands = std::move(prepared.commands.write);
      process->events = std::move(prepared.events.read);
      return process;
    }
    if (failure.step == WatcherStep::kExec) break;
  }
  error = describe(failure, command);
  return nullptr;
}

ChromiumProcess::~ChromiumProcess() {
  if (!watcher_) return;
  // A word and not just the pipe's end, which does not come while a child that the host has forked
  // holds it open.
  (void)::send(life_.get(), "", 1, MSG_NOSIGNAL);  // nobody hears it when the watcher has gone
  waitForEnd(watcher_.get());
}

}  // namespace workstation
