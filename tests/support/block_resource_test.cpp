#include "support/block_resource.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

namespace wzapp {
namespace {

// As much as types have without one of their own.
constexpr std::size_t kAlignment = alignof(std::max_align_t);

struct Piece {
  unsigned char* octets;
  std::size_t size;
  unsigned char filling;
};

bool isWhole(const Piece& piece) {
  for (std::size_t i = 0; i < piece.size; ++i) {
    if (piece.octets[i] != piece.filling) return false;
  }
  return true;
}

Piece take(BlockResource& resource, std::size_t size, std::size_t alignment, int filling) {
  auto* const octets = static_cast<unsigned char*>(resource.allocate(size, alignment));
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(octets) % alignment, 0U);
  const auto octet = static_cast<unsigned char>(filling);
  std::memset(octets, octet, size);
  return {octets, size, octet};
}

TEST(BlockResourceTest, PiecesOfAllSizesStandApartAndAligned) {
  BlockResource resource;
  std::vector<Piece> pieces;
  for (int i = 1; i <= 2000; ++i) {
    const std::size_t alignment = std::min(std::size_t{1} << (i % 5), kAlignment);
    pieces.push_back(take(resource, static_cast<std::size_t>(i) % 300 + 1, alignment, i % 256));
  }

  for (const Piece& piece : pieces) EXPECT_TRUE(isWhole(piece));
}

TEST(BlockResourceTest, GivesPiecesThatAreLargerThanABlock) {
  BlockResource resource;
  std::vector<Piece> pieces;
  for (const std::size_t size :
       {std::size_t{1}, BlockResource::kLargestPiece, BlockResource::kLargestPiece + 1,
        BlockResource::kLargestBlock, std::size_t{1} << 20, std::size_t{1}}) {
    pieces.push_back(take(resource, size, kAlignment, static_cast<int>(pieces.size())));
  }

  for (const Piece& piece : pieces) EXPECT_TRUE(isWhole(piece));
}

TEST(BlockResourceTest, ALargePieceLeavesWhatWasFreeBeforeIt) {
  BlockResource resource;
  const Piece before = take(resource, 16, kAlignment, 1);

  take(resource, BlockResource::kLargestPiece + 1, kAlignment, 2);

  EXPECT_EQ(take(resource, 16, kAlignment, 3).octets, before.octets + 16);
}

TEST(BlockResourceTest, HasNoPieceThatNoMemoryHolds) {
  BlockResource resource;
  // Compilers that know a size refuse such a call.
  for (volatile std::size_t size : {SIZE_MAX, SIZE_MAX - 1}) {
    EXPECT_THROW(static_cast<void>(resource.allocate(size, 1)), std::bad_alloc);
  }
}

// The place of the first piece tells where memory comes from.
TEST(BlockResourceTest, BeginsAgainOnceItIsReleased) {
  BlockResource resource;
  const Piece first = take(resource, 16, kAlignment, 1);
  for (int i = 0; i < 100; ++i) take(resource, BlockResource::kFirstSize, 1, i);

  resource.release();

  EXPECT_EQ(take(resource, 16, kAlignment, 2).octets, first.octets);
}

TEST(BlockResourceTest, IsEqualToItselfAlone) {
  const BlockResource one{};
  const BlockResource other{};

  EXPECT_TRUE(one.is_equal(one));
  EXPECT_FALSE(one.is_equal(other));
}

}  // namespace
}  // namespace wzapp
