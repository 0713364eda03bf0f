// A directory as a whole, so that it can be changed while its entries are gone through.
#ifndef WZAPP_INSTALLER_LISTING_H
#define WZAPP_INSTALLER_LISTING_H

#include <string>
#include <vector>

#include "support/directory.h"

namespace wzapp {

// Replaces `entries` by those of the directory, in its own order, without "." and "..". False, with
// no entries, when it cannot be opened. The only exception is std::bad_alloc.
[[nodiscard]] bool listDirectory(const std::string& path, std::vector<DirEntry>& entries);

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_LISTING_H
