/// The terminal roots above the authorities that are compiled in, where those are development keys.
#ifndef WZ_TERMINAL_DEVELOPMENT_ROOTS_H
#define WZ_TERMINAL_DEVELOPMENT_ROOTS_H

#include <span>

#include "support/byte_view.h"

namespace wz {

struct DevelopmentRoot {
  const char* fileName;
  wzapp::ByteView der;  ///< static octets
};

/// Sorted by name. None: a product's own authorities were compiled in.
[[nodiscard]] std::span<const DevelopmentRoot> developmentRoots();

}  // namespace wz

#endif  // WZ_TERMINAL_DEVELOPMENT_ROOTS_H
