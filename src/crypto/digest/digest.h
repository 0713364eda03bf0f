// SHA-1 and SHA-256 (FIPS 180-4) in streaming form, one at a time or both over the same data.
//
// Start, add as often as wanted, finish. A null context, and null data or output where one is
// needed, makes a call do nothing. A context is used by one thread at a time; different contexts
// by any threads. Nothing here allocates or fails with an error: a context that was misused or has
// taken 2^64 bits is corrupted (see DigestContext), and finishing it leaves the output untouched.
#ifndef WZAPP_CRYPTO_DIGEST_DIGEST_H
#define WZAPP_CRYPTO_DIGEST_DIGEST_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "crypto/digest/digest_context.h"
#include "support/byte_view.h"

namespace wzapp {

inline constexpr std::size_t kSha1Size = 20;    // octets
inline constexpr std::size_t kSha256Size = 32;  // octets

inline constexpr std::string_view kSha1Oid = "1.3.14.3.2.26";
inline constexpr std::string_view kSha256Oid = "2.16.840.1.101.3.4.2.1";

using Sha1Context = DigestContext<Sha1Words>;
using Sha256Context = DigestContext<Sha256Words>;

// Makes the context ready for a message, whatever it held.
void digestStart(Sha1Context* context);
void digestStart(Sha256Context* context);

// Appends `data` to the message. After finishing, a non-empty `data` corrupts the context instead.
void digestAdd(Sha1Context* context, ByteView data);
void digestAdd(Sha256Context* context, ByteView data);

// Appends `data` to two messages: the same as adding it to each, but in one pass over the data.
void digestAdd(Sha1Context* sha1, Sha256Context* sha256, ByteView data);

// Writes the digest of the message to `output` (20 or 32 octets). May be repeated, with the same
// result.
void digestFinish(Sha1Context* context, std::uint8_t* output);
void digestFinish(Sha256Context* context, std::uint8_t* output);

inline constexpr int kUnknownDigest = -4;

// The size in octets of the digest that the dotted text `oid` names, or 0 for any other text.
[[nodiscard]] std::size_t digestSize(std::string_view oid);

// Writes the digest of `data` that `oid` names to `output`, which has room for digestSize(oid).
// Returns 0, or kUnknownDigest with `output` untouched.
[[nodiscard]] int digestByOid(std::string_view oid, ByteView data, std::uint8_t* output);

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_DIGEST_DIGEST_H
