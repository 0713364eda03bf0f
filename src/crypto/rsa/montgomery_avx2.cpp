// Montgomery multiplication with x86 AVX2: four columns at a time.
//
// The multiplier takes the low half of each 64-bit lane, so factors stand in 64-bit lanes here. A
// row of a product is one column times a factor shifted by as many columns; the shift costs
// nothing, being a load from an address further down. The sums of four columns stay in a register
// while the four rows of a group are added.
#include <algorithm>

#include "crypto/cpu_features.h"
#include "crypto/rsa/montgomery_columns.h"

#if defined(__x86_64__) || defined(__i386__)

#include <immintrin.h>

#define WZAPP_AVX2_TARGET __attribute__((target("avx2")))
#define WZAPP_AVX2_INLINE __attribute__((target("avx2"), always_inline)) inline

namespace wzapp {

namespace {

constexpr std::size_t kLanes = 4;
static_assert(kLanes == kRowGroup);

// A factor with zeros on both sides, for the shifted loads.
struct alignas(32) Factor {
  std::uint64_t padded[kLanes + kMaxColumns + kLanes];

  std::uint64_t* columns() { return padded + kLanes; }
  const std::uint64_t* columns() const { return padded + kLanes; }
};

struct alignas(32) Sums {
  std::uint64_t columns[kSumColumns];
};

WZAPP_AVX2_INLINE __m256i load(const std::uint64_t* from) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}

WZAPP_AVX2_INLINE void store(std::uint64_t* to, __m256i value) {
  _mm256_store_si256(reinterpret_cast<__m256i*>(to), value);
}

// Lanes of four columns that stand in 32-bit words.
WZAPP_AVX2_INLINE __m256i widen(const std::uint32_t* columns) {
  return _mm256_cvtepu32_epi64(_mm_loadu_si128(reinterpret_cast<const __m128i*>(columns)));
}

WZAPP_AVX2_INLINE void pad(Factor& factor, const ColumnNumber& number, std::size_t columns) {
  store(factor.padded, _mm256_setzero_si256());
  for (std::size_t i = 0; i < columns; i += kLanes) {
    store(factor.columns() + i, widen(number.data() + i));
  }
  store(factor.columns() + columns, _mm256_setzero_si256());
}

WZAPP_AVX2_INLINE void clear(Sums& sums, std::size_t columns) {
  for (std::size_t i = 0; i < columns; i += kLanes) {
    store(sums.columns + i, _mm256_setzero_si256());
  }
}

// sums[j] += the products of one group of rows that fall on column j, for `count` columns. `factor`
// is the column that the group's first row meets at sums[0].
WZAPP_AVX2_INLINE void addRows(std::uint64_t* sums, const std::uint64_t* factor,
                               const std::uint32_t* rows, std::size_t count) {
  const __m256i row0 = _mm256_set1_epi64x(rows[0]);
  const __m256i row1 = _mm256_set1_epi64x(rows[1]);
  const __m256i row2 = _mm256_set1_epi64x(rows[2]);
  const __m256i row3 = _mm256_set1_epi64x(rows[3]);
  for (std::size_t j = 0; j < count; j += kLanes) {
    const __m256i even = _mm256_add_epi64(_mm256_mul_epu32(row0, load(factor + j)),
                                          _mm256_mul_epu32(row2, load(factor + j - 2)));
    const __m256i odd = _mm256_add_epi64(_mm256_mul_epu32(row1, load(factor + j - 1)),
                                         _mm256_mul_epu32(row3, load(factor + j - 3)));
    store(sums + j, _mm256_add_epi64(load(sums + j), _mm256_add_epi64(even, odd)));
  }
}

// The same for one row.
WZAPP_AVX2_INLINE void addRow(std::uint64_t* sums, const std::uint64_t* factor, std::uint32_t row,
                              std::size_t count) {
  const __m256i lanes = _mm256_set1_epi64x(row);
  for (std::size_t j = 0; j < count; j += kLanes) {
    store(sums + j, _mm256_add_epi64(load(sums + j), _mm256_mul_epu32(lanes, load(factor + j))));
  }
}

// Adds the multiple of the modulus that clears the lowest group of columns of `sums`. Those columns
// are done with then: what they carry stays in `carry`.
WZAPP_AVX2_INLINE void reduceGroup(std::uint64_t* sums, const Factor& factor,
                                   const MontgomeryModulus& modulus, std::uint64_t& carry) {
  std::uint32_t rows[kRowGroup];
  reductionRows(rows, sums, modulus, carry);
  addRows(sums + kRowGroup, factor.columns() + kRowGroup, rows, modulus.columns);
}

// A long division from the top, one column of the quotient at a time. Instead of a multiple of the
// modulus being taken away, one of its complement is added, and R times the digit taken from the
// highest column, which only exists as `top`.
WZAPP_AVX2_TARGET void enter(ColumnNumber& result, const ColumnNumber& a,
                             const MontgomeryModulus& modulus) {
  const std::size_t columns = modulus.columns;
  Factor complement;
  Sums sums;
  pad(complement, modulus.complement, columns);
  clear(sums, columns);
  ColumnNumber dividend;
  shiftColumnsUp(dividend, a, modulus);
  for (std::size_t i = 0; i < columns; i += kLanes) {
    store(sums.columns + columns + i, widen(dividend.data() + i));
  }

  std::uint64_t top = sums.columns[2 * columns - 1];
  for (std::size_t i = columns; i-- > 0;) {
    const std::uint64_t* const below = sums.columns + columns + i;
    const std::uint32_t digit = quotientDigit(top, below, modulus);
    const std::size_t shift = i % kRowGroup;
    addRow(sums.columns + (i - shift), complement.columns() - shift, digit, columns + kRowGroup);
    top = ((top - digit) << kColumnBits) + below[-1];
  }
  sums.columns[columns - 1] = top;
  ColumnNumber rest;
  // Up to 1.2 times the shifted modulus: that may be R and more.
  const std::uint64_t high = settleCarries(rest, sums.columns, 0, columns);
  shiftColumnsDown(result, rest, high, modulus);
}

WZAPP_AVX2_TARGET void multiply(ColumnNumber& result, const ColumnNumber& a, const ColumnNumber& b,
                                const MontgomeryModulus& modulus) {
  const std::size_t columns = modulus.columns;
  Factor factor;
  Factor n;
  Sums sums;
  pad(factor, b, columns);
  pad(n, modulus.modulus, columns);
  clear(sums, 2 * columns + kLanes);
  std::uint64_t carry = 0;
  for (std::size_t i = 0; i < columns; i += kRowGroup) {
    addRows(sums.columns + i, factor.columns(), a.data() + i, columns + kLanes);
    reduceGroup(sums.columns + i, n, modulus, carry);
  }
  settleCarries(result, sums.columns + columns, carry, columns);
}

// Each product of two different columns is wanted twice and made once: of the rows of a group, the
// columns below the group are left out and those above it doubled.
WZAPP_AVX2_TARGET void square(ColumnNumber& result, const ColumnNumber& a,
                              const MontgomeryModulus& modulus) {
  const std::size_t columns = modulus.columns;
  Factor factor;
  Factor n;
  Sums sums;
  pad(factor, a, columns);
  pad(n, modulus.modulus, columns);
  for (std::size_t i = 0; i < columns; i += kLanes) {
    store(factor.columns() + i, _mm256_slli_epi64(load(factor.columns() + i), 1));
  }
  clear(sums, 2 * columns + kLanes);
  std::uint64_t carry = 0;
  for (std::size_t i = 0; i < columns; i += kRowGroup) {
    store(factor.columns() + i, widen(a.data() + i));
    addRows(sums.columns + 2 * i, factor.columns() + i, a.data() + i, columns - i + kLanes);
    store(factor.columns() + i, _mm256_setzero_si256());
    reduceGroup(sums.columns + i, n, modulus, carry);
  }
  settleCarries(result, sums.columns + columns, carry, columns);
}

constexpr MontgomeryKernel kAvx2 = {enter, multiply, square};

}  // namespace

const MontgomeryKernel* avx2MontgomeryKernel() { return cpuFeatures().avx2 ? &kAvx2 : nullptr; }

}  // namespace wzapp

#else

namespace wzapp {

const MontgomeryKernel* avx2MontgomeryKernel() { return nullptr; }

}  // namespace wzapp

#endif
