#include "wz/terminal/data_folder.h"

#include <cstdlib>

namespace wz {
namespace {

// An absolute path in an environment variable; empty for anything else.
std::string folderIn(const char* variable) {
  const char* const value = std::getenv(variable);
  return value != nullptr && value[0] == '/' ? value : "";
}

}  // namespace

std::string dataFolder() {
  if (std::string data = folderIn("XDG_DATA_HOME"); !data.empty()) return data;
  const std::string home = folderIn("HOME");
  return home.empty() ? home : home + "/.local/share";
}

}  // namespace wz
