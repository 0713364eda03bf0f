// Which certificates have lately been found good under which issuer, so that the same authorities
// need not be verified again for every package file.
#ifndef WZAPP_CRYPTO_CERTIFICATE_ISSUANCE_MEMO_H
#define WZAPP_CRYPTO_CERTIFICATE_ISSUANCE_MEMO_H

#include <array>
#include <cstdint>
#include <set>

#include "crypto/digest/digest.h"
#include "support/byte_view.h"

namespace wzapp {

// What is remembered are the exact octets of both certificates, by their SHA-256; whoever finds
// other octets of the same digest can forge signatures anyway. Only what holds is remembered, and
// only for a round and the one after it, so that the memory in use follows what one package file
// brings.
//
// One object belongs to one thread at a time. The only exception is std::bad_alloc.
class IssuanceMemo {
 public:
  // Begins a round: what was neither remembered nor asked for in the one before is forgotten.
  void startRound();

  // Notes that the key of `issuer` has signed `certificate`.
  void remember(ByteView issuer, ByteView certificate);

  // Whether that is known. If so it counts as remembered in this round.
  [[nodiscard]] bool knows(ByteView issuer, ByteView certificate);

 private:
  using Pair = std::array<std::uint8_t, kSha256Size>;

  [[nodiscard]] static Pair pairOf(ByteView issuer, ByteView certificate);

  std::set<Pair> current_;
  std::set<Pair> last_;
};

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_CERTIFICATE_ISSUANCE_MEMO_H
