// SHA-1 and SHA-256 in plain C++.
//
// The message schedules of different blocks have nothing to do with each other: those of four
// blocks are made side by side, in vectors as the compiler knows them on every processor (SSE2 on
// x86-64, NEON on arm64, words one by one where there is neither). The rounds are chains in which
// each step waits for the one before, and keep a processor half busy; where both digests are
// wanted, their rounds are therefore dealt out alternately.
#include <cstring>

#include "crypto/big_endian.h"
#include "crypto/digest_kernel.h"
#include "crypto/sha256_constants.h"

// The state of both digests is meant to stay in registers from the first round to the last, which
// no call may come between.
#define WZAPP_ROUND __attribute__((always_inline)) inline

namespace wzapp {

namespace {

using Word = std::uint32_t;
using FourWords = Word __attribute__((vector_size(16)));

constexpr std::size_t kSha1Inputs = 80;
constexpr std::size_t kSha256Inputs = 64;

// How many blocks a schedule of this type is made for.
template <class Lanes>
constexpr std::size_t kBlocks = sizeof(Lanes) / sizeof(Word);

template <int bits, class T>
WZAPP_ROUND T rotl(T x) {
  return (x << bits) | (x >> (32 - bits));
}

template <int bits, class T>
WZAPP_ROUND T rotr(T x) {
  return rotl<32 - bits>(x);
}

// -- Schedules: what each round takes in, its constant included; one word for each block.

WZAPP_ROUND void loadWord(const std::uint8_t* blocks, Word& word) {
  word = loadBigEndian32(blocks);
}

WZAPP_ROUND void loadWord(const std::uint8_t* blocks, FourWords& words) {
  words = FourWords{loadBigEndian32(blocks), loadBigEndian32(blocks + kDigestBlockSize),
                    loadBigEndian32(blocks + 2 * kDigestBlockSize),
                    loadBigEndian32(blocks + 3 * kDigestBlockSize)};
}

template <class Lanes>
WZAPP_ROUND void loadMessage(const std::uint8_t* blocks, Lanes* w) {
  for (std::size_t i = 0; i < 16; ++i) loadWord(blocks + sizeof(Word) * i, w[i]);
}

template <class Lanes>
WZAPP_ROUND void storeInput(Word* inputs, std::size_t round, Lanes value) {
  std::memcpy(inputs + kBlocks<Lanes> * round, &value, sizeof value);
}

// Twenty words from `first` on, with the constant of their rounds.
template <class Lanes>
WZAPP_ROUND void sha1Words(Lanes* w, std::size_t first, Word constant, Word* inputs) {
  for (std::size_t i = first; i < first + 20; ++i) {
    if (i >= 16) w[i] = rotl<1>(w[i - 3] ^ w[i - 8] ^ w[i - 14] ^ w[i - 16]);
    storeInput(inputs, i, w[i] + constant);
  }
}

template <class Lanes>
void sha1Schedule(const Lanes* message, Word* inputs) {
  Lanes w[kSha1Inputs];
  std::memcpy(w, message, 16 * sizeof(Lanes));
  sha1Words(w, 0, 0x5a827999, inputs);
  sha1Words(w, 20, 0x6ed9eba1, inputs);
  sha1Words(w, 40, 0x8f1bbcdc, inputs);
  sha1Words(w, 60, 0xca62c1d6, inputs);
}

template <class Lanes>
void sha256Schedule(const Lanes* message, Word* inputs) {
  Lanes w[kSha256Inputs];
  std::memcpy(w, message, 16 * sizeof(Lanes));
  for (std::size_t i = 0; i < 16; ++i) storeInput(inputs, i, w[i] + kSha256Rounds[i]);
  for (std::size_t i = 16; i < kSha256Inputs; ++i) {
    const Lanes x = w[i - 15];
    const Lanes y = w[i - 2];
    w[i] = w[i - 16] + w[i - 7] + (rotr<7>(x) ^ rotr<18>(x) ^ (x >> 3)) +
           (rotr<17>(y) ^ rotr<19>(y) ^ (y >> 10));
    storeInput(inputs, i, w[i] + kSha256Rounds[i]);
  }
}

// -- Rounds. The words change their roles instead of being moved: five rounds of SHA-1, or eight of
// SHA-256, bring every word back to its place. Inputs of one block lie `stride` words apart.

WZAPP_ROUND Word choose(Word x, Word y, Word z) { return z ^ (x & (y ^ z)); }
WZAPP_ROUND Word parity(Word x, Word y, Word z) { return x ^ y ^ z; }
WZAPP_ROUND Word majority(Word x, Word y, Word z) { return (x & y) + (z & (x ^ y)); }

using Sha1Function = Word (*)(Word, Word, Word);

struct Sha1State {
  explicit Sha1State(const Sha1Words& w) : a(w[0]), b(w[1]), c(w[2]), d(w[3]), e(w[4]) {}
  WZAPP_ROUND void addTo(Sha1Words& w) const {
    w[0] += a;
    w[1] += b;
    w[2] += c;
    w[3] += d;
    w[4] += e;
  }
  Word a, b, c, d, e;
};

template <Sha1Function function>
WZAPP_ROUND void sha1Round(Word a, Word& b, Word c, Word d, Word& e, Word input) {
  e += input;
  e += function(b, c, d);
  e += rotl<5>(a);
  b = rotl<30>(b);
}

struct Sha256State {
  explicit Sha256State(const Sha256Words& w)
      : a(w[0]), b(w[1]), c(w[2]), d(w[3]), e(w[4]), f(w[5]), g(w[6]), h(w[7]), bc(b ^ c) {}
  WZAPP_ROUND void addTo(Sha256Words& w) const {
    w[0] += a;
    w[1] += b;
    w[2] += c;
    w[3] += d;
    w[4] += e;
    w[5] += f;
    w[6] += g;
    w[7] += h;
  }
  Word a, b, c, d, e, f, g, h;
  Word bc;  // b ^ c, which the round before has had as its a ^ b
};

// The majority of a, b and c is b where b and c agree, and a elsewhere: b ^ ((a ^ b) & (b ^ c)).
WZAPP_ROUND void sha256Round(Word a, Word b, Word& bc, Word& d, Word e, Word f, Word g, Word& h,
                             Word input) {
  h += input;
  h += choose(e, f, g);
  const Word ab = a ^ b;
  const Word sum = rotr<2>(a ^ rotr<11>(a ^ rotr<9>(a))) + (b ^ (bc & ab));  // of 2, 13 and 22
  bc = ab;
  h += rotr<6>(e ^ rotr<5>(e) ^ rotr<19>(e));  // of 6, 11 and 25
  d += h;
  h += sum;
}

template <Sha1Function function, std::size_t stride>
WZAPP_ROUND void fiveRounds(Sha1State& s, const Word* in) {
  sha1Round<function>(s.a, s.b, s.c, s.d, s.e, in[0]);
  sha1Round<function>(s.e, s.a, s.b, s.c, s.d, in[stride]);
  sha1Round<function>(s.d, s.e, s.a, s.b, s.c, in[2 * stride]);
  sha1Round<function>(s.c, s.d, s.e, s.a, s.b, in[3 * stride]);
  sha1Round<function>(s.b, s.c, s.d, s.e, s.a, in[4 * stride]);
}

template <Sha1Function function, std::size_t stride>
WZAPP_ROUND void twentyRounds(Sha1State& s, const Word* in) {
  for (int i = 0; i < 4; ++i, in += 5 * stride) fiveRounds<function, stride>(s, in);
}

template <std::size_t stride>
void sha1Rounds(Sha1Words& words, const Word* in) {
  Sha1State s(words);
  twentyRounds<choose, stride>(s, in);
  twentyRounds<parity, stride>(s, in + 20 * stride);
  twentyRounds<majority, stride>(s, in + 40 * stride);
  twentyRounds<parity, stride>(s, in + 60 * stride);
  s.addTo(words);
}

template <std::size_t stride>
void sha256Rounds(Sha256Words& words, const Word* in) {
  Sha256State t(words);
  for (int i = 0; i < 8; ++i, in += 8 * stride) {
    sha256Round(t.a, t.b, t.bc, t.d, t.e, t.f, t.g, t.h, in[0]);
    sha256Round(t.h, t.a, t.bc, t.c, t.d, t.e, t.f, t.g, in[stride]);
    sha256Round(t.g, t.h, t.bc, t.b, t.c, t.d, t.e, t.f, in[2 * stride]);
    sha256Round(t.f, t.g, t.bc, t.a, t.b, t.c, t.d, t.e, in[3 * stride]);
    sha256Round(t.e, t.f, t.bc, t.h, t.a, t.b, t.c, t.d, in[4 * stride]);
    sha256Round(t.d, t.e, t.bc, t.g, t.h, t.a, t.b, t.c, in[5 * stride]);
    sha256Round(t.c, t.d, t.bc, t.f, t.g, t.h, t.a, t.b, in[6 * stride]);
    sha256Round(t.b, t.c, t.bc, t.e, t.f, t.g, t.h, t.a, in[7 * stride]);
  }
  t.addTo(words);
}

// Eight rounds of SHA-256 with their share of SHA-1: ten.
template <Sha1Function function, std::size_t stride>
WZAPP_ROUND void eighteenRounds(Sha1State& s, const Word* in1, Sha256State& t, const Word* in256) {
  sha256Round(t.a, t.b, t.bc, t.d, t.e, t.f, t.g, t.h, in256[0]);
  sha1Round<function>(s.a, s.b, s.c, s.d, s.e, in1[0]);
  sha256Round(t.h, t.a, t.bc, t.c, t.d, t.e, t.f, t.g, in256[stride]);
  sha1Round<function>(s.e, s.a, s.b, s.c, s.d, in1[stride]);
  sha256Round(t.g, t.h, t.bc, t.b, t.c, t.d, t.e, t.f, in256[2 * stride]);
  sha1Round<function>(s.d, s.e, s.a, s.b, s.c, in1[2 * stride]);
  sha1Round<function>(s.c, s.d, s.e, s.a, s.b, in1[3 * stride]);
  sha256Round(t.f, t.g, t.bc, t.a, t.b, t.c, t.d, t.e, in256[3 * stride]);
  sha1Round<function>(s.b, s.c, s.d, s.e, s.a, in1[4 * stride]);
  sha256Round(t.e, t.f, t.bc, t.h, t.a, t.b, t.c, t.d, in256[4 * stride]);
  sha1Round<function>(s.a, s.b, s.c, s.d, s.e, in1[5 * stride]);
  sha256Round(t.d, t.e, t.bc, t.g, t.h, t.a, t.b, t.c, in256[5 * stride]);
  sha1Round<function>(s.e, s.a, s.b, s.c, s.d, in1[6 * stride]);
  sha256Round(t.c, t.d, t.bc, t.f, t.g, t.h, t.a, t.b, in256[6 * stride]);
  sha1Round<function>(s.d, s.e, s.a, s.b, s.c, in1[7 * stride]);
  sha1Round<function>(s.c, s.d, s.e, s.a, s.b, in1[8 * stride]);
  sha256Round(t.b, t.c, t.bc, t.e, t.f, t.g, t.h, t.a, in256[7 * stride]);
  sha1Round<function>(s.b, s.c, s.d, s.e, s.a, in1[9 * stride]);
}

template <Sha1Function function, std::size_t stride>
WZAPP_ROUND void quarter(Sha1State& s, const Word* in1, Sha256State& t, const Word* in256) {
  for (int i = 0; i < 2; ++i, in1 += 10 * stride, in256 += 8 * stride) {
    eighteenRounds<function, stride>(s, in1, t, in256);
  }
}

template <std::size_t stride>
void bothRounds(Sha1Words& sha1, const Word* in1, Sha256Words& sha256, const Word* in256) {
  Sha1State s(sha1);
  Sha256State t(sha256);
  quarter<choose, stride>(s, in1, t, in256);
  quarter<parity, stride>(s, in1 + 20 * stride, t, in256 + 16 * stride);
  quarter<majority, stride>(s, in1 + 40 * stride, t, in256 + 32 * stride);
  quarter<parity, stride>(s, in1 + 60 * stride, t, in256 + 48 * stride);
  s.addTo(sha1);
  t.addTo(sha256);
}

// -- Blocks: four at a time, what is left one by one.

template <class Lanes>
void takeBlocks(Sha1Words& words, const std::uint8_t* blocks) {
  constexpr std::size_t kCount = kBlocks<Lanes>;
  Lanes message[16];
  alignas(Lanes) Word inputs[kCount * kSha1Inputs];
  loadMessage(blocks, message);
  sha1Schedule(message, inputs);
  for (std::size_t i = 0; i < kCount; ++i) sha1Rounds<kCount>(words, inputs + i);
}

template <class Lanes>
void takeBlocks(Sha256Words& words, const std::uint8_t* blocks) {
  constexpr std::size_t kCount = kBlocks<Lanes>;
  Lanes message[16];
  alignas(Lanes) Word inputs[kCount * kSha256Inputs];
  loadMessage(blocks, message);
  sha256Schedule(message, inputs);
  for (std::size_t i = 0; i < kCount; ++i) sha256Rounds<kCount>(words, inputs + i);
}

template <class Lanes>
void takeBlocks(Sha1Words& sha1, Sha256Words& sha256, const std::uint8_t* blocks) {
  constexpr std::size_t kCount = kBlocks<Lanes>;
  Lanes message[16];
  alignas(Lanes) Word in1[kCount * kSha1Inputs];
  alignas(Lanes) Word in256[kCount * kSha256Inputs];
  loadMessage(blocks, message);
  sha1Schedule(message, in1);
  sha256Schedule(message, in256);
  for (std::size_t i = 0; i < kCount; ++i) bothRounds<kCount>(sha1, in1 + i, sha256, in256 + i);
}

template <class... Words>
void take(Words&... words, const std::uint8_t* blocks, std::size_t count) {
  for (; count >= kBlocks<FourWords>; count -= kBlocks<FourWords>) {
    takeBlocks<FourWords>(words..., blocks);
    blocks += kBlocks<FourWords> * kDigestBlockSize;
  }
  for (; count > 0; --count, blocks += kDigestBlockSize) takeBlocks<Word>(words..., blocks);
}

constexpr DigestKernel kPortable = {take<Sha1Words>, take<Sha256Words>,
                                    take<Sha1Words, Sha256Words>};

}  // namespace

const DigestKernel& portableDigestKernel() { return kPortable; }

}  // namespace wzapp
