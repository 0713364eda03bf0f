#include "wz/terminal/key_reader.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <utility>

#include "wz/terminal/interrupt.h"

namespace wz {
namespace {

termios original;  // set before the handlers that read it are

// What follows may run in a signal handler.

bool isForeground() { return tcgetpgrp(STDIN_FILENO) == getpgrp(); }

void restoreTerminal() { tcsetattr(STDIN_FILENO, TCSANOW, &original); }

void takeSingleKeys() {
  termios single = original;
  single.c_lflag &= static_cast<tcflag_t>(~(ICANON | ECHO));
  single.c_cc[VMIN] = 1;
  single.c_cc[VTIME] = 0;
  tcsetattr(STDIN_FILENO, TCSANOW, &single);
}

// Ctrl-Z: the shell gets its terminal as it was, and `fg` finds the keys as they were.
void onSuspended(int number) {
  const int savedError = errno;
  restoreTerminal();
  struct sigaction usual {};
  struct sigaction ours {};
  usual.sa_handler = SIG_DFL;
  sigaction(number, &usual, &ours);
  sigset_t only;
  sigset_t before;
  sigemptyset(&only);
  sigaddset(&only, number);
  raise(number);
  pthread_sigmask(SIG_UNBLOCK, &only, &before);  // here it stops
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  sigaction(number, &ours, nullptr);
  if (isForeground()) takeSingleKeys();
  errno = savedError;
}

void watchSuspension(void (*handler)(int)) {
  struct sigaction action {};
  sigaction(SIGTSTP, nullptr, &action);
  if (action.sa_handler == SIG_IGN) return;
  action = {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigaction(SIGTSTP, &action, nullptr);
}

}  // namespace

KeyReader::~KeyReader() {
  if (!thread_.joinable()) return;
  const std::uint64_t one = 1;
  (void)!write(stop_, &one, sizeof one);
  thread_.join();
  close(stop_);
  watchSuspension(SIG_DFL);
  restoreTerminal();
  callWhenKilled(nullptr);
}

bool KeyReader::begin(std::function<void(char key)> onKey) {
  if (isatty(STDIN_FILENO) != 1 || !isForeground() || tcgetattr(STDIN_FILENO, &original) != 0) {
    return false;
  }
  callWhenKilled(restoreTerminal);
  watchSuspension(onSuspended);
  takeSingleKeys();
  onKey_ = std::move(onKey);
  stop_ = eventfd(0, EFD_CLOEXEC);
  thread_ = std::thread([this] { run(); });
  return true;
}

void KeyReader::run() {
  for (;;) {
    pollfd descriptors[] = {{STDIN_FILENO, POLLIN, 0}, {stop_, POLLIN, 0}};
    if (poll(descriptors, 2, -1) < 0) continue;
    if (descriptors[1].revents != 0) return;
    char key = 0;
    if (read(STDIN_FILENO, &key, 1) != 1) return;  // the terminal has gone
    onKey_(key);
  }
}

}  // namespace wz
