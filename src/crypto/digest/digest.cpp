#include "crypto/digest/digest.h"

#include <algorithm>
#include <cstring>

#include "crypto/big_endian.h"

namespace wzapp {

namespace {

constexpr Sha1Words kSha1Start = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476, 0xc3d2e1f0};

constexpr Sha256Words kSha256Start = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                      0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};

constexpr std::size_t kLengthOffset = 56;  // of the 64-bit length in the last block

void compress(Sha1Words& words, const std::uint8_t* blocks, std::size_t count) {
  digestKernel().sha1(words, blocks, count);
}

void compress(Sha256Words& words, const std::uint8_t* blocks, std::size_t count) {
  digestKernel().sha256(words, blocks, count);
}

template <class Words>
void start(DigestContext<Words>* context, const Words& words) {
  if (context == nullptr) return;
  context->words = words;
  context->bitsLow = 0;
  context->bitsHigh = 0;
  context->fill = 0;
  context->computed = 0;
  context->corrupted = kContextSound;
}

template <class Words>
bool takesData(const DigestContext<Words>& context) {
  return context.computed == 0 && context.corrupted == kContextSound;
}

template <class Words>
void countBits(DigestContext<Words>& context, std::size_t octets) {
  const std::uint64_t before = std::uint64_t{context.bitsHigh} << 32 | context.bitsLow;
  const std::uint64_t after = before + std::uint64_t{octets} * 8;
  context.bitsLow = static_cast<std::uint32_t>(after);
  context.bitsHigh = static_cast<std::uint32_t>(after >> 32);
  if (after < before) context.corrupted = kContextInputTooLong;
}

// Appends octets that do not reach beyond the block under way.
template <class Words>
void addToBlock(DigestContext<Words>& context, ByteView data) {
  if (data.empty()) return;
  std::memcpy(context.block.data() + context.fill, data.data(), data.size());
  context.fill = static_cast<std::uint16_t>(context.fill + data.size());
  if (context.fill < kDigestBlockSize) return;
  compress(context.words, context.block.data(), 1);
  context.fill = 0;
}

// How much of `data` it takes to end the block under way; none when no block is.
template <class Words>
std::size_t headSize(const DigestContext<Words>& context, ByteView data) {
  if (context.fill == 0) return 0;
  return std::min(kDigestBlockSize - context.fill, data.size());
}

template <class Words>
void add(DigestContext<Words>* context, ByteView data) {
  if (context == nullptr || data.data() == nullptr || data.empty()) return;
  if (context->computed != 0) context->corrupted = kContextFinished;
  if (!takesData(*context)) return;

  countBits(*context, data.size());
  const std::size_t head = headSize(*context, data);
  addToBlock(*context, data.first(head));
  data = data.subspan(head);
  const std::size_t blocks = data.size() / kDigestBlockSize;
  if (blocks > 0) compress(context->words, data.data(), blocks);
  addToBlock(*context, data.subspan(blocks * kDigestBlockSize));
}

// Whether the blocks of both end at the same octet of the data that comes next.
bool inStep(const Sha1Context& sha1, const Sha256Context& sha256) {
  return takesData(sha1) && takesData(sha256) && sha1.fill == sha256.fill;
}

template <class Words>
void padAndCompress(DigestContext<Words>& context) {
  std::uint8_t* const block = context.block.data();
  block[context.fill] = 0x80;
  std::fill(block + context.fill + 1, block + kDigestBlockSize, std::uint8_t{0});
  if (context.fill >= kLengthOffset) {
    compress(context.words, block, 1);
    std::fill(block, block + kLengthOffset, std::uint8_t{0});
  }
  storeBigEndian32(block + kLengthOffset, context.bitsHigh);
  storeBigEndian32(block + kLengthOffset + 4, context.bitsLow);
  compress(context.words, block, 1);
}

template <class Words>
void finish(DigestContext<Words>* context, std::uint8_t* output) {
  if (context == nullptr || output == nullptr || context->corrupted != kContextSound) return;
  if (context->computed == 0) {
    padAndCompress(*context);
    context->block.fill(0);
    context->fill = 0;
    context->bitsLow = 0;
    context->bitsHigh = 0;
    context->computed = 1;
  }
  for (const std::uint32_t word : context->words) {
    storeBigEndian32(output, word);
    output += 4;
  }
}

template <class Context>
void digestAtOnce(ByteView data, std::uint8_t* output) {
  Context context;
  digestStart(&context);
  digestAdd(&context, data);
  digestFinish(&context, output);
}

struct DigestRule {
  std::string_view oid;
  std::size_t size;
  void (*digest)(ByteView data, std::uint8_t* output);
};

constexpr DigestRule kDigestRules[] = {
    {kSha256Oid, kSha256Size, digestAtOnce<Sha256Context>},
    {kSha1Oid, kSha1Size, digestAtOnce<Sha1Context>},
};

const DigestRule* findDigest(std::string_view oid) {
  for (const DigestRule& rule : kDigestRules) {
    if (rule.oid == oid) return &rule;
  }
  return nullptr;
}

}  // namespace

void digestStart(Sha1Context* context) { start(context, kSha1Start); }
void digestStart(Sha256Context* context) { start(context, kSha256Start); }

void digestAdd(Sha1Context* context, ByteView data) { add(context, data); }
void digestAdd(Sha256Context* context, ByteView data) { add(context, data); }

void digestFinish(Sha1Context* context, std::uint8_t* output) { finish(context, output); }
void digestFinish(Sha256Context* context, std::uint8_t* output) { finish(context, output); }

void digestAdd(Sha1Context* sha1, Sha256Context* sha256, ByteView data) {
  if (sha1 == nullptr || sha256 == nullptr || data.data() == nullptr || !inStep(*sha1, *sha256)) {
    add(sha1, data);
    add(sha256, data);
    return;
  }
  countBits(*sha1, data.size());
  countBits(*sha256, data.size());
  // The blocks under way may differ although they are equally full, so each is ended by itself.
  const std::size_t head = headSize(*sha1, data);
  addToBlock(*sha1, data.first(head));
  addToBlock(*sha256, data.first(head));
  data = data.subspan(head);
  const std::size_t blocks = data.size() / kDigestBlockSize;
  if (blocks > 0) digestKernel().both(sha1->words, sha256->words, data.data(), blocks);
  data = data.subspan(blocks * kDigestBlockSize);
  addToBlock(*sha1, data);
  addToBlock(*sha256, data);
}

std::size_t digestSize(std::string_view oid) {
  const DigestRule* const rule = findDigest(oid);
  return rule == nullptr ? 0 : rule->size;
}

int digestByOid(std::string_view oid, ByteView data, std::uint8_t* output) {
  const DigestRule* const rule = findDigest(oid);
  if (rule == nullptr) return kUnknownDigest;
  rule->digest(data, output);
  return 0;
}

}  // namespace wzapp
