// Opens regular files, and nothing else.
#ifndef WZAPP_INSTALLER_REGULAR_FILE_H
#define WZAPP_INSTALLER_REGULAR_FILE_H

#include <string>

#include "installer/file_descriptor.h"

namespace wzapp {

// Opens the regular file at `path` for reading, or the one that a symbolic link there leads to; not
// open, with errno, for anything else (ENODEV), for what is missing and for more links behind one
// another than the system follows itself (ELOOP).
//
// Opening can be an act: a pipe waits for its other end, a tape is wound, a watchdog starts. A name
// is therefore only opened once it is known to be that of a regular file, and then so that no link
// which took its place meanwhile is followed and nothing is waited for; what has been opened is
// looked at again. The only exception is std::bad_alloc.
[[nodiscard]] FileDescriptor openRegularFile(const std::string& path);

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_REGULAR_FILE_H
