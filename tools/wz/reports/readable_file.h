/// Files that a command is given: that one cannot be read is said with its name and the reason.
#ifndef WZ_REPORTS_READABLE_FILE_H
#define WZ_REPORTS_READABLE_FILE_H

#include <string>

namespace wz {

/// Whether it is a regular file that may be read; false after a message.
[[nodiscard]] bool isReadableFile(const std::string& path);

/// A line about a file, of whatever kind, that could not be read whole into 16 MiB of memory.
[[nodiscard]] std::string unreadText(const std::string& path);

}  // namespace wz

#endif  // WZ_REPORTS_READABLE_FILE_H
