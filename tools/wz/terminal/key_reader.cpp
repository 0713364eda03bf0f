#include "wz/terminal/key_reader.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <termios.h>
#include <unistd.h>

#include <cstdint>
#include <utility>

#include "wz/terminal/interrupt.h"

namespace wz {
namespace {

termios original;  // set before the handler that reads it is

void restoreTerminal() { tcsetattr(STDIN_FILENO, TCSANOW, &original); }

}  // namespace

KeyReader::~KeyReader() {
  if (!thread_.joinable()) return;
  const std::uint64_t one = 1;
  (void)!write(stop_, &one, sizeof one);
  thread_.join();
  close(stop_);
  restoreTerminal();
  callWhenKilled(nullptr);
}

bool KeyReader::begin(std::function<void(char key)> onKey) {
  const bool isForeground = isatty(STDIN_FILENO) == 1 && tcgetpgrp(STDIN_FILENO) == getpgrp();
  if (!isForeground || tcgetattr(STDIN_FILENO, &original) != 0) return false;
  callWhenKilled(restoreTerminal);
  termios single = original;
  single.c_lflag &= static_cast<tcflag_t>(~(ICANON | ECHO));
  single.c_cc[VMIN] = 1;
  single.c_cc[VTIME] = 0;
  tcsetattr(STDIN_FILENO, TCSANOW, &single);
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
