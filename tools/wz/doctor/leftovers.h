/// What commands that were killed have left on the machine.
#ifndef WZ_DOCTOR_LEFTOVERS_H
#define WZ_DOCTOR_LEFTOVERS_H

#include <string>
#include <vector>

namespace wz {

/// Folders of this user that belong to no program which still runs: work folders in the folder for
/// temporary files, in memory and in the current one, and browser profiles in the first and below
/// `terminal`'s run folder. No work folders while another wz runs, since nothing tells whose they
/// are.
[[nodiscard]] std::vector<std::string> findLeftovers(const std::string& terminal);

/// Removes one of them. False when something of it is still there.
[[nodiscard]] bool removeLeftover(const std::string& path);

}  // namespace wz

#endif  // WZ_DOCTOR_LEFTOVERS_H
