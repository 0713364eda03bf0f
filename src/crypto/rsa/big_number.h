// Unsigned numbers of up to 2048 bits: arrays of 32-bit words, the least significant first.
//
// Every operation takes the number of words in use, at most kMaxWords; words above that are neither
// read nor written. Nothing allocates, nothing is kept between calls, any thread may call. The
// numbers of this library are public keys and signatures, so no operation hides its timing.
#ifndef WZAPP_CRYPTO_RSA_BIG_NUMBER_H
#define WZAPP_CRYPTO_RSA_BIG_NUMBER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "support/byte_view.h"

namespace wzapp {

using Word = std::uint32_t;

inline constexpr std::size_t kMaxWords = 64;
inline constexpr std::size_t kWordSize = 4;  // octets
inline constexpr int kWordBits = 32;

using BigNumber = std::array<Word, kMaxWords>;

// Reads big-endian octets into all 64 words. What lies above 256 octets is left out.
void decode(BigNumber& number, ByteView octets);

// Writes the lowest `words` words as big-endian octets that fill `octets`, with zero octets on the
// left. What does not fit is left out.
void encode(std::span<std::uint8_t> octets, const BigNumber& number, std::size_t words);

void setZero(BigNumber& number, std::size_t words);
void copyWords(BigNumber& to, const BigNumber& from, std::size_t words);

// The number of words up to and including the highest that is not zero; 0 for the number 0.
[[nodiscard]] std::size_t significantWords(const BigNumber& number, std::size_t words);

// -1, 0 or 1 as `a` is below, equal to or above `b`.
[[nodiscard]] int compare(const BigNumber& a, const BigNumber& b, std::size_t words);

// The whole product of two words.
[[nodiscard]] constexpr std::uint64_t multiplyWords(Word a, Word b) { return std::uint64_t{a} * b; }

// a * b mod modulus, by a product of twice as many words and a long division. Slow, but it does for
// every modulus; 0 for the modulus 0. `product` may be `a` or `b`.
void multiplyModulo(BigNumber& product, const BigNumber& a, const BigNumber& b,
                    const BigNumber& modulus, std::size_t words);

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_RSA_BIG_NUMBER_H
