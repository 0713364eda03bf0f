/// Whether a folder is the caller's own.
#ifndef WORKSTATION_TERMINAL_OWNER_CHECK_H
#define WORKSTATION_TERMINAL_OWNER_CHECK_H

#include <string>

namespace workstation {

/// True when `folder` belongs to the effective user. Otherwise `error` says in one line whose it is
/// and what to do, or why that cannot be found out.
[[nodiscard]] bool checkOwner(const std::string& folder, std::string& error);

}  // namespace workstation

#endif  // WORKSTATION_TERMINAL_OWNER_CHECK_H
