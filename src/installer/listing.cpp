#include "installer/listing.h"

#include <cerrno>
#include <string_view>
#include <utility>

#include "support/directory_stream.h"

namespace wzapp {

bool listDirectory(const std::string& path, std::vector<ListedEntry>& entries) {
  entries.clear();
  const DirectoryStream stream(opendir(path.c_str()));
  if (!stream) return false;
  std::vector<ListedEntry> found;
  while (const struct dirent* const entry = readEntry(stream.get())) {
    if (isDotEntry(*entry)) continue;
    found.push_back({std::string(path).append("/").append(entry->d_name), entry->d_name});
  }
  if (errno != 0) return false;
  entries = std::move(found);
  return true;
}

}  // namespace wzapp
