// Compiled in together with a product's own authorities; otherwise a generated source takes its
// place.

#include "wz/terminal/development_roots.h"

namespace wz {

std::span<const DevelopmentRoot> developmentRoots() { return {}; }

std::span<const wzapp::Authority> compiledInTable() { return wzapp::authorities(); }

}  // namespace wz
