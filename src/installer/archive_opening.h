// Opens archives in spite of failures that pass.
#ifndef WZAPP_INSTALLER_ARCHIVE_OPENING_H
#define WZAPP_INSTALLER_ARCHIVE_OPENING_H

#include <cerrno>
#include <optional>

#include "archive/unzip.h"
#include "support/finding.h"

namespace wzapp {

// Calls `open`, which makes `archive` anew, until there is something to read or the reason why not
// is none that passes. What cannot be opened has an empty index, as one without entries. The only
// exceptions are those of `open`.
template <class Open>
void openPatiently(std::optional<UnZIP>& archive, const Open& open) {
  static_cast<void>(findOut([&] {
    errno = 0;  // what fails without a call of the system that fails is the archive's fault
    open();
    return findingOfAttempt(!archive->index().empty());
  }));
}

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_ARCHIVE_OPENING_H
