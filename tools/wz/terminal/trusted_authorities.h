/// By whom signers of packages are judged.
#ifndef WZ_TERMINAL_TRUSTED_AUTHORITIES_H
#define WZ_TERMINAL_TRUSTED_AUTHORITIES_H

#include <span>
#include <string>

#include "crypto/store/authorities.h"

namespace wz {

/// Where the table that is in force comes from.
enum class TableSource {
  kCompiledIn,  ///< by a product, or as a build's development keys
  kTerminal,    ///< the folder of the terminal that WZ_TERMINAL names
  kOwnKeys,     ///< the user's own development keys, which new terminals trust
};

/// The table in force for this process: that of the terminal which WZ_TERMINAL names, where it has
/// one; without a terminal that of the user's own keys, where an installed kit has made them and
/// WZ_KEYS names no others; otherwise the one compiled in. It is settled by the first call and
/// lives as long as the process.
[[nodiscard]] std::span<const wzapp::Authority> trustedAuthorities();
[[nodiscard]] TableSource trustedSource();

/// The table in words, for wz --version and wz doctor: "development keys of your own, /home/..."
[[nodiscard]] std::string trustedText();

}  // namespace wz

#endif  // WZ_TERMINAL_TRUSTED_AUTHORITIES_H
