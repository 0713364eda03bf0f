/// What commands that were killed have left on the machine.
#ifndef WZ_DOCTOR_LEFTOVERS_H
#define WZ_DOCTOR_LEFTOVERS_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace wz {

struct Leftovers {
  std::vector<std::string> folders;
  /// The process of another wz, for which work folders were not looked for: nothing tells whose
  /// they are. 0: none runs.
  pid_t other = 0;
};

/// Folders of this user that belong to no program which still runs: work folders in the folder for
/// temporary files, in memory and in the current one, and browser profiles in the first and below
/// `terminal`'s run folder.
[[nodiscard]] Leftovers findLeftovers(const std::string& terminal);

/// Removes one of them. False when something of it is still there.
[[nodiscard]] bool removeLeftover(const std::string& path);

}  // namespace wz

#endif  // WZ_DOCTOR_LEFTOVERS_H
