#include "wz/terminal/interrupt.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>

namespace wz {
namespace {

// All of this is read by a signal handler, so nothing here allocates or locks.
std::atomic<int> signalCount{0};
std::atomic<int> firstSignal{0};
std::atomic<bool> isAsked{false};
std::atomic<void (*)()> lastCall{nullptr};
int eventDescriptor = -1;

void onSignal(int number) {
  const int savedError = errno;
  if (signalCount.fetch_add(1) == 0) {
    firstSignal = number;
    const std::uint64_t one = 1;
    (void)!write(eventDescriptor, &one, sizeof(one));
    errno = savedError;
    return;
  }
  if (void (*const function)() = lastCall.load()) function();
  std::signal(number, SIG_DFL);
  raise(number);  // delivered when this handler returns
}

}  // namespace

void watchInterrupts() {
  eventDescriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action {};
    sigaction(number, nullptr, &action);
    if (action.sa_handler == SIG_IGN) continue;  // as nohup(1) wants it
    action = {};
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(number, &action, nullptr);
  }
}

// By a handler, which programs that it starts don't inherit, rather than by ignoring the signal.
void outliveReader() {
  std::signal(SIGPIPE, [](int) {});
}

void askToEnd() {
  isAsked = true;
  const std::uint64_t one = 1;
  (void)!write(eventDescriptor, &one, sizeof(one));
}

bool interrupted() { return signalCount.load() > 0 || isAsked.load(); }

int interruptDescriptor() { return eventDescriptor; }

void endByInterrupt() {
  const int number = firstSignal.load();
  std::signal(number, SIG_DFL);
  raise(number);
  _exit(128 + number);  // where the signal is blocked
}

void callWhenKilled(void (*function)()) { lastCall = function; }

}  // namespace wz
