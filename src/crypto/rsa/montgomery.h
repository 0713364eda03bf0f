// Powers modulo an odd number, by Montgomery multiplication.
//
// Inside, a number is spread over columns of 27 bits, each in a 32-bit word of its own. A product
// of two columns has 54 bits, and a 64-bit sum takes all the products that fall on one column of
// product and reduction together. So there is no carry between the products: carries are settled
// once, after the last one, and all products of a row are independent of each other, which is what
// vector units need. The columns hold at least two bits more than the modulus, so that numbers stay
// below twice the modulus without a comparison after each step.
//
// Nothing allocates, any thread may call.
#ifndef WZAPP_CRYPTO_RSA_MONTGOMERY_H
#define WZAPP_CRYPTO_RSA_MONTGOMERY_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "crypto/rsa/big_number.h"

namespace wzapp {

inline constexpr int kColumnBits = 27;
inline constexpr std::uint32_t kColumnMask = (1U << kColumnBits) - 1;

// Rows of a product are worked off in groups, so the number of columns is a multiple of this.
inline constexpr std::size_t kRowGroup = 4;

inline constexpr std::size_t kMaxColumns = 76;
static_assert(kMaxColumns * kColumnBits >= kMaxWords * kWordBits + 2 &&
              kMaxColumns % kRowGroup == 0);

using ColumnNumber = std::array<std::uint32_t, kMaxColumns>;

// What is worked out once for a modulus. In the following R is 2^(27 * columns).
struct MontgomeryModulus {
  std::size_t columns;  // in use, of this and of every number that goes with it
  ColumnNumber modulus;
  std::uint32_t inverse;  // of -modulus, modulo 2^27

  // For the division that enters the form. `shift` takes the modulus' highest bit to the highest
  // one of its columns.
  std::size_t shift;
  ColumnNumber complement;  // R - (modulus << shift)
  std::uint64_t divisor;    // highest 32 bits of the shifted modulus, plus 1
};

// For an odd modulus above 1 of `words` words, the highest of which is not zero.
[[nodiscard]] MontgomeryModulus prepareMontgomery(const BigNumber& modulus, std::size_t words);

// Operands and results are below twice the modulus, have every column below 2^27, and `columns`
// columns are read and written. A result may be an operand.
struct MontgomeryKernel {
  // result = a * R, modulo the modulus; `a` is at most the modulus
  void (*enter)(ColumnNumber& result, const ColumnNumber& a, const MontgomeryModulus& modulus);
  // result = a * b / R
  void (*multiply)(ColumnNumber& result, const ColumnNumber& a, const ColumnNumber& b,
                   const MontgomeryModulus& modulus);
  // result = a * a / R
  void (*square)(ColumnNumber& result, const ColumnNumber& a, const MontgomeryModulus& modulus);
};

// Plain C++, for every processor.
[[nodiscard]] const MontgomeryKernel& portableMontgomeryKernel();

// x86 AVX2. Null where the processor has none.
[[nodiscard]] const MontgomeryKernel* avx2MontgomeryKernel();

// The fastest that this processor can run.
[[nodiscard]] const MontgomeryKernel& montgomeryKernel();

// base to the power exponent, modulo `modulus`: odd, above 1 and with its highest word not zero.
// `base` is at most the modulus and the exponent at least 2; all of `words` words.
void powerModuloOdd(const MontgomeryKernel& kernel, BigNumber& power, const BigNumber& base,
                    Word exponent, const BigNumber& modulus, std::size_t words);

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_RSA_MONTGOMERY_H
