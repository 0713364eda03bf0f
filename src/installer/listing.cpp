#include "installer/listing.h"

#include <cerrno>
#include <utility>

#include "installer/messages.h"
#include "support/directory_stream.h"
#include "support/install_result.h"

namespace wzapp {

namespace {

std::string joined(std::string_view directory, std::string_view name) {
  std::string path;
  path.reserve(directory.size() + 1 + name.size());
  path.append(directory).append("/").append(name);
  return path;
}

Finding listOnce(const std::string& path, std::vector<ListedEntry>& entries) {
  const DirectoryStream stream(opendir(path.c_str()));
  if (!stream) return findingOf(errno);
  std::vector<ListedEntry> found;
  while (const struct dirent* const entry = readEntry(stream.get())) {
    if (isDotEntry(*entry)) continue;
    found.push_back({joined(path, entry->d_name), entry->d_name});
  }
  if (errno != 0) return Finding::kUnknown;
  entries = std::move(found);
  return Finding::kFound;
}

}  // namespace

std::string ListedEntry::pathOf(std::string_view below) const { return joined(path, below); }

Finding listDirectory(const std::string& path, std::vector<ListedEntry>& entries) {
  entries.clear();
  const Finding finding = findOut([&] { return listOnce(path, entries); });
  if (finding == Finding::kUnknown) {
    // The text is that of a warning; but here a run could not do what it is for.
    noteInstallError();
    report(kUnreadableDirectory, path.c_str());
  }
  return finding;
}

}  // namespace wzapp
