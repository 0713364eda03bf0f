#include "wz/terminal/log_copy.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "support/file_system.h"
#include "wz/reports/output.h"

namespace wz {

LogCopy::~LogCopy() {
  if (file_ >= 0) close(file_);
}

bool LogCopy::open(const std::string& path) {
  if (path.empty()) return true;
  path_ = path;
  file_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (file_ < 0) failure_ = errno;
  return isWhole();
}

void LogCopy::follow(const std::vector<std::string>& lines) {
  for (; file_ >= 0 && failure_ == 0 && count_ < lines.size(); ++count_) {
    const std::string line = escaped(lines[count_]) + "\n";
    if (!wzapp::writeWhole(file_, wzapp::viewOf(line))) failure_ = errno;
  }
}

bool LogCopy::isWhole() const {
  if (failure_ == 0) return true;
  printMessage("cannot write " + path_ + ": " + std::strerror(failure_));
  return false;
}

}  // namespace wz
