#include "installer/listing.h"

#include <dirent.h>

#include <memory>

namespace wzapp {
namespace {

struct StreamCloser {
  void operator()(DIR* stream) const { closedir(stream); }
};

}  // namespace

bool listDirectory(const std::string& path, std::vector<ListedEntry>& entries) {
  entries.clear();
  const std::unique_ptr<DIR, StreamCloser> stream(opendir(path.c_str()));
  if (!stream) return false;
  while (const struct dirent* found = readdir(stream.get())) {
    const std::string name = found->d_name;
    if (name != "." && name != "..") entries.push_back({path + "/" + name, name});
  }
  return true;
}

}  // namespace wzapp
