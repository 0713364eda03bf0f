#include "wz/reports/output_file.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "support/file_system.h"
#include "wz/reports/output.h"

namespace wz {
namespace {

// False with errno.
bool writeText(int file, std::string_view content) {
  return wzapp::writeWhole(file, wzapp::viewOf(content));
}

// Closes the file; false with errno when that fails, or when its content had failed already.
bool finish(int file, bool written) {
  const int reason = errno;
  const bool closed = close(file) == 0;
  if (!written) errno = reason;
  return written && closed;
}

}  // namespace

bool isOtherFile(const std::string& read, const std::string& written) {
  std::error_code failure;
  if (written.empty() || !std::filesystem::equivalent(read, written, failure)) return true;
  printMessage(read + " cannot be read and written at once");
  return false;
}

OutputFile::~OutputFile() {
  if (folder_ >= 0) close(folder_);
}

bool OutputFile::choose(const std::string& path, std::string& error) {
  path_ = path;
  isStandardOutput_ = path == "-";
  if (isStandardOutput_) return true;
  const std::filesystem::path whole(path);
  name_ = whole.filename().string();
  if (name_.empty() || name_ == "." || name_ == "..") {
    error = "cannot write " + path + ": no name for a file";
    return false;
  }
  const std::string folder = whole.has_parent_path() ? whole.parent_path().string() : ".";
  folder_ = open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  if (folder_ >= 0) return true;
  error = "cannot write " + path + ": " + std::strerror(errno);
  return false;
}

bool OutputFile::write(std::string_view content, std::string& error) {
  const bool written = isStandardOutput_ ? writeText(STDOUT_FILENO, content) : replace(content);
  if (!written) {
    error = "cannot write " + (isStandardOutput_ ? std::string("to standard output") : path_) +
            ": " + std::strerror(errno);
  }
  return written;
}

// A device or a pipe is written to, since nothing may take its place; of a link, what it leads to
// is not known to be in the same folder, so that the link itself is replaced.
bool OutputFile::replace(std::string_view content) const {
  struct stat status {};
  if (fstatat(folder_, name_.c_str(), &status, 0) == 0 && !S_ISREG(status.st_mode)) {
    const int file = openat(folder_, name_.c_str(), O_WRONLY | O_CLOEXEC);
    return file >= 0 && finish(file, writeText(file, content));
  }
  const std::string temporary = "." + name_ + "." + std::to_string(getpid());
  const int file =
      openat(folder_, temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (file < 0) return false;
  if (finish(file, writeText(file, content)) &&
      renameat(folder_, temporary.c_str(), folder_, name_.c_str()) == 0) {
    return true;
  }
  const int reason = errno;
  unlinkat(folder_, temporary.c_str(), 0);
  errno = reason;
  return false;
}

}  // namespace wz
