// The authorities that are compiled in: what may issue package signer certificates.
//
// Their octets belong to the product. The table is a source file of its own, generated when the
// library is configured, so that another product rebuilds nothing else.
#ifndef WZAPP_CRYPTO_STORE_AUTHORITIES_H
#define WZAPP_CRYPTO_STORE_AUTHORITIES_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "support/byte_view.h"

namespace wzapp {

inline constexpr std::size_t kAuthorityCount = 9;

// One row of the table: a certificate and what it, or what it issues, may sign.
struct Authority {
  std::int32_t kind;  // 2, 3 or 4 (CertificateKind)
  ByteView der;       // static octets
};

// The rows in the product's order.
[[nodiscard]] const std::array<Authority, kAuthorityCount>& authorities();

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_STORE_AUTHORITIES_H
