#include "support/directory_stream.h"

#include <cerrno>
#include <string_view>

namespace wzapp {

const struct dirent* readEntry(DIR* stream) {
  errno = 0;  // readdir() leaves it alone at the end
  return readdir(stream);
}

bool isDotEntry(const struct dirent& entry) {
  const std::string_view name = entry.d_name;
  return name == "." || name == "..";
}

}  // namespace wzapp
