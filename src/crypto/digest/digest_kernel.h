// The compression functions of SHA-1 and SHA-256 (FIPS 180-4), and the choice among their versions.
//
// A kernel knows whole 64-octet blocks only; padding, lengths and partial blocks are the business
// of the contexts. Every kernel gives the same results. All of it may be used by any thread.
#ifndef WZAPP_CRYPTO_DIGEST_DIGEST_KERNEL_H
#define WZAPP_CRYPTO_DIGEST_DIGEST_KERNEL_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace wzapp {

inline constexpr std::size_t kDigestBlockSize = 64;  // octets, of both digests

using Sha1Words = std::array<std::uint32_t, 5>;
using Sha256Words = std::array<std::uint32_t, 8>;

// Each function takes `count` blocks of 64 octets at `blocks` into the chaining words.
struct DigestKernel {
  void (*sha1)(Sha1Words& words, const std::uint8_t* blocks, std::size_t count);
  void (*sha256)(Sha256Words& words, const std::uint8_t* blocks, std::size_t count);
  void (*both)(Sha1Words& sha1, Sha256Words& sha256, const std::uint8_t* blocks, std::size_t count);
};

// Plain C++, for every processor.
[[nodiscard]] const DigestKernel& portableDigestKernel();

// Vectors of four words, by which the schedules of four blocks are made at once. Null where the
// library is compiled for processors without.
[[nodiscard]] const DigestKernel* vectorDigestKernel();

// The SHA instructions of x86 and those of ARMv8. Null on other processors and on those without.
[[nodiscard]] const DigestKernel* x86ShaDigestKernel();
[[nodiscard]] const DigestKernel* armShaDigestKernel();

// Whichever of the two there is; null without one.
[[nodiscard]] const DigestKernel* shaInstructionsDigestKernel();

// The fastest that this processor can run; what the contexts use.
[[nodiscard]] const DigestKernel& digestKernel();

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_DIGEST_DIGEST_KERNEL_H
