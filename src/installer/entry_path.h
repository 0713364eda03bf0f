// Where the entry of an archive goes.
#ifndef WZAPP_INSTALLER_ENTRY_PATH_H
#define WZAPP_INSTALLER_ENTRY_PATH_H

#include <string>
#include <string_view>

namespace wzapp {

// The name of an entry as a path that does not climb: "/" for every "\", and "_" for every
// component "..". A "/" at its beginning stays. The only exception is std::bad_alloc.
[[nodiscard]] std::string sanitizeEntryPath(std::string name);

// Whether `path`, seen as an absolute one, lies below the directory `root`, a normalised path. The
// root does not lie below itself. The only exception is std::bad_alloc.
[[nodiscard]] bool isBelow(const std::string& path, std::string_view root);

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_ENTRY_PATH_H
