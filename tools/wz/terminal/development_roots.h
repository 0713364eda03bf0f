/// The terminal roots above the authorities that are compiled in, where those are development keys.
#ifndef WZ_TERMINAL_DEVELOPMENT_ROOTS_H
#define WZ_TERMINAL_DEVELOPMENT_ROOTS_H

#include <span>

#include "crypto/store/authorities.h"
#include "support/byte_view.h"

namespace wz {

struct DevelopmentRoot {
  const char* fileName;
  wzapp::ByteView der;  ///< static octets
};

/// Sorted by name. None: a product's own authorities were compiled in.
[[nodiscard]] std::span<const DevelopmentRoot> developmentRoots();

/// The table of authorities that is compiled in, without a question to the platform whether the
/// terminal that this process plays has another.
[[nodiscard]] std::span<const wzapp::Authority> compiledInTable();

}  // namespace wz

#endif  // WZ_TERMINAL_DEVELOPMENT_ROOTS_H
