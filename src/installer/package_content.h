// What a verified package brings, and where it goes.
#ifndef WZAPP_INSTALLER_PACKAGE_CONTENT_H
#define WZAPP_INSTALLER_PACKAGE_CONTENT_H

#include <string>

#include "archive/unzip.h"

namespace wzapp {

struct ContentTarget {
  const char* root;  // below which everything goes
  bool isReplaced;   // the directories at the top of the archive are removed from the root first
};

// Extracts all entries but directories. One that cannot be extracted is reported as an error, and
// the next one follows. Nothing is written or removed outside of the root: names are sanitized, an
// entry whose destination does not lie below the root counts as one that cannot be extracted, and
// no symbolic link is followed. A regular file that is there already is written in place: its
// owner, its mode and its place in the listing stay, and what could be written stays when the rest
// cannot. Anything else, and a file that has another name elsewhere, is replaced by a new file.
//
// An application that is there already is only removed for a new version that has room
// (space_check.h): of another one no entry can be extracted.
//
// An entry whose extraction fails for a reason that passes (no descriptor, no memory, an input or
// output error) is extracted again at once, at most twice.
//
// Returns the application id of the last ".MFT" that was extracted, which may be empty; empty
// without one. The only exception is std::bad_alloc.
[[nodiscard]] std::string extractContent(UnZIP& archive, const ContentTarget& target);

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_PACKAGE_CONTENT_H
