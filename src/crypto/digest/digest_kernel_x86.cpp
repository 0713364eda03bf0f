// SHA-1 and SHA-256 with the x86 SHA instructions.
//
// A group is four rounds. Each digest is one chain of groups that waits on itself: an instruction
// needs the result of the one before it. Where both digests are wanted, the groups of SHA-1 are
// therefore dealt out between the halves of those of SHA-256, and the chains nearly hide each
// other.
//
// Measured on a processor of 2023: one unit does the rounds of both, takes an instruction every
// third cycle and answers in the fourth. A block has 20 of SHA-1 and 32 of SHA-256, of which 12
// follow their like and wait: 168 cycles at the least. What is short then is room for anything
// beside the rounds, and the instructions for the schedule of SHA-1 take more of it than plain
// ones.
#include "crypto/cpu_features.h"
#include "crypto/digest/digest_kernel.h"
#include "crypto/digest/sha256_constants.h"

#if defined(__x86_64__) || defined(__i386__)

#include <immintrin.h>

#include <utility>

#define WZAPP_SHA_TARGET __attribute__((target("sha,ssse3,sse4.1")))
#define WZAPP_SHA_INLINE __attribute__((target("sha,ssse3,sse4.1"), always_inline)) inline

namespace wzapp {

namespace {

constexpr int kSha1Groups = 20;
constexpr int kSha256Groups = 16;

WZAPP_SHA_INLINE __m128i load(const void* from) {
  return _mm_loadu_si128(static_cast<const __m128i*>(from));
}

WZAPP_SHA_INLINE void store(void* to, __m128i value) {
  _mm_storeu_si128(static_cast<__m128i*>(to), value);
}

// The instructions want the first word of SHA-1 in the highest lane: a, b, c, d from high to low,
// and e alone in the highest lane of its own register.
struct Sha1Lanes {
  __m128i abcd;
  __m128i e;         // at the start of a block
  __m128i previous;  // a, b, c, d before the last group: gives e of the next one
  __m128i w[8];      // the last eight groups of the message schedule
};

WZAPP_SHA_INLINE void loadWords(Sha1Lanes& lanes, const Sha1Words& words) {
  lanes.abcd = _mm_shuffle_epi32(load(words.data()), 0x1b);
  lanes.e = _mm_set_epi32(static_cast<int>(words[4]), 0, 0, 0);
}

WZAPP_SHA_INLINE void storeWords(Sha1Words& words, const Sha1Lanes& lanes) {
  store(words.data(), _mm_shuffle_epi32(lanes.abcd, 0x1b));
  words[4] = static_cast<std::uint32_t>(_mm_extract_epi32(lanes.e, 3));
}

// The high half of `low` below the low half of `high`: what alignr() gives for half a register, by
// an instruction that need not wait for the port of the rounds.
WZAPP_SHA_INLINE __m128i joinHalves(__m128i low, __m128i high) {
  return _mm_castpd_si128(_mm_shuffle_pd(_mm_castsi128_pd(low), _mm_castsi128_pd(high), 1));
}

// The schedule of SHA-1 is w[i] = rotl(w[i-3] ^ w[i-8] ^ w[i-14] ^ w[i-16], 1). Put into itself
// it becomes w[i] = rotl(w[i-6] ^ w[i-16] ^ w[i-28] ^ w[i-32], 2), in which a word no longer needs
// one of its own group.
template <int group>
WZAPP_SHA_INLINE void sha1Schedule(Sha1Lanes& lanes, const std::uint8_t* block) {
  __m128i* const w = lanes.w;
  if constexpr (group < 4) {
    const __m128i reverse = _mm_set_epi64x(0x0001020304050607, 0x08090a0b0c0d0e0f);
    w[group] = _mm_shuffle_epi8(load(block + std::size_t{16} * group), reverse);
  } else if constexpr (group < 8) {
    const __m128i partly =
        _mm_xor_si128(_mm_sha1msg1_epu32(w[group - 4], w[group - 3]), w[group - 2]);
    w[group] = _mm_sha1msg2_epu32(partly, w[group - 1]);
  } else {
    const __m128i sixBefore = joinHalves(w[(group - 1) % 8], w[(group - 2) % 8]);
    const __m128i sum = _mm_xor_si128(_mm_xor_si128(w[group % 8], w[(group - 7) % 8]),
                                      _mm_xor_si128(w[(group - 4) % 8], sixBefore));
    w[group % 8] = _mm_or_si128(_mm_slli_epi32(sum, 2), _mm_srli_epi32(sum, 30));
  }
}

template <int group>
WZAPP_SHA_INLINE void sha1Group(Sha1Lanes& lanes, const std::uint8_t* block) {
  sha1Schedule<group>(lanes, block);
  const __m128i w = lanes.w[group % 8];
  const __m128i input =
      group == 0 ? _mm_add_epi32(lanes.e, w) : _mm_sha1nexte_epu32(lanes.previous, w);
  lanes.previous = lanes.abcd;
  lanes.abcd = _mm_sha1rnds4_epu32(lanes.abcd, input, group / 5);
}

WZAPP_SHA_INLINE void endBlock(Sha1Lanes& lanes, __m128i abcdBefore) {
  lanes.e = _mm_sha1nexte_epu32(lanes.previous, lanes.e);
  lanes.abcd = _mm_add_epi32(lanes.abcd, abcdBefore);
}

// The instructions want the words of SHA-256 as a, b, e, f and c, d, g, h from high to low.
struct Sha256Lanes {
  __m128i abef;
  __m128i cdgh;
  __m128i w[4];  // the last four groups of the message schedule
};

WZAPP_SHA_INLINE void loadWords(Sha256Lanes& lanes, const Sha256Words& words) {
  const __m128i badc = _mm_shuffle_epi32(load(words.data()), 0xb1);
  const __m128i efgh = _mm_shuffle_epi32(load(words.data() + 4), 0x1b);
  lanes.abef = _mm_alignr_epi8(badc, efgh, 8);
  lanes.cdgh = _mm_blend_epi16(efgh, badc, 0xf0);
}

WZAPP_SHA_INLINE void storeWords(Sha256Words& words, const Sha256Lanes& lanes) {
  const __m128i feba = _mm_shuffle_epi32(lanes.abef, 0x1b);
  const __m128i dchg = _mm_shuffle_epi32(lanes.cdgh, 0xb1);
  store(words.data(), _mm_blend_epi16(feba, dchg, 0xf0));
  store(words.data() + 4, _mm_alignr_epi8(dchg, feba, 8));
}

// The schedule of a group and two of its rounds. Returns the input of the rounds.
template <int group>
WZAPP_SHA_INLINE __m128i beginSha256Group(Sha256Lanes& lanes, const std::uint8_t* block) {
  __m128i& w = lanes.w[group % 4];
  if constexpr (group < 4) {
    const __m128i reverseWords = _mm_set_epi64x(0x0c0d0e0f08090a0b, 0x0405060700010203);
    w = _mm_shuffle_epi8(load(block + std::size_t{16} * group), reverseWords);
  } else {
    const __m128i last = lanes.w[(group + 3) % 4];
    w = _mm_sha256msg1_epu32(w, lanes.w[(group + 1) % 4]);
    w = _mm_add_epi32(w, _mm_alignr_epi8(last, lanes.w[(group + 2) % 4], 4));
    w = _mm_sha256msg2_epu32(w, last);
  }
  const __m128i input = _mm_add_epi32(w, load(kSha256Rounds + std::size_t{4} * group));
  lanes.cdgh = _mm_sha256rnds2_epu32(lanes.cdgh, lanes.abef, input);
  return input;
}

WZAPP_SHA_INLINE void endSha256Group(Sha256Lanes& lanes, __m128i input) {
  lanes.abef = _mm_sha256rnds2_epu32(lanes.abef, lanes.cdgh, _mm_shuffle_epi32(input, 0x0e));
}

template <int group>
WZAPP_SHA_INLINE void sha256Group(Sha256Lanes& lanes, const std::uint8_t* block) {
  endSha256Group(lanes, beginSha256Group<group>(lanes, block));
}

WZAPP_SHA_INLINE void endBlock(Sha256Lanes& lanes, __m128i abefBefore, __m128i cdghBefore) {
  lanes.abef = _mm_add_epi32(lanes.abef, abefBefore);
  lanes.cdgh = _mm_add_epi32(lanes.cdgh, cdghBefore);
}

template <int... group>
WZAPP_SHA_INLINE void sha1Block(Sha1Lanes& lanes, const std::uint8_t* block,
                                std::integer_sequence<int, group...>) {
  const __m128i abcd = lanes.abcd;
  (sha1Group<group>(lanes, block), ...);
  endBlock(lanes, abcd);
}

template <int... group>
WZAPP_SHA_INLINE void sha256Block(Sha256Lanes& lanes, const std::uint8_t* block,
                                  std::integer_sequence<int, group...>) {
  const __m128i abef = lanes.abef;
  const __m128i cdgh = lanes.cdgh;
  (sha256Group<group>(lanes, block), ...);
  endBlock(lanes, abef, cdgh);
}

// One group of SHA-256 with its share of SHA-1: five groups fall to four of these steps.
template <int step>
WZAPP_SHA_INLINE void bothStep(Sha1Lanes& sha1, Sha256Lanes& sha256, const std::uint8_t* block) {
  constexpr int first = step * kSha1Groups / kSha256Groups;
  constexpr int last = (step + 1) * kSha1Groups / kSha256Groups - 1;
  const __m128i input = beginSha256Group<step>(sha256, block);
  sha1Group<first>(sha1, block);
  endSha256Group(sha256, input);
  if constexpr (last != first) sha1Group<last>(sha1, block);
}

template <int... step>
WZAPP_SHA_INLINE void bothBlock(Sha1Lanes& sha1, Sha256Lanes& sha256, const std::uint8_t* block,
                                std::integer_sequence<int, step...>) {
  const __m128i abcd = sha1.abcd;
  const __m128i abef = sha256.abef;
  const __m128i cdgh = sha256.cdgh;
  (bothStep<step>(sha1, sha256, block), ...);
  endBlock(sha1, abcd);
  endBlock(sha256, abef, cdgh);
}

WZAPP_SHA_TARGET void sha1Blocks(Sha1Words& words, const std::uint8_t* blocks, std::size_t count) {
  Sha1Lanes lanes;
  loadWords(lanes, words);
  for (; count > 0; --count, blocks += kDigestBlockSize) {
    sha1Block(lanes, blocks, std::make_integer_sequence<int, kSha1Groups>());
  }
  storeWords(words, lanes);
}

WZAPP_SHA_TARGET void sha256Blocks(Sha256Words& words, const std::uint8_t* blocks,
                                   std::size_t count) {
  Sha256Lanes lanes;
  loadWords(lanes, words);
  for (; count > 0; --count, blocks += kDigestBlockSize) {
    sha256Block(lanes, blocks, std::make_integer_sequence<int, kSha256Groups>());
  }
  storeWords(words, lanes);
}

WZAPP_SHA_TARGET void bothBlocks(Sha1Words& sha1Words, Sha256Words& sha256Words,
                                 const std::uint8_t* blocks, std::size_t count) {
  Sha1Lanes sha1;
  Sha256Lanes sha256;
  loadWords(sha1, sha1Words);
  loadWords(sha256, sha256Words);
  for (; count > 0; --count, blocks += kDigestBlockSize) {
    bothBlock(sha1, sha256, blocks, std::make_integer_sequence<int, kSha256Groups>());
  }
  storeWords(sha1Words, sha1);
  storeWords(sha256Words, sha256);
}

constexpr DigestKernel kShaInstructions = {sha1Blocks, sha256Blocks, bothBlocks};

}  // namespace

const DigestKernel* x86ShaDigestKernel() { return cpuFeatures().sha ? &kShaInstructions : nullptr; }

}  // namespace wzapp

#else

namespace wzapp {

const DigestKernel* x86ShaDigestKernel() { return nullptr; }

}  // namespace wzapp

#endif
