#include <algorithm>
#include <bit>
#include <memory>
#include <utility>

#include "workstation/zelipc/json_value.h"

namespace zelipc {
namespace {

// Blocks of 1, 2, 4, 8, 16 and 32 elements, and all others of 64.
constexpr std::size_t kGrowingBlocks = 6;
constexpr std::size_t kLargestBlock = std::size_t{1} << kGrowingBlocks;
constexpr std::size_t kInGrowingBlocks = kLargestBlock - 1;

std::size_t sizeOfBlock(std::size_t block) {
  return std::size_t{1} << std::min(block, kGrowingBlocks);
}

struct Place {
  std::size_t block;
  std::size_t inBlock;
};

Place placeOf(std::size_t index) {
  if (index < kInGrowingBlocks) {
    const std::size_t size = std::bit_floor(index + 1);
    return {static_cast<std::size_t>(std::bit_width(size)) - 1, index + 1 - size};
  }
  const std::size_t further = index - kInGrowingBlocks;
  return {kGrowingBlocks + further / kLargestBlock, further % kLargestBlock};
}

}  // namespace

JSObject::Value::Array::Array(Array&& other) noexcept
    : blocks_(std::move(other.blocks_)), size_(std::exchange(other.size_, 0)) {}

JSObject::Value::Array& JSObject::Value::Array::operator=(Array&& other) noexcept {
  blocks_.swap(other.blocks_);
  std::swap(size_, other.size_);
  return *this;
}

JSObject::Value::Array::~Array() {
  for (std::size_t i = 0; i < size_; ++i) std::destroy_at(cell(i));
}

JSObject::Value::Cell& JSObject::Value::Array::add(unsigned onLevel) {
  const std::size_t block = placeOf(size_).block;
  if (block == blocks_.size()) {
    blocks_.push_back(
        std::make_unique_for_overwrite<std::byte[]>(sizeOfBlock(block) * sizeof(Cell)));
  }
  Cell* const made = new (cell(size_)) Cell(onLevel);
  ++size_;
  return *made;
}

JSObject::Value::Cell* JSObject::Value::Array::cell(std::size_t index) const {
  const Place place = placeOf(index);
  std::byte* const block = blocks_[place.block].get();
  return reinterpret_cast<Cell*>(block + place.inBlock * sizeof(Cell));
}

}  // namespace zelipc
