// SHA-1 and SHA-256 with the instructions that ARMv8 has for them, in both of its states (AArch64
// and AArch32).
//
// A group is four rounds. Each digest is one chain of groups that waits on itself: an instruction
// needs the result of the one before it. Where both digests are wanted, the groups of SHA-1 are
// therefore dealt out between those of SHA-256. Both then take 4.0 instructions an octet in AArch32
// and 3.7 in AArch64 (bench/instructions).
#include "crypto/cpu_features.h"
#include "crypto/digest/digest_kernel.h"
#include "crypto/digest/digest_rounds.h"
#include "crypto/digest/sha256_constants.h"

// The intrinsics of arm_neon.h are there for functions of any target with g++; with clang only
// where the whole build is for such processors.
#if defined(__ARM_BIG_ENDIAN)
#define WZAPP_ARM_SHA 0
#elif defined(__aarch64__) && !defined(__clang__)
#define WZAPP_ARM_SHA 1
#define WZAPP_SHA_TARGET __attribute__((target("+crypto")))
#elif defined(__arm__) && __ARM_ARCH >= 7 && defined(__ARM_FP) && !defined(__clang__)
#define WZAPP_ARM_SHA 1
#define WZAPP_SHA_TARGET __attribute__((target("fpu=crypto-neon-fp-armv8")))
#elif defined(__ARM_FEATURE_CRYPTO)
#define WZAPP_ARM_SHA 1
#define WZAPP_SHA_TARGET
#else
#define WZAPP_ARM_SHA 0
#endif

#if WZAPP_ARM_SHA

#include <arm_neon.h>

#include <utility>

#define WZAPP_SHA_INLINE WZAPP_SHA_TARGET __attribute__((always_inline)) inline

namespace wzapp {

namespace {

constexpr int kSha1Groups = 20;
constexpr int kSha256Groups = 16;
constexpr int kWordsOfGroup = 4;

// Sixteen octets of the message: one group of the schedule.
WZAPP_SHA_INLINE uint32x4_t loadMessage(const std::uint8_t* octets) {
  return vreinterpretq_u32_u8(vrev32q_u8(vld1q_u8(octets)));
}

// The rounds of SHA-1 take the word e in the lowest lane of a register. The intrinsics have it as a
// number; g++ for AArch32 then brings it to an ordinary register and back in every group, which are
// two instructions in five. So they are spelt out there.
#if defined(__aarch64__)

using LowestLane = std::uint32_t;

WZAPP_SHA_INLINE LowestLane fromWord(std::uint32_t word) { return word; }
WZAPP_SHA_INLINE std::uint32_t toWord(LowestLane lane) { return lane; }

// What becomes e in the next group: the first word, turned.
WZAPP_SHA_INLINE LowestLane nextE(uint32x4_t abcd) { return vsha1h_u32(vgetq_lane_u32(abcd, 0)); }

WZAPP_SHA_INLINE uint32x4_t roundsOfChoose(uint32x4_t abcd, LowestLane e, uint32x4_t input) {
  return vsha1cq_u32(abcd, e, input);
}
WZAPP_SHA_INLINE uint32x4_t roundsOfParity(uint32x4_t abcd, LowestLane e, uint32x4_t input) {
  return vsha1pq_u32(abcd, e, input);
}
WZAPP_SHA_INLINE uint32x4_t roundsOfMajority(uint32x4_t abcd, LowestLane e, uint32x4_t input) {
  return vsha1mq_u32(abcd, e, input);
}

#else

using LowestLane = uint32x4_t;

WZAPP_SHA_INLINE LowestLane fromWord(std::uint32_t word) { return vdupq_n_u32(word); }
WZAPP_SHA_INLINE std::uint32_t toWord(LowestLane lane) { return vgetq_lane_u32(lane, 0); }

WZAPP_SHA_INLINE LowestLane nextE(uint32x4_t abcd) {
  LowestLane e;
  __asm__("sha1h.32 %q0, %q1" : "=w"(e) : "w"(abcd));
  return e;
}

WZAPP_SHA_INLINE uint32x4_t roundsOfChoose(uint32x4_t abcd, LowestLane e, uint32x4_t input) {
  __asm__("sha1c.32 %q0, %q1, %q2" : "+w"(abcd) : "w"(e), "w"(input));
  return abcd;
}
WZAPP_SHA_INLINE uint32x4_t roundsOfParity(uint32x4_t abcd, LowestLane e, uint32x4_t input) {
  __asm__("sha1p.32 %q0, %q1, %q2" : "+w"(abcd) : "w"(e), "w"(input));
  return abcd;
}
WZAPP_SHA_INLINE uint32x4_t roundsOfMajority(uint32x4_t abcd, LowestLane e, uint32x4_t input) {
  __asm__("sha1m.32 %q0, %q1, %q2" : "+w"(abcd) : "w"(e), "w"(input));
  return abcd;
}

#endif

struct Sha1Lanes {
  uint32x4_t abcd;
  LowestLane e;
  uint32x4_t w[4];  // the last four groups of the message schedule
};

WZAPP_SHA_INLINE void loadWords(Sha1Lanes& lanes, const Sha1Words& words) {
  lanes.abcd = vld1q_u32(words.data());
  lanes.e = fromWord(words[4]);
}

template <int group>
WZAPP_SHA_INLINE void sha1Group(Sha1Lanes& lanes, const std::uint8_t* block) {
  constexpr int kQuarter = group / 5;
  uint32x4_t* const w = lanes.w;
  if constexpr (group < 4) {
    w[group] = loadMessage(block + std::size_t{16} * group);
  } else {
    w[group % 4] = vsha1su1q_u32(
        vsha1su0q_u32(w[group % 4], w[(group + 1) % 4], w[(group + 2) % 4]), w[(group + 3) % 4]);
  }
  const uint32x4_t input = vaddq_u32(w[group % 4], vdupq_n_u32(kSha1Constants[kQuarter]));
  const LowestLane e = nextE(lanes.abcd);
  if constexpr (kQuarter == 0) {
    lanes.abcd = roundsOfChoose(lanes.abcd, lanes.e, input);
  } else if constexpr (kQuarter == 2) {
    lanes.abcd = roundsOfMajority(lanes.abcd, lanes.e, input);
  } else {
    lanes.abcd = roundsOfParity(lanes.abcd, lanes.e, input);
  }
  lanes.e = e;
}

struct Sha256Lanes {
  uint32x4_t abcd;
  uint32x4_t efgh;
  uint32x4_t w[4];                 // the last four groups of the message schedule
  const std::uint32_t* constants;  // of the next group
};

WZAPP_SHA_INLINE void loadWords(Sha256Lanes& lanes, const Sha256Words& words) {
  lanes.abcd = vld1q_u32(words.data());
  lanes.efgh = vld1q_u32(words.data() + kWordsOfGroup);
  lanes.constants = kSha256Rounds;
}

template <int group>
WZAPP_SHA_INLINE void sha256Group(Sha256Lanes& lanes, const std::uint8_t* block) {
  uint32x4_t* const w = lanes.w;
  if constexpr (group < 4) {
    w[group] = loadMessage(block + std::size_t{16} * group);
  } else {
    w[group % 4] = vsha256su1q_u32(vsha256su0q_u32(w[group % 4], w[(group + 1) % 4]),
                                   w[(group + 2) % 4], w[(group + 3) % 4]);
  }
  const uint32x4_t input = vaddq_u32(w[group % 4], vld1q_u32(lanes.constants));
  lanes.constants += kWordsOfGroup;
  // The compiler must not know where that is, or it loads the constants of all groups in advance,
  // for which there are no registers.
  __asm__ volatile("" : "+r"(lanes.constants));
  const uint32x4_t abcd = lanes.abcd;
  lanes.abcd = vsha256hq_u32(abcd, lanes.efgh, input);
  lanes.efgh = vsha256h2q_u32(lanes.efgh, abcd, input);
}

// One group of SHA-256 with its share of SHA-1: five groups fall to four of these steps.
template <int step>
WZAPP_SHA_INLINE void bothStep(Sha1Lanes& sha1, Sha256Lanes& sha256, const std::uint8_t* block) {
  constexpr int first = step * kSha1Groups / kSha256Groups;
  constexpr int last = (step + 1) * kSha1Groups / kSha256Groups - 1;
  sha1Group<first>(sha1, block);
  sha256Group<step>(sha256, block);
  if constexpr (last != first) sha1Group<last>(sha1, block);
}

// The words of a digest before a block stay in memory, where they are added to in the end: AArch32
// has no registers to spare for them.
WZAPP_SHA_INLINE void addToWords(Sha1Words& words, const Sha1Lanes& lanes) {
  vst1q_u32(words.data(), vaddq_u32(vld1q_u32(words.data()), lanes.abcd));
  words[4] += toWord(lanes.e);
}

WZAPP_SHA_INLINE void addToWords(Sha256Words& words, const Sha256Lanes& lanes) {
  vst1q_u32(words.data(), vaddq_u32(vld1q_u32(words.data()), lanes.abcd));
  std::uint32_t* const second = words.data() + kWordsOfGroup;
  vst1q_u32(second, vaddq_u32(vld1q_u32(second), lanes.efgh));
}

template <int... group>
WZAPP_SHA_INLINE void sha1Block(Sha1Words& words, const std::uint8_t* block,
                                std::integer_sequence<int, group...>) {
  Sha1Lanes lanes;
  loadWords(lanes, words);
  (sha1Group<group>(lanes, block), ...);
  addToWords(words, lanes);
}

template <int... group>
WZAPP_SHA_INLINE void sha256Block(Sha256Words& words, const std::uint8_t* block,
                                  std::integer_sequence<int, group...>) {
  Sha256Lanes lanes;
  loadWords(lanes, words);
  (sha256Group<group>(lanes, block), ...);
  addToWords(words, lanes);
}

template <int... step>
WZAPP_SHA_INLINE void bothBlock(Sha1Words& sha1Words, Sha256Words& sha256Words,
                                const std::uint8_t* block, std::integer_sequence<int, step...>) {
  Sha1Lanes sha1;
  Sha256Lanes sha256;
  loadWords(sha1, sha1Words);
  loadWords(sha256, sha256Words);
  (bothStep<step>(sha1, sha256, block), ...);
  addToWords(sha1Words, sha1);
  addToWords(sha256Words, sha256);
}

WZAPP_SHA_TARGET void sha1Blocks(Sha1Words& words, const std::uint8_t* blocks, std::size_t count) {
  for (; count > 0; --count, blocks += kDigestBlockSize) {
    sha1Block(words, blocks, std::make_integer_sequence<int, kSha1Groups>());
  }
}

WZAPP_SHA_TARGET void sha256Blocks(Sha256Words& words, const std::uint8_t* blocks,
                                   std::size_t count) {
  for (; count > 0; --count, blocks += kDigestBlockSize) {
    sha256Block(words, blocks, std::make_integer_sequence<int, kSha256Groups>());
  }
}

WZAPP_SHA_TARGET void bothBlocks(Sha1Words& sha1, Sha256Words& sha256, const std::uint8_t* blocks,
                                 std::size_t count) {
  for (; count > 0; --count, blocks += kDigestBlockSize) {
    bothBlock(sha1, sha256, blocks, std::make_integer_sequence<int, kSha256Groups>());
  }
}

constexpr DigestKernel kShaInstructions = {sha1Blocks, sha256Blocks, bothBlocks};

}  // namespace

const DigestKernel* armShaDigestKernel() { return cpuFeatures().sha ? &kShaInstructions : nullptr; }

}  // namespace wzapp

#else

namespace wzapp {

const DigestKernel* armShaDigestKernel() { return nullptr; }

}  // namespace wzapp

#endif
