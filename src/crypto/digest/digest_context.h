// What the contexts of SHA-1 and SHA-256 have in common.
#ifndef WZAPP_CRYPTO_DIGEST_DIGEST_CONTEXT_H
#define WZAPP_CRYPTO_DIGEST_DIGEST_CONTEXT_H

#include <array>
#include <cstdint>

#include "crypto/digest/digest_kernel.h"

namespace wzapp {

// Why a context no longer gives a digest.
inline constexpr std::uint32_t kContextSound = 0;
inline constexpr std::uint32_t kContextInputTooLong = 2;  // 2^64 bits or more
inline constexpr std::uint32_t kContextFinished = 3;      // data after the digest was finished

// A digest under way. A plain record: it owns nothing and may be copied, to go on in two ways.
template <class Words>
struct DigestContext {
  Words words;             // chaining value
  std::uint32_t bitsLow;   // length of the message so far, in bits: low half
  std::uint32_t bitsHigh;  // and high half
  std::array<std::uint8_t, kDigestBlockSize> block;
  std::uint16_t fill;       // octets waiting in `block`, 0 to 63
  std::uint32_t computed;   // 1 once finished
  std::uint32_t corrupted;  // one of the states above
};

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_DIGEST_DIGEST_CONTEXT_H
