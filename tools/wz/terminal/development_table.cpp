// Compiled in together with development keys.

#include "crypto/store/compiled_in_authorities.h"
#include "wz/terminal/development_roots.h"

namespace wz {

std::span<const wzapp::Authority> compiledInTable() { return wzapp::compiledInAuthorities(); }

}  // namespace wz
