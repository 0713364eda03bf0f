#include "crypto/rsa/rsa.h"

#include <algorithm>
#include <array>
#include <memory>
#include <new>

#include "crypto/der/der_writer.h"
#include "crypto/digest/digest.h"

namespace wzapp {

namespace {

static_assert(kSignatureUnknownDigest == kUnknownDigest);

constexpr Word kShortExponent = 3;
constexpr Word kLongExponent = 65537;
constexpr std::size_t kPaddingOverhead = 11;  // 00 01, at least eight FF, 00

// Octets on the heap, or none when the memory could not be had.
class Buffer {
 public:
  explicit Buffer(std::size_t size) : octets_(new (std::nothrow) std::uint8_t[size]), size_(size) {}

  [[nodiscard]] bool isMissing() const { return octets_ == nullptr; }
  [[nodiscard]] std::span<std::uint8_t> octets() { return {octets_.get(), size_}; }

 private:
  std::unique_ptr<std::uint8_t[]> octets_;
  std::size_t size_;
};

int digestData(const SignatureCheck& check, std::span<std::uint8_t> digest) {
  if (!check.prehashed) return digestByOid(check.digestOid, check.data, digest.data());
  std::copy(check.data.begin(), check.data.end(), digest.begin());
  return 0;
}

// 00 01 FF ... FF 00 DigestInfo
void fillExpectedBlock(std::span<std::uint8_t> block, ByteView digestInfo) {
  const std::size_t infoOffset = block.size() - digestInfo.size();
  block[0] = 0x00;
  block[1] = 0x01;
  std::fill(block.begin() + 2, block.begin() + static_cast<std::ptrdiff_t>(infoOffset - 1),
            std::uint8_t{0xff});
  block[infoOffset - 1] = 0x00;
  std::copy(digestInfo.begin(), digestInfo.end(), block.data() + infoOffset);
}

// The octets of the exponent are not looked at, only how many there are.
Word exponentOf(ByteView publicExponent) {
  return publicExponent.size() == 1 ? kShortExponent : kLongExponent;
}

using ModulusSized = std::array<std::uint8_t, kMaxModulusSize>;

// As many octets as the modulus has; what a short signature lacks is zero.
ModulusSized signatureBlock(ByteView signature, std::size_t size) {
  ModulusSized block = {};
  std::copy_n(signature.begin(), std::min(signature.size(), size), block.begin());
  return block;
}

bool opensTo(const SignatureCheck& check, ByteView expected, const MontgomeryKernel& kernel) {
  const std::size_t size = check.modulus.size();
  const ModulusSized input = signatureBlock(check.signature, size);
  ModulusSized result;
  std::size_t resultSize = 0;
  if (!publicOperation(ByteView(input).first(size), exponentOf(check.publicExponent), check.modulus,
                       std::span(result).first(size), resultSize, kernel)) {
    return false;
  }
  ModulusSized padded = {};
  std::copy_n(result.begin(), resultSize, padded.data() + (size - resultSize));
  return std::equal(expected.begin(), expected.end(), padded.begin());
}

// Left to right over the bits of the exponent, for moduli of every shape: the base enters at the
// highest bit, as it is.
void powerByDivision(BigNumber& power, const BigNumber& base, Word exponent,
                     const BigNumber& modulus, std::size_t words) {
  BigNumber result = {1};
  bool entered = false;
  for (int bit = kWordBits - 1; bit >= 0; --bit) {
    const bool isSet = (exponent >> bit & 1) != 0;
    if (entered) {
      multiplyModulo(result, result, result, modulus, words);
      if (isSet) multiplyModulo(result, result, base, modulus, words);
    } else if (isSet) {
      copyWords(result, base, words);
      entered = true;
    }
  }
  copyWords(power, result, words);
}

// Whether the fast way gives the same. It wants an odd modulus above 1, and at least one
// multiplication, which takes the result below the modulus.
bool suitsMontgomery(Word exponent, const BigNumber& modulus, std::size_t words) {
  const bool isOne = words == 1 && modulus[0] == 1;
  return words > 0 && (modulus[0] & 1) != 0 && !isOne && exponent >= 2;
}

}  // namespace

bool publicOperation(ByteView input, Word exponent, ByteView modulus,
                     std::span<std::uint8_t> output, std::size_t& resultSize,
                     const MontgomeryKernel& kernel) {
  BigNumber base;
  BigNumber n;
  decode(base, input);
  decode(n, modulus);
  const std::size_t words = significantWords(n, kMaxWords);
  if (words != 0 && compare(base, n, words) > 0) return false;

  BigNumber power;
  if (suitsMontgomery(exponent, n, words)) {
    powerModuloOdd(kernel, power, base, exponent, n, words);
  } else {
    powerByDivision(power, base, exponent, n, words);
  }

  const std::span<std::uint8_t> block = output.first(modulus.size());
  encode(block, power, words);
  const auto first =
      std::find_if(block.begin(), block.end(), [](auto octet) { return octet != 0; });
  const auto end = std::copy(first, block.end(), block.begin());
  std::fill(end, block.end(), std::uint8_t{0});
  resultSize = static_cast<std::size_t>(end - block.begin());
  return true;
}

int verify(const SignatureCheck& check, const MontgomeryKernel& kernel) {
  const std::size_t digestOctets = digestSize(check.digestOid);
  if (digestOctets == 0) return kSignatureUnknownDigest;
  const std::size_t dataSize = check.prehashed ? check.data.size() : digestOctets;
  const std::size_t size = check.modulus.size();
  Buffer memory(dataSize + size);
  if (memory.isMissing()) return kSignatureNoMemory;
  const std::span<std::uint8_t> digest = memory.octets().first(dataSize);
  const std::span<std::uint8_t> expected = memory.octets().last(size);
  if (const int code = digestData(check, digest); code != 0) return code;

  DerBuffer digestInfo;
  const int infoSize = makeDigestInfo(check.digestOid, digest, digestInfo);
  if (infoSize < 0 || digestInfo.encoding().size() + kPaddingOverhead > size) {
    return kSignatureUnknownDigest;
  }
  fillExpectedBlock(expected, digestInfo.encoding());
  if (size > kMaxModulusSize) return kSignatureKeyTooLong;
  return opensTo(check, expected, kernel) ? kSignatureValid : kSignatureInvalid;
}

}  // namespace wzapp
