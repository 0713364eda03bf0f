// Steps on columns that the versions of the Montgomery multiplication share.
#ifndef WZAPP_CRYPTO_RSA_MONTGOMERY_COLUMNS_H
#define WZAPP_CRYPTO_RSA_MONTGOMERY_COLUMNS_H

#include "crypto/rsa/montgomery.h"

namespace wzapp {

// Sums of products, by column. The highest group takes what the last rows add beyond the columns of
// a product: zeros.
inline constexpr std::size_t kSumColumns = 2 * kMaxColumns + kRowGroup;

// The four digits that, as rows of a product with the modulus, clear the lowest group of columns of
// `sums`. `carry` is what the groups below have carried on, and becomes what this one does.
inline void reductionRows(std::uint32_t rows[kRowGroup], const std::uint64_t* sums,
                          const MontgomeryModulus& modulus, std::uint64_t& carry) {
  const std::uint32_t* const n = modulus.modulus.data();
  for (std::size_t i = 0; i < kRowGroup; ++i) {
    std::uint64_t sum = sums[i] + carry;
    for (std::size_t k = 0; k < i; ++k) sum += std::uint64_t{rows[k]} * n[i - k];
    rows[i] = static_cast<std::uint32_t>(sum) * modulus.inverse & kColumnMask;
    carry = (sum + std::uint64_t{rows[i]} * n[0]) >> kColumnBits;
  }
}

// The number in `columns` columns of sums. Returns what it has above these columns.
inline std::uint64_t settleCarries(ColumnNumber& result, const std::uint64_t* sums,
                                   std::uint64_t carry, std::size_t columns) {
  for (std::size_t i = 0; i < columns; ++i) {
    carry += sums[i];
    result[i] = static_cast<std::uint32_t>(carry) & kColumnMask;
    carry >>= kColumnBits;
  }
  return carry;
}

// A digit of the quotient of a division from the top: how often the shifted modulus goes into the
// sums whose highest column is `top` and whose others end below `below`. Never too large, and too
// small by less than 1.2, so that the rest stays below 1.2 times the modulus.
inline std::uint32_t quotientDigit(std::uint64_t top, const std::uint64_t* below,
                                   const MontgomeryModulus& modulus) {
  const std::uint64_t dividend = (top << kColumnBits) + below[-1] + (below[-2] >> kColumnBits) +
                                 (below[-3] >> 2 * kColumnBits);
  return static_cast<std::uint32_t>((dividend << (kWordBits - kColumnBits)) / modulus.divisor);
}

// number << modulus.shift
void shiftColumnsUp(ColumnNumber& shifted, const ColumnNumber& number,
                    const MontgomeryModulus& modulus);

// (high * R + number) >> modulus.shift
void shiftColumnsDown(ColumnNumber& shifted, const ColumnNumber& number, std::uint64_t high,
                      const MontgomeryModulus& modulus);

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_RSA_MONTGOMERY_COLUMNS_H
