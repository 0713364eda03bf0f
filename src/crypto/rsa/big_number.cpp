#include "crypto/rsa/big_number.h"

#include <algorithm>
#include <bit>

namespace wzapp {

namespace {

using Product = std::array<Word, 2 * kMaxWords>;

// The bits of `high` and `low`, side by side, from bit 32 - shift of `low` upwards.
Word shiftedWord(Word high, Word low, int shift) {
  return shift == 0 ? high : high << shift | low >> (kWordBits - shift);
}

// from << shift, of at least one word. The bits pushed out at the top are the result.
Word shiftLeft(Word* to, const Word* from, std::size_t words, int shift) {
  const Word out = shiftedWord(0, from[words - 1], shift);
  for (std::size_t i = words; i-- > 0;) {
    to[i] = shiftedWord(from[i], i == 0 ? 0 : from[i - 1], shift);
  }
  return out;
}

// How often the divisor goes into the dividend's top part: never too small, at most 1 too large.
// Looks at the three highest words of the one (n2 first) and the two highest of the other
// (normalised).
Word estimateQuotient(Word n2, Word n1, Word n0, Word d1, Word d0) {
  const std::uint64_t high = std::uint64_t{n2} << kWordBits | n1;
  std::uint64_t quotient = 0xffffffff;
  if (n2 < d1) quotient = high / d1;
  std::uint64_t rest = high - quotient * d1;
  // Twice at most: then the rest no longer fits a word and the estimate cannot be too large.
  while (rest >> kWordBits == 0 && quotient * d0 > (rest << kWordBits | n0)) {
    --quotient;
    rest += d1;
  }
  return static_cast<Word>(quotient);
}

// part -= quotient * divisor, over one word more than the divisor has. Returns whether that was too
// much. That word is not written: with the multiple that is right it is zero, and nobody reads it.
bool subtractMultiple(Word* part, const Word* divisor, std::size_t words, Word quotient) {
  std::uint64_t carry = 0;
  for (std::size_t i = 0; i < words; ++i) {
    carry += multiplyWords(quotient, divisor[i]);
    const Word subtrahend = static_cast<Word>(carry);
    carry = (carry >> kWordBits) + (part[i] < subtrahend ? 1 : 0);
    part[i] -= subtrahend;
  }
  return part[words] < carry;
}

// part += divisor, over the divisor's words.
void addBack(Word* part, const Word* divisor, std::size_t words) {
  std::uint64_t carry = 0;
  for (std::size_t i = 0; i < words; ++i) {
    carry += std::uint64_t{part[i]} + divisor[i];
    part[i] = static_cast<Word>(carry);
    carry >>= kWordBits;
  }
}

// The remainder is left in the lowest words. The divisor's highest word has its highest bit set.
void divideNormalised(Word* dividend, std::size_t dividendWords, const Word* divisor,
                      std::size_t words) {
  const Word d1 = divisor[words - 1];
  const Word d0 = words == 1 ? 0 : divisor[words - 2];
  for (std::size_t top = dividendWords - 1; top >= words; --top) {
    Word* const part = dividend + (top - words);
    const Word n0 = words == 1 ? 0 : part[words - 2];
    const Word quotient = estimateQuotient(part[words], part[words - 1], n0, d1, d0);
    if (subtractMultiple(part, divisor, words, quotient)) addBack(part, divisor, words);
  }
}

// The product has twice as many words.
void multiply(Product& product, const BigNumber& a, const BigNumber& b, std::size_t words) {
  std::fill_n(product.begin(), 2 * words, Word{0});
  for (std::size_t i = 0; i < words; ++i) {
    std::uint64_t carry = 0;
    for (std::size_t j = 0; j < words; ++j) {
      carry += multiplyWords(a[i], b[j]) + product[i + j];
      product[i + j] = static_cast<Word>(carry);
      carry >>= kWordBits;
    }
    product[i + words] = static_cast<Word>(carry);
  }
}

// The remainder of a dividend of twice as many words.
void reduceModulo(BigNumber& remainder, const Product& dividend, const BigNumber& modulus,
                  std::size_t words) {
  const std::size_t divisorWords = significantWords(modulus, words);
  setZero(remainder, words);
  if (divisorWords == 0) return;

  // Normalised: the highest bit of the divisor's highest word is set. The dividend may take a word
  // more for it.
  const int shift = std::countl_zero(modulus[divisorWords - 1]);
  BigNumber divisor;
  std::array<Word, 2 * kMaxWords + 1> rest;
  static_cast<void>(shiftLeft(divisor.data(), modulus.data(), divisorWords, shift));
  rest[2 * words] = shiftLeft(rest.data(), dividend.data(), 2 * words, shift);
  divideNormalised(rest.data(), 2 * words + 1, divisor.data(), divisorWords);

  for (std::size_t i = 0; i < divisorWords; ++i) {
    const Word above = i + 1 < divisorWords ? rest[i + 1] : 0;
    remainder[i] = shift == 0 ? rest[i] : rest[i] >> shift | above << (kWordBits - shift);
  }
}

}  // namespace

void decode(BigNumber& number, ByteView octets) {
  number.fill(0);
  const std::size_t count = std::min(octets.size(), kMaxWords * kWordSize);
  for (std::size_t i = 0; i < count; ++i) {
    const Word octet = octets[octets.size() - 1 - i];
    number[i / kWordSize] |= octet << (8 * (i % kWordSize));
  }
}

void encode(std::span<std::uint8_t> octets, const BigNumber& number, std::size_t words) {
  for (std::size_t i = 0; i < octets.size(); ++i) {
    const Word word = i / kWordSize < words ? number[i / kWordSize] : 0;
    octets[octets.size() - 1 - i] = static_cast<std::uint8_t>(word >> (8 * (i % kWordSize)));
  }
}

void setZero(BigNumber& number, std::size_t words) { std::fill_n(number.begin(), words, Word{0}); }

void copyWords(BigNumber& to, const BigNumber& from, std::size_t words) {
  std::copy_n(from.begin(), words, to.begin());
}

std::size_t significantWords(const BigNumber& number, std::size_t words) {
  while (words > 0 && number[words - 1] == 0) --words;
  return words;
}

int compare(const BigNumber& a, const BigNumber& b, std::size_t words) {
  for (std::size_t i = words; i-- > 0;) {
    if (a[i] != b[i]) return a[i] < b[i] ? -1 : 1;
  }
  return 0;
}

void multiplyModulo(BigNumber& product, const BigNumber& a, const BigNumber& b,
                    const BigNumber& modulus, std::size_t words) {
  Product whole;
  multiply(whole, a, b, words);
  reduceModulo(product, whole, modulus, words);
}

}  // namespace wzapp
