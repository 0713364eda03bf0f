#include "installer/listing.h"

#include <string_view>

#include "installer/directory_stream.h"

namespace wzapp {

bool listDirectory(const std::string& path, std::vector<ListedEntry>& entries) {
  entries.clear();
  const DirectoryStream stream(opendir(path.c_str()));
  if (!stream) return false;
  while (const struct dirent* found = readdir(stream.get())) {
    const std::string_view name = found->d_name;
    if (name == "." || name == "..") continue;
    entries.push_back({std::string(path).append("/").append(name), std::string(name)});
  }
  return true;
}

}  // namespace wzapp
