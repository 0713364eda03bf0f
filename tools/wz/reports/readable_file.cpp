#include "wz/reports/readable_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "wz/reports/output.h"

namespace wz {
namespace {

// Empty: nothing is in the way.
std::string whyUnreadable(const std::string& path, bool mustBeRegular) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::strerror(errno);
  if (S_ISDIR(status.st_mode)) return "it is a folder";
  if (mustBeRegular && !S_ISREG(status.st_mode)) return "it is no file";
  if (faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) != 0) return std::strerror(errno);
  return {};
}

}  // namespace

bool isReadableFile(const std::string& path) {
  const std::string why = whyUnreadable(path, true);
  if (!why.empty()) printMessage("cannot read " + path + ": " + why);
  return why.empty();
}

std::string unreadText(const std::string& path) {
  const std::string why = whyUnreadable(path, false);
  return "cannot read " + path + ": " +
         (why.empty() ? "it has more than 16 MiB, or cannot be read to its end" : why);
}

}  // namespace wz
