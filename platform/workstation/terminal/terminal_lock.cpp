#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "workstation/terminal/owner_check.h"
#include "workstation/terminal/terminal_directory.h"

namespace workstation {

TerminalLock::~TerminalLock() { release(); }

bool TerminalLock::acquire(const std::string& terminalDir, std::string& error) {
  return take(terminalDir, LOCK_EX | LOCK_NB, error);
}

bool TerminalLock::wait(const std::string& terminalDir, std::string& error) {
  return take(terminalDir, LOCK_EX, error);
}

void TerminalLock::release() {
  if (folder_ >= 0) close(folder_);
  folder_ = -1;
}

bool TerminalLock::take(const std::string& terminalDir, int operation, std::string& error) {
  release();
  if (!checkOwner(terminalDir, error)) return false;
  folder_ = open(terminalDir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  int result = folder_ < 0 ? -1 : 0;
  if (result == 0) {
    do result = flock(folder_, operation);
    while (result != 0 && errno == EINTR);
  }
  if (result == 0) return true;
  error = errno == EWOULDBLOCK
              ? "another program is changing the terminal " + terminalDir +
                    "; try again when it has finished"
              : "cannot lock the terminal " + terminalDir + ": " + std::strerror(errno);
  release();
  return false;
}

}  // namespace workstation
