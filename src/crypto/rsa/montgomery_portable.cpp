// Montgomery multiplication in plain C++, with inner loops that compilers vectorise.
#include <algorithm>

#include "crypto/rsa/montgomery_columns.h"

namespace wzapp {

namespace {

// Zeros on both sides of a factor, so that the rows of a group, each shifted by one column against
// the one before, can be added over the same columns.
struct PaddedNumber {
  std::array<std::uint32_t, kRowGroup + kMaxColumns + kRowGroup> padded = {};

  std::uint32_t* columns() { return padded.data() + kRowGroup; }
  const std::uint32_t* columns() const { return padded.data() + kRowGroup; }
};

using Sums = std::array<std::uint64_t, kSumColumns>;

// sums[j] += the products of one group of rows that fall on column j, for `count` columns. `factor`
// is the column that the group's first row meets at sums[0].
void addRows(std::uint64_t* __restrict sums, const std::uint32_t* __restrict factor,
             const std::uint32_t* __restrict rows, std::size_t count) {
  const std::uint64_t row0 = rows[0];
  const std::uint64_t row1 = rows[1];
  const std::uint64_t row2 = rows[2];
  const std::uint64_t row3 = rows[3];
  for (std::size_t j = 0; j < count; ++j) {
    sums[j] +=
        row0 * factor[j] + row1 * (factor - 1)[j] + row2 * (factor - 2)[j] + row3 * (factor - 3)[j];
  }
}

// The same for one row.
void addRow(std::uint64_t* __restrict sums, const std::uint32_t* __restrict factor,
            std::uint32_t row, std::size_t count) {
  for (std::size_t j = 0; j < count; ++j) sums[j] += std::uint64_t{row} * factor[j];
}

// Adds the multiple of the modulus that clears the lowest group of columns of `sums`. Those columns
// are done with then: what they carry stays in `carry`.
void reduceGroup(std::uint64_t* sums, const PaddedNumber& factor, const MontgomeryModulus& modulus,
                 std::uint64_t& carry) {
  std::uint32_t rows[kRowGroup];
  reductionRows(rows, sums, modulus, carry);
  addRows(sums + kRowGroup, factor.columns() + kRowGroup, rows, modulus.columns);
}

PaddedNumber pad(const ColumnNumber& number, std::size_t columns) {
  PaddedNumber padded;
  std::copy_n(number.begin(), columns, padded.columns());
  return padded;
}

// A long division from the top, one column of the quotient at a time. Instead of a multiple of the
// modulus being taken away, one of its complement is added, and R times the digit taken from the
// highest column, which only exists as `top`.
void enter(ColumnNumber& result, const ColumnNumber& a, const MontgomeryModulus& modulus) {
  const std::size_t columns = modulus.columns;
  const PaddedNumber complement = pad(modulus.complement, columns);
  ColumnNumber dividend;
  shiftColumnsUp(dividend, a, modulus);
  Sums sums = {};
  std::copy_n(dividend.begin(), columns, sums.data() + columns);

  std::uint64_t top = sums[2 * columns - 1];
  for (std::size_t i = columns; i-- > 0;) {
    std::uint64_t* const below = sums.data() + columns + i;
    const std::uint32_t digit = quotientDigit(top, below, modulus);
    const std::size_t shift = i % kRowGroup;
    addRow(sums.data() + (i - shift), complement.columns() - shift, digit, columns + kRowGroup);
    top = ((top - digit) << kColumnBits) + below[-1];
  }
  sums[columns - 1] = top;
  ColumnNumber rest;
  // Up to 1.2 times the shifted modulus: that may be R and more.
  const std::uint64_t high = settleCarries(rest, sums.data(), 0, columns);
  shiftColumnsDown(result, rest, high, modulus);
}

void multiply(ColumnNumber& result, const ColumnNumber& a, const ColumnNumber& b,
              const MontgomeryModulus& modulus) {
  const std::size_t columns = modulus.columns;
  const PaddedNumber factor = pad(b, columns);
  const PaddedNumber n = pad(modulus.modulus, columns);
  Sums sums = {};
  std::uint64_t carry = 0;
  for (std::size_t i = 0; i < columns; i += kRowGroup) {
    addRows(sums.data() + i, factor.columns(), a.data() + i, columns + kRowGroup);
    reduceGroup(sums.data() + i, n, modulus, carry);
  }
  settleCarries(result, sums.data() + columns, carry, columns);
}

// Each product of two different columns is wanted twice and made once: of the rows of a group, the
// columns below the group are left out and those above it doubled.
void square(ColumnNumber& result, const ColumnNumber& a, const MontgomeryModulus& modulus) {
  const std::size_t columns = modulus.columns;
  const PaddedNumber n = pad(modulus.modulus, columns);
  PaddedNumber factor;
  for (std::size_t i = 0; i < columns; ++i) factor.columns()[i] = 2 * a[i];
  Sums sums = {};
  std::uint64_t carry = 0;
  for (std::size_t i = 0; i < columns; i += kRowGroup) {
    std::copy_n(a.begin() + static_cast<std::ptrdiff_t>(i), kRowGroup, factor.columns() + i);
    addRows(sums.data() + 2 * i, factor.columns() + i, a.data() + i, columns - i + kRowGroup);
    std::fill_n(factor.columns() + i, kRowGroup, 0U);
    reduceGroup(sums.data() + i, n, modulus, carry);
  }
  settleCarries(result, sums.data() + columns, carry, columns);
}

constexpr MontgomeryKernel kPortable = {enter, multiply, square};

}  // namespace

const MontgomeryKernel& portableMontgomeryKernel() { return kPortable; }

}  // namespace wzapp
