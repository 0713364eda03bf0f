#include "crypto/rsa/montgomery.h"

#include <algorithm>
#include <bit>

#include "crypto/rsa/montgomery_columns.h"

namespace wzapp {

namespace {

std::size_t bitLength(const BigNumber& number, std::size_t words) {
  return words * kWordBits - static_cast<std::size_t>(std::countl_zero(number[words - 1]));
}

// As many columns as hold the modulus and two bits more, in whole groups.
std::size_t columnsFor(std::size_t bits) {
  const std::size_t columns = (bits + 2 + kColumnBits - 1) / kColumnBits;
  return (columns + kRowGroup - 1) / kRowGroup * kRowGroup;
}

void toColumns(ColumnNumber& columns, std::size_t count, const BigNumber& number,
               std::size_t words) {
  std::uint64_t bits = 0;
  int available = 0;
  std::size_t next = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (available < kColumnBits) {
      bits |= std::uint64_t{next < words ? number[next] : 0} << available;
      available += kWordBits;
      ++next;
    }
    columns[i] = static_cast<std::uint32_t>(bits) & kColumnMask;
    bits >>= kColumnBits;
    available -= kColumnBits;
  }
}

// The lowest `words` words of a number whose columns are below 2^27.
void fromColumns(BigNumber& number, std::size_t words, const ColumnNumber& columns,
                 std::size_t count) {
  std::uint64_t bits = 0;
  int available = 0;
  std::size_t next = 0;
  for (std::size_t i = 0; i < words; ++i) {
    while (available < kWordBits) {
      bits |= std::uint64_t{next < count ? columns[next] : 0} << available;
      available += kColumnBits;
      ++next;
    }
    number[i] = static_cast<Word>(bits);
    bits >>= kWordBits;
    available -= kWordBits;
  }
}

// Newton's step doubles the number of correct bits; an odd number is its own inverse in the lowest
// three.
std::uint32_t negatedInverse(std::uint32_t odd) {
  std::uint32_t inverse = odd;
  for (int bits = 3; bits < kColumnBits; bits *= 2) inverse *= 2 - odd * inverse;
  return (0 - inverse) & kColumnMask;
}

// R - number, for a number between 0 and R.
ColumnNumber complementOf(const ColumnNumber& number, std::size_t columns) {
  ColumnNumber complement;
  std::uint32_t borrow = 0;
  for (std::size_t i = 0; i < columns; ++i) {
    const std::uint32_t column = 0 - number[i] - borrow;
    complement[i] = column & kColumnMask;
    borrow = column >> (kWordBits - 1);
  }
  return complement;
}

// Takes a number below twice the modulus below it. In columns, where it fits in any case.
void subtractModulusOnce(ColumnNumber& number, const MontgomeryModulus& modulus) {
  ColumnNumber difference;
  std::uint32_t borrow = 0;
  for (std::size_t i = 0; i < modulus.columns; ++i) {
    const std::uint32_t column = number[i] - modulus.modulus[i] - borrow;
    difference[i] = column & kColumnMask;
    borrow = column >> (kWordBits - 1);
  }
  if (borrow == 0) std::copy_n(difference.begin(), modulus.columns, number.begin());
}

}  // namespace

void shiftColumnsUp(ColumnNumber& shifted, const ColumnNumber& number,
                    const MontgomeryModulus& modulus) {
  const std::size_t whole = modulus.shift / kColumnBits;
  const std::size_t bits = modulus.shift % kColumnBits;
  std::fill_n(shifted.begin(), whole, 0U);
  std::uint32_t carry = 0;
  for (std::size_t i = whole; i < modulus.columns; ++i) {
    const std::uint64_t column = std::uint64_t{number[i - whole]} << bits | carry;
    shifted[i] = static_cast<std::uint32_t>(column) & kColumnMask;
    carry = static_cast<std::uint32_t>(column >> kColumnBits);
  }
}

void shiftColumnsDown(ColumnNumber& shifted, const ColumnNumber& number, std::uint64_t high,
                      const MontgomeryModulus& modulus) {
  const std::size_t whole = modulus.shift / kColumnBits;
  const std::size_t bits = modulus.shift % kColumnBits;
  for (std::size_t i = 0; i < modulus.columns; ++i) {
    const auto column = [&](std::size_t index) -> std::uint64_t {
      if (index < modulus.columns) return number[index];
      return index == modulus.columns ? high : 0;
    };
    const std::uint64_t pair = column(i + whole + 1) << kColumnBits | column(i + whole);
    shifted[i] = static_cast<std::uint32_t>(pair >> bits) & kColumnMask;
  }
}

MontgomeryModulus prepareMontgomery(const BigNumber& modulus, std::size_t words) {
  MontgomeryModulus prepared;
  const std::size_t bits = bitLength(modulus, words);
  const std::size_t columns = columnsFor(bits);
  prepared.columns = columns;
  toColumns(prepared.modulus, columns, modulus, words);
  prepared.inverse = negatedInverse(modulus[0]);

  prepared.shift = columns * kColumnBits - bits;
  ColumnNumber shifted;
  shiftColumnsUp(shifted, prepared.modulus, prepared);
  prepared.complement = complementOf(shifted, columns);
  constexpr int kBitsBelow = kWordBits - kColumnBits;  // that the second column adds to the first
  prepared.divisor = (std::uint64_t{shifted[columns - 1]} << kBitsBelow |
                      shifted[columns - 2] >> (kColumnBits - kBitsBelow)) +
                     1;
  return prepared;
}

const MontgomeryKernel& montgomeryKernel() {
  static const MontgomeryKernel& chosen =
      avx2MontgomeryKernel() != nullptr ? *avx2MontgomeryKernel() : portableMontgomeryKernel();
  return chosen;
}

void powerModuloOdd(const MontgomeryKernel& kernel, BigNumber& power, const BigNumber& base,
                    Word exponent, const BigNumber& modulus, std::size_t words) {
  const MontgomeryModulus prepared = prepareMontgomery(modulus, words);
  ColumnNumber plain;
  ColumnNumber factor;
  toColumns(plain, prepared.columns, base, words);
  kernel.enter(factor, plain, prepared);

  // The last multiplication takes the factor that never entered the form, and so leaves it: the
  // base itself where the exponent is odd, else 1.
  ColumnNumber result = factor;
  for (int bit = kWordBits - 2 - std::countl_zero(exponent); bit > 0; --bit) {
    kernel.square(result, result, prepared);
    if ((exponent >> bit & 1) != 0) kernel.multiply(result, result, factor, prepared);
  }
  kernel.square(result, result, prepared);
  if ((exponent & 1) == 0) {
    plain.fill(0);
    plain[0] = 1;
  }
  kernel.multiply(result, result, plain, prepared);

  subtractModulusOnce(result, prepared);
  fromColumns(power, words, result, prepared.columns);
}

}  // namespace wzapp
