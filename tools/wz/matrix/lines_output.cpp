#include "wz/matrix/lines_output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "support/file_system.h"
#include "wz/reports/lost_output.h"
#include "wz/reports/output.h"

namespace wz {

LinesOutput::~LinesOutput() {
  if (file_ >= 0) close(file_);
}

bool LinesOutput::open(const std::string& file, std::uint64_t kept, std::string& error) {
  name_ = file;
  file_ = ::open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | (kept == 0 ? O_TRUNC : 0), 0666);
  const auto size = static_cast<off_t>(kept);
  if (file_ >= 0 &&
      (kept == 0 || (ftruncate(file_, size) == 0 && lseek(file_, size, SEEK_SET) == size))) {
    return true;
  }
  error = "cannot write " + file + ": " + std::strerror(errno);
  return false;
}

bool LinesOutput::writeEarlier(const std::string& line) const {
  if (!toStandardOutput_) return true;
  printText(line + "\n");
  return !hasLostOutput();
}

bool LinesOutput::write(const std::string& line) {
  if (!writeEarlier(line)) return false;
  if (file_ < 0) return true;
  const std::string text = line + "\n";
  if (wzapp::writeWhole(file_, wzapp::viewOf(text))) return true;
  printMessage("cannot write " + name_ + ": " + std::strerror(errno));
  return false;
}

}  // namespace wz
