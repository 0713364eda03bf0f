/// Why a terminal cannot read an archive: it only says that it cannot.
#ifndef WZ_REPORTS_ARCHIVE_CAUSE_H
#define WZ_REPORTS_ARCHIVE_CAUSE_H

#include <string>

namespace wz {

struct ArchiveCause {
  std::string code;      ///< WZ-0110 to WZ-0115
  std::string evidence;  ///< what was found, part of a sentence
};

/// Looks for the cause in the file at `path`, which was found unreadable. It reads the end of the
/// file and the directory in it, a record at a time.
[[nodiscard]] ArchiveCause whyNoArchive(const std::string& path);

/// Whether the directory of a file that could be read is that of an archive inside it: of what is
/// cut off behind a whole inner archive, readers take that one for the file.
[[nodiscard]] bool isCutOffBehindAnArchive(const std::string& path);

}  // namespace wz

#endif  // WZ_REPORTS_ARCHIVE_CAUSE_H
