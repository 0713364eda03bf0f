// SHA-1 and SHA-256 in plain C++, for every processor.
//
// One block after the other and, where both digests are wanted, one digest after the other: sixteen
// registers have room for the state of one of them. Of the schedule the last sixteen words are
// kept; each is renewed by the round that takes it in.
#include <utility>

#include "crypto/big_endian.h"
#include "crypto/digest/digest_kernel.h"
#include "crypto/digest/digest_rounds.h"
#include "crypto/digest/sha256_constants.h"

namespace wzapp {

namespace {

constexpr int kWindow = 16;  // words of the schedule, and of a block

WZAPP_ROUND Word messageWord(const std::uint8_t* block, int i) {
  return loadBigEndian32(block + sizeof(Word) * static_cast<std::size_t>(i));
}

// -- SHA-1

template <int round>
WZAPP_ROUND Word sha1Input(Word* w, const std::uint8_t* block) {
  constexpr int i = round % kWindow;
  if constexpr (round < kWindow) {
    w[i] = messageWord(block, i);
  } else {
    w[i] = rotl<1>(w[(i + 13) % kWindow] ^ w[(i + 8) % kWindow] ^ w[(i + 2) % kWindow] ^ w[i]);
  }
  return w[i] + kSha1Constants[round / 20];
}

template <int group>
WZAPP_ROUND void fiveRounds(Sha1State& s, Word* w, const std::uint8_t* block) {
  constexpr Sha1Function function = kSha1Functions[group / 4];
  sha1Round<function>(s.a, s.b, s.c, s.d, s.e, sha1Input<5 * group>(w, block));
  sha1Round<function>(s.e, s.a, s.b, s.c, s.d, sha1Input<5 * group + 1>(w, block));
  sha1Round<function>(s.d, s.e, s.a, s.b, s.c, sha1Input<5 * group + 2>(w, block));
  sha1Round<function>(s.c, s.d, s.e, s.a, s.b, sha1Input<5 * group + 3>(w, block));
  sha1Round<function>(s.b, s.c, s.d, s.e, s.a, sha1Input<5 * group + 4>(w, block));
}

template <int... group>
WZAPP_ROUND void eightyRounds(Sha1State& s, const std::uint8_t* block,
                              std::integer_sequence<int, group...>) {
  Word w[kWindow];
  (fiveRounds<group>(s, w, block), ...);
}

void takeBlocks(Sha1Words& words, const std::uint8_t* blocks, std::size_t count) {
  for (; count > 0; --count, blocks += kDigestBlockSize) {
    Sha1State s(words);
    eightyRounds(s, blocks, std::make_integer_sequence<int, 16>());
    s.addTo(words);
  }
}

// -- SHA-256

template <int i, bool inMessage>
WZAPP_ROUND Word sha256Input(Word* w, const std::uint8_t* block, const Word* constants) {
  if constexpr (inMessage) {
    w[i] = messageWord(block, i);
  } else {
    w[i] += sha256Sigma0(w[(i + 1) % kWindow]) + w[(i + 9) % kWindow] +
            sha256Sigma1(w[(i + 14) % kWindow]);
  }
  return w[i] + constants[i];
}

template <int i, bool inMessage>
WZAPP_ROUND void eightRounds(Sha256State& t, Word* w, const std::uint8_t* block,
                             const Word* constants) {
  sha256Round(t.a, t.b, t.bc, t.d, t.e, t.f, t.g, t.h,
              sha256Input<i + 0, inMessage>(w, block, constants));
  sha256Round(t.h, t.a, t.bc, t.c, t.d, t.e, t.f, t.g,
              sha256Input<i + 1, inMessage>(w, block, constants));
  sha256Round(t.g, t.h, t.bc, t.b, t.c, t.d, t.e, t.f,
              sha256Input<i + 2, inMessage>(w, block, constants));
  sha256Round(t.f, t.g, t.bc, t.a, t.b, t.c, t.d, t.e,
              sha256Input<i + 3, inMessage>(w, block, constants));
  sha256Round(t.e, t.f, t.bc, t.h, t.a, t.b, t.c, t.d,
              sha256Input<i + 4, inMessage>(w, block, constants));
  sha256Round(t.d, t.e, t.bc, t.g, t.h, t.a, t.b, t.c,
              sha256Input<i + 5, inMessage>(w, block, constants));
  sha256Round(t.c, t.d, t.bc, t.f, t.g, t.h, t.a, t.b,
              sha256Input<i + 6, inMessage>(w, block, constants));
  sha256Round(t.b, t.c, t.bc, t.e, t.f, t.g, t.h, t.a,
              sha256Input<i + 7, inMessage>(w, block, constants));
}

template <bool inMessage>
WZAPP_ROUND void sixteenRounds(Sha256State& t, Word* w, const std::uint8_t* block,
                               const Word* constants) {
  eightRounds<0, inMessage>(t, w, block, constants);
  eightRounds<8, inMessage>(t, w, block, constants);
}

void takeBlocks(Sha256Words& words, const std::uint8_t* blocks, std::size_t count) {
  for (; count > 0; --count, blocks += kDigestBlockSize) {
    Word w[kWindow];
    Sha256State t(words);
    sixteenRounds<true>(t, w, blocks, kSha256Rounds);
    for (int first = kWindow; first < 64; first += kWindow) {
      sixteenRounds<false>(t, w, blocks, kSha256Rounds + first);
    }
    t.addTo(words);
  }
}

void takeBlocksInBoth(Sha1Words& sha1, Sha256Words& sha256, const std::uint8_t* blocks,
                      std::size_t count) {
  takeBlocks(sha1, blocks, count);
  takeBlocks(sha256, blocks, count);
}

constexpr DigestKernel kPortable = {takeBlocks, takeBlocks, takeBlocksInBoth};

}  // namespace

const DigestKernel& portableDigestKernel() { return kPortable; }

}  // namespace wzapp
