#include "workstation/terminal/program_search.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <sstream>

namespace workstation {

std::string findProgram(const std::string& name) {
  const char* const set = std::getenv("PATH");
  std::istringstream folders(set == nullptr ? "/usr/bin:/bin" : set);
  for (std::string folder; std::getline(folders, folder, ':');) {
    std::string path = (folder.empty() ? "." : folder) + "/" + name;
    struct stat status {};
    if (stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
        access(path.c_str(), X_OK) == 0) {
      return path;
    }
  }
  return {};
}

}  // namespace workstation
