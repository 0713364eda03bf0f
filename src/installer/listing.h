// A directory as a whole, so that it can be changed while its entries are gone through.
#ifndef WZAPP_INSTALLER_LISTING_H
#define WZAPP_INSTALLER_LISTING_H

#include <string>
#include <string_view>
#include <vector>

#include "support/finding.h"

namespace wzapp {

struct ListedEntry {
  const char* directory;  // its path: that which was listed, not a copy
  std::string name;       // as the directory has it

  // The directory's path, "/" and the name.
  [[nodiscard]] std::string path() const;

  // The path of what lies in it under the name `below`.
  [[nodiscard]] std::string pathOf(std::string_view below) const;
};

// Replaces `entries` by those of the directory at `path` (without "/" at its end), in its own
// order, without "." and "..". `path` must stay as long as they are used. kNone, with no entries,
// when the directory is not there or may not be read. kUnknown, with none either, when it cannot be
// opened for another reason or not be read to its end, three times in a row; that is reported as an
// error of the run. Unlike those of Directory, the entries are not examined. The only exception is
// std::bad_alloc.
[[nodiscard]] Finding listDirectory(const char* path, std::vector<ListedEntry>& entries);

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_LISTING_H
