#include "workstation/terminal/owner_check.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace workstation {

bool checkOwner(const std::string& folder, std::string& error) {
  struct stat status {};
  if (stat(folder.c_str(), &status) != 0) {
    error = "cannot look at " + folder + ": " + std::strerror(errno);
    return false;
  }
  if (status.st_uid == geteuid()) return true;
  error = folder + " belongs to user id " + std::to_string(status.st_uid) +
          ", and you are user id " + std::to_string(geteuid()) +
          "; use a terminal directory of your own, or change its owner with: chown -R " +
          std::to_string(geteuid()) + " " + folder;
  return false;
}

}  // namespace workstation
