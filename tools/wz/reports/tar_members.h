/// The members of a tar archive (POSIX ustar) in memory, such as that of a terminal's certificates.
#ifndef WZ_REPORTS_TAR_MEMBERS_H
#define WZ_REPORTS_TAR_MEMBERS_H

#include <string_view>
#include <vector>

namespace wz {

struct TarMember {
  std::string_view name, content;  ///< of the archive
};

[[nodiscard]] bool isTarArchive(std::string_view octets);

/// Up to the end of the archive, or the first member that does not lie in it.
[[nodiscard]] std::vector<TarMember> tarMembers(std::string_view archive);

}  // namespace wz

#endif  // WZ_REPORTS_TAR_MEMBERS_H
