#include "installer/listing.h"

namespace wzapp {

bool listDirectory(const std::string& path, std::vector<DirEntry>& entries) {
  entries.clear();
  Directory directory;
  if (!directory.open(path)) return false;
  DirEntry entry;
  while (directory.read(entry)) {
    if (entry.name != "." && entry.name != "..") entries.push_back(entry);
  }
  return true;
}

}  // namespace wzapp
