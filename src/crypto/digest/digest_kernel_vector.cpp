// SHA-1 and SHA-256 with vectors of four words.
//
// The message schedules of different blocks have nothing to do with each other: those of four
// blocks are made side by side, in vectors as the compiler knows them (SSE2 on x86, NEON on ARM).
// The rounds are chains in which each step waits for the one before, and keep a processor half
// busy; where both digests are wanted, their rounds are therefore dealt out alternately.
#include "crypto/digest/digest_kernel.h"

#if defined(__SSE2__) || defined(__ARM_NEON)

#include <cstring>

#include "crypto/big_endian.h"
#include "crypto/digest/digest_rounds.h"
#include "crypto/digest/sha256_constants.h"

namespace wzapp {

namespace {

using FourWords = Word __attribute__((vector_size(16)));

constexpr std::size_t kLanes = 4;  // blocks that a schedule is made for
constexpr std::size_t kSha1Inputs = 80;
constexpr std::size_t kSha256Inputs = 64;

// -- Schedules: what each round takes in, its constant included; one word for each block.

WZAPP_ROUND FourWords loadWords(const std::uint8_t* blocks) {
  return FourWords{loadBigEndian32(blocks), loadBigEndian32(blocks + kDigestBlockSize),
                   loadBigEndian32(blocks + 2 * kDigestBlockSize),
                   loadBigEndian32(blocks + 3 * kDigestBlockSize)};
}

WZAPP_ROUND void loadMessage(const std::uint8_t* blocks, FourWords* w) {
  for (std::size_t i = 0; i < 16; ++i) w[i] = loadWords(blocks + sizeof(Word) * i);
}

WZAPP_ROUND void storeInput(Word* inputs, std::size_t round, FourWords value) {
  std::memcpy(inputs + kLanes * round, &value, sizeof value);
}

// Twenty words, with the constant of their rounds.
template <std::size_t quarter>
WZAPP_ROUND void sha1Words(FourWords* w, Word* inputs) {
  constexpr std::size_t kFirst = 20 * quarter;
  for (std::size_t i = kFirst; i < kFirst + 20; ++i) {
    if (i >= 16) w[i] = rotl<1>(w[i - 3] ^ w[i - 8] ^ w[i - 14] ^ w[i - 16]);
    storeInput(inputs, i, w[i] + kSha1Constants[quarter]);
  }
}

void sha1Schedule(const FourWords* message, Word* inputs) {
  FourWords w[kSha1Inputs];
  std::memcpy(w, message, 16 * sizeof(FourWords));
  sha1Words<0>(w, inputs);
  sha1Words<1>(w, inputs);
  sha1Words<2>(w, inputs);
  sha1Words<3>(w, inputs);
}

void sha256Schedule(const FourWords* message, Word* inputs) {
  FourWords w[kSha256Inputs];
  std::memcpy(w, message, 16 * sizeof(FourWords));
  for (std::size_t i = 0; i < 16; ++i) storeInput(inputs, i, w[i] + kSha256Rounds[i]);
  for (std::size_t i = 16; i < kSha256Inputs; ++i) {
    w[i] = w[i - 16] + w[i - 7] + sha256Sigma0(w[i - 15]) + sha256Sigma1(w[i - 2]);
    storeInput(inputs, i, w[i] + kSha256Rounds[i]);
  }
}

// -- Rounds. The inputs of one block lie as many words apart as there are lanes.

template <Sha1Function function>
WZAPP_ROUND void fiveRounds(Sha1State& s, const Word* in) {
  sha1Round<function>(s.a, s.b, s.c, s.d, s.e, in[0]);
  sha1Round<function>(s.e, s.a, s.b, s.c, s.d, in[kLanes]);
  sha1Round<function>(s.d, s.e, s.a, s.b, s.c, in[2 * kLanes]);
  sha1Round<function>(s.c, s.d, s.e, s.a, s.b, in[3 * kLanes]);
  sha1Round<function>(s.b, s.c, s.d, s.e, s.a, in[4 * kLanes]);
}

template <Sha1Function function>
WZAPP_ROUND void twentyRounds(Sha1State& s, const Word* in) {
  for (int i = 0; i < 4; ++i, in += 5 * kLanes) fiveRounds<function>(s, in);
}

void sha1Rounds(Sha1Words& words, const Word* in) {
  Sha1State s(words);
  twentyRounds<choose>(s, in);
  twentyRounds<parity>(s, in + 20 * kLanes);
  twentyRounds<majority>(s, in + 40 * kLanes);
  twentyRounds<parity>(s, in + 60 * kLanes);
  s.addTo(words);
}

void sha256Rounds(Sha256Words& words, const Word* in) {
  Sha256State t(words);
  for (int i = 0; i < 8; ++i, in += 8 * kLanes) {
    sha256Round(t.a, t.b, t.bc, t.d, t.e, t.f, t.g, t.h, in[0]);
    sha256Round(t.h, t.a, t.bc, t.c, t.d, t.e, t.f, t.g, in[kLanes]);
    sha256Round(t.g, t.h, t.bc, t.b, t.c, t.d, t.e, t.f, in[2 * kLanes]);
    sha256Round(t.f, t.g, t.bc, t.a, t.b, t.c, t.d, t.e, in[3 * kLanes]);
    sha256Round(t.e, t.f, t.bc, t.h, t.a, t.b, t.c, t.d, in[4 * kLanes]);
    sha256Round(t.d, t.e, t.bc, t.g, t.h, t.a, t.b, t.c, in[5 * kLanes]);
    sha256Round(t.c, t.d, t.bc, t.f, t.g, t.h, t.a, t.b, in[6 * kLanes]);
    sha256Round(t.b, t.c, t.bc, t.e, t.f, t.g, t.h, t.a, in[7 * kLanes]);
  }
  t.addTo(words);
}

// Eight rounds of SHA-256 with their share of SHA-1: ten.
template <Sha1Function function>
WZAPP_ROUND void eighteenRounds(Sha1State& s, const Word* in1, Sha256State& t, const Word* in256) {
  sha256Round(t.a, t.b, t.bc, t.d, t.e, t.f, t.g, t.h, in256[0]);
  sha1Round<function>(s.a, s.b, s.c, s.d, s.e, in1[0]);
  sha256Round(t.h, t.a, t.bc, t.c, t.d, t.e, t.f, t.g, in256[kLanes]);
  sha1Round<function>(s.e, s.a, s.b, s.c, s.d, in1[kLanes]);
  sha256Round(t.g, t.h, t.bc, t.b, t.c, t.d, t.e, t.f, in256[2 * kLanes]);
  sha1Round<function>(s.d, s.e, s.a, s.b, s.c, in1[2 * kLanes]);
  sha1Round<function>(s.c, s.d, s.e, s.a, s.b, in1[3 * kLanes]);
  sha256Round(t.f, t.g, t.bc, t.a, t.b, t.c, t.d, t.e, in256[3 * kLanes]);
  sha1Round<function>(s.b, s.c, s.d, s.e, s.a, in1[4 * kLanes]);
  sha256Round(t.e, t.f, t.bc, t.h, t.a, t.b, t.c, t.d, in256[4 * kLanes]);
  sha1Round<function>(s.a, s.b, s.c, s.d, s.e, in1[5 * kLanes]);
  sha256Round(t.d, t.e, t.bc, t.g, t.h, t.a, t.b, t.c, in256[5 * kLanes]);
  sha1Round<function>(s.e, s.a, s.b, s.c, s.d, in1[6 * kLanes]);
  sha256Round(t.c, t.d, t.bc, t.f, t.g, t.h, t.a, t.b, in256[6 * kLanes]);
  sha1Round<function>(s.d, s.e, s.a, s.b, s.c, in1[7 * kLanes]);
  sha1Round<function>(s.c, s.d, s.e, s.a, s.b, in1[8 * kLanes]);
  sha256Round(t.b, t.c, t.bc, t.e, t.f, t.g, t.h, t.a, in256[7 * kLanes]);
  sha1Round<function>(s.b, s.c, s.d, s.e, s.a, in1[9 * kLanes]);
}

template <Sha1Function function>
WZAPP_ROUND void quarter(Sha1State& s, const Word* in1, Sha256State& t, const Word* in256) {
  for (int i = 0; i < 2; ++i, in1 += 10 * kLanes, in256 += 8 * kLanes) {
    eighteenRounds<function>(s, in1, t, in256);
  }
}

void bothRounds(Sha1Words& sha1, const Word* in1, Sha256Words& sha256, const Word* in256) {
  Sha1State s(sha1);
  Sha256State t(sha256);
  quarter<choose>(s, in1, t, in256);
  quarter<parity>(s, in1 + 20 * kLanes, t, in256 + 16 * kLanes);
  quarter<majority>(s, in1 + 40 * kLanes, t, in256 + 32 * kLanes);
  quarter<parity>(s, in1 + 60 * kLanes, t, in256 + 48 * kLanes);
  s.addTo(sha1);
  t.addTo(sha256);
}

// -- Blocks: four at a time; what is left is not worth the vectors.

void takeFourBlocks(Sha1Words& words, const std::uint8_t* blocks) {
  FourWords message[16];
  alignas(FourWords) Word inputs[kLanes * kSha1Inputs];
  loadMessage(blocks, message);
  sha1Schedule(message, inputs);
  for (std::size_t i = 0; i < kLanes; ++i) sha1Rounds(words, inputs + i);
}

void takeFourBlocks(Sha256Words& words, const std::uint8_t* blocks) {
  FourWords message[16];
  alignas(FourWords) Word inputs[kLanes * kSha256Inputs];
  loadMessage(blocks, message);
  sha256Schedule(message, inputs);
  for (std::size_t i = 0; i < kLanes; ++i) sha256Rounds(words, inputs + i);
}

void takeFourBlocks(Sha1Words& sha1, Sha256Words& sha256, const std::uint8_t* blocks) {
  FourWords message[16];
  alignas(FourWords) Word in1[kLanes * kSha1Inputs];
  alignas(FourWords) Word in256[kLanes * kSha256Inputs];
  loadMessage(blocks, message);
  sha1Schedule(message, in1);
  sha256Schedule(message, in256);
  for (std::size_t i = 0; i < kLanes; ++i) bothRounds(sha1, in1 + i, sha256, in256 + i);
}

// `takeRest` is the portable kernel's way.
template <auto takeRest, class... Words>
void take(Words&... words, const std::uint8_t* blocks, std::size_t count) {
  for (; count >= kLanes; count -= kLanes, blocks += kLanes * kDigestBlockSize) {
    takeFourBlocks(words..., blocks);
  }
  (portableDigestKernel().*takeRest)(words..., blocks, count);
}

constexpr DigestKernel kVector = {take<&DigestKernel::sha1, Sha1Words>,
                                  take<&DigestKernel::sha256, Sha256Words>,
                                  take<&DigestKernel::both, Sha1Words, Sha256Words>};

}  // namespace

const DigestKernel* vectorDigestKernel() { return &kVector; }

}  // namespace wzapp

#else

namespace wzapp {

const DigestKernel* vectorDigestKernel() { return nullptr; }

}  // namespace wzapp

#endif
