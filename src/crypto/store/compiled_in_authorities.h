// The table that was compiled in, where another one may stand in front of it (authorities.h): on a
// workstation that trusts development keys, and nowhere else. A product's library has no such
// function.
#ifndef WZAPP_CRYPTO_STORE_COMPILED_IN_AUTHORITIES_H
#define WZAPP_CRYPTO_STORE_COMPILED_IN_AUTHORITIES_H

#include <array>

#include "crypto/store/authorities.h"

namespace wzapp {

// The rows in the order of the development keys.
[[nodiscard]] const std::array<Authority, kAuthorityCount>& compiledInAuthorities();

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_STORE_COMPILED_IN_AUTHORITIES_H
