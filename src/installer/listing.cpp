#include "installer/listing.h"

#include <cerrno>
#include <utility>

#include "installer/messages.h"
#include "support/directory_stream.h"
#include "support/install_result.h"

namespace wzapp {

namespace {

Finding listOnce(const char* path, std::vector<ListedEntry>& entries) {
  const DirectoryStream stream(opendir(path));
  if (!stream) return findingOf(errno);
  std::vector<ListedEntry> found;
  while (const struct dirent* const entry = readEntry(stream.get())) {
    if (isDotEntry(*entry)) continue;
    found.push_back({path, entry->d_name});
  }
  if (errno != 0) return Finding::kUnknown;
  entries = std::move(found);
  return Finding::kFound;
}

}  // namespace

std::string ListedEntry::path() const {
  const std::string_view above = directory;
  std::string path;
  path.reserve(above.size() + 1 + name.size());
  path.append(above).append("/").append(name);
  return path;
}

std::string ListedEntry::pathOf(std::string_view below) const {
  const std::string_view above = directory;
  std::string path;
  path.reserve(above.size() + 1 + name.size() + 1 + below.size());
  path.append(above).append("/").append(name).append("/").append(below);
  return path;
}

Finding listDirectory(const char* path, std::vector<ListedEntry>& entries) {
  entries.clear();
  const Finding finding = findOut([&] { return listOnce(path, entries); });
  if (finding == Finding::kUnknown) {
    // The text is that of a warning; but here a run could not do what it is for.
    noteInstallError();
    report(kUnreadableDirectory, path);
  }
  return finding;
}

}  // namespace wzapp
