#include "installer/listing.h"

#include "installer/directory_stream.h"

namespace wzapp {

bool listDirectory(const std::string& path, std::vector<ListedEntry>& entries) {
  entries.clear();
  const DirectoryStream stream(opendir(path.c_str()));
  if (!stream) return false;
  while (const struct dirent* found = readdir(stream.get())) {
    const std::string name = found->d_name;
    if (name != "." && name != "..") entries.push_back({path + "/" + name, name});
  }
  return true;
}

}  // namespace wzapp
