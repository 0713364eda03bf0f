// SHA-1 and SHA-256 in plain C++. The words of a round change their roles instead of being moved:
// five rounds of SHA-1, or eight of SHA-256, bring every word back to its own place.
#include <bit>

#include "crypto/big_endian.h"
#include "crypto/digest_kernel.h"
#include "crypto/sha256_constants.h"

namespace wzapp {

namespace {

using Word = std::uint32_t;

Word choose(Word x, Word y, Word z) { return z ^ (x & (y ^ z)); }
Word parity(Word x, Word y, Word z) { return x ^ y ^ z; }
Word majority(Word x, Word y, Word z) { return (x & y) + (z & (x ^ y)); }

using Sha1Function = Word (*)(Word, Word, Word);

template <Sha1Function function>
inline void sha1Round(Word a, Word& b, Word c, Word d, Word& e, Word input) {
  e += std::rotl(a, 5) + function(b, c, d) + input;
  b = std::rotl(b, 30);
}

// Twenty rounds with one function and one constant.
template <Sha1Function function>
inline void sha1Phase(Sha1Words& s, const Word* w, Word constant) {
  for (int i = 0; i < 20; i += 5) {
    sha1Round<function>(s[0], s[1], s[2], s[3], s[4], w[i] + constant);
    sha1Round<function>(s[4], s[0], s[1], s[2], s[3], w[i + 1] + constant);
    sha1Round<function>(s[3], s[4], s[0], s[1], s[2], w[i + 2] + constant);
    sha1Round<function>(s[2], s[3], s[4], s[0], s[1], w[i + 3] + constant);
    sha1Round<function>(s[1], s[2], s[3], s[4], s[0], w[i + 4] + constant);
  }
}

void sha1Block(Sha1Words& words, const std::uint8_t* block) {
  Word w[80];
  for (int i = 0; i < 16; ++i) w[i] = loadBigEndian32(block + 4 * i);
  for (int i = 16; i < 80; ++i) {
    w[i] = std::rotl(w[i - 3] ^ w[i - 8] ^ w[i - 14] ^ w[i - 16], 1);
  }
  Sha1Words s = words;
  sha1Phase<choose>(s, w, 0x5a827999);
  sha1Phase<parity>(s, w + 20, 0x6ed9eba1);
  sha1Phase<majority>(s, w + 40, 0x8f1bbcdc);
  sha1Phase<parity>(s, w + 60, 0xca62c1d6);
  for (std::size_t i = 0; i < s.size(); ++i) words[i] += s[i];
}

inline void sha256Round(Word a, Word b, Word c, Word& d, Word e, Word f, Word g, Word& h,
                        Word input) {
  h += (std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25)) + choose(e, f, g) + input;
  d += h;
  h += (std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22)) + majority(a, b, c);
}

void sha256Block(Sha256Words& words, const std::uint8_t* block) {
  Word w[64];
  for (int i = 0; i < 16; ++i) w[i] = loadBigEndian32(block + 4 * i);
  for (int i = 16; i < 64; ++i) {
    const Word x = w[i - 15];
    const Word y = w[i - 2];
    w[i] = w[i - 16] + w[i - 7] + (std::rotr(x, 7) ^ std::rotr(x, 18) ^ x >> 3) +
           (std::rotr(y, 17) ^ std::rotr(y, 19) ^ y >> 10);
  }
  Sha256Words s = words;
  const Word* k = kSha256Rounds;
  for (int i = 0; i < 64; i += 8) {
    sha256Round(s[0], s[1], s[2], s[3], s[4], s[5], s[6], s[7], w[i] + k[i]);
    sha256Round(s[7], s[0], s[1], s[2], s[3], s[4], s[5], s[6], w[i + 1] + k[i + 1]);
    sha256Round(s[6], s[7], s[0], s[1], s[2], s[3], s[4], s[5], w[i + 2] + k[i + 2]);
    sha256Round(s[5], s[6], s[7], s[0], s[1], s[2], s[3], s[4], w[i + 3] + k[i + 3]);
    sha256Round(s[4], s[5], s[6], s[7], s[0], s[1], s[2], s[3], w[i + 4] + k[i + 4]);
    sha256Round(s[3], s[4], s[5], s[6], s[7], s[0], s[1], s[2], w[i + 5] + k[i + 5]);
    sha256Round(s[2], s[3], s[4], s[5], s[6], s[7], s[0], s[1], w[i + 6] + k[i + 6]);
    sha256Round(s[1], s[2], s[3], s[4], s[5], s[6], s[7], s[0], w[i + 7] + k[i + 7]);
  }
  for (std::size_t i = 0; i < s.size(); ++i) words[i] += s[i];
}

void sha1Blocks(Sha1Words& words, const std::uint8_t* blocks, std::size_t count) {
  for (; count > 0; --count, blocks += kDigestBlockSize) sha1Block(words, blocks);
}

void sha256Blocks(Sha256Words& words, const std::uint8_t* blocks, std::size_t count) {
  for (; count > 0; --count, blocks += kDigestBlockSize) sha256Block(words, blocks);
}

void bothBlocks(Sha1Words& sha1, Sha256Words& sha256, const std::uint8_t* blocks,
                std::size_t count) {
  for (; count > 0; --count, blocks += kDigestBlockSize) {
    sha1Block(sha1, blocks);
    sha256Block(sha256, blocks);
  }
}

constexpr DigestKernel kPortable = {sha1Blocks, sha256Blocks, bothBlocks};

}  // namespace

const DigestKernel& portableDigestKernel() { return kPortable; }

}  // namespace wzapp
