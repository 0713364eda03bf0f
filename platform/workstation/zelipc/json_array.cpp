// The elements of a `Value` that is an array.
//
// As it is read or copied, an array is one block that its elements fill. When more come one by one,
// that block stays where it is and others follow, of 4, 8 and 16 elements and all others of 32: in
// one piece they would move.

#include <algorithm>
#include <bit>
#include <memory>
#include <new>
#include <vector>

#include "workstation/zelipc/json_value.h"

namespace zelipc {
namespace {

constexpr std::size_t kSmallestBlock = 4;
constexpr std::size_t kLargestBlock = 32;
constexpr std::size_t kGrowingBlocks = 3;

std::size_t sizeOfBlock(std::size_t block) {
  return kSmallestBlock << std::min(block, kGrowingBlocks);
}

struct Place {
  std::size_t block;
  std::size_t inBlock;
};

// Of the element `index` of those in further blocks.
Place placeOf(std::size_t index) {
  const std::size_t shifted = index + kSmallestBlock;
  if (shifted < kLargestBlock) {
    const std::size_t size = std::bit_floor(shifted);
    const int block = std::countr_zero(size) - std::countr_zero(kSmallestBlock);
    return {static_cast<std::size_t>(block), shifted - size};
  }
  const std::size_t further = shifted - kLargestBlock;
  return {kGrowingBlocks + further / kLargestBlock, further % kLargestBlock};
}

}  // namespace

struct JSObject::Value::GrownArray {
  struct Release {
    void operator()(void* memory) const { ::operator delete(memory); }
  };
  using Block = std::unique_ptr<Cell, Release>;  // room; the cells are their array's

  static Block makeBlock(std::size_t cells) {
    return Block(static_cast<Cell*>(::operator new(cells * sizeof(Cell))));
  }

  Block first;
  std::size_t firstSize;
  std::vector<Block> further;
};

JSObject::Value::Cell* JSObject::Value::cell(std::size_t index) const {
  if (!isLarge_) return content_.cells + index;
  const GrownArray& grown = *content_.grown;
  if (index < grown.firstSize) return grown.first.get() + index;
  const Place place = placeOf(index - grown.firstSize);
  return grown.further[place.block].get() + place.inBlock;
}

JSObject::Value::Cell& JSObject::Value::append() {
  if (count_ == kMaxCount) throw std::bad_alloc();
  if (count_ == 0 && !isLarge_) {
    content_.cells = GrownArray::makeBlock(1).release();
  } else {
    grow();
  }
  Cell* const made = new (cell(count_)) Cell(level + 1U);
  ++count_;
  return *made;
}

// Makes room for one more behind the first block.
void JSObject::Value::grow() {
  if (!isLarge_) {
    auto grown = std::make_unique<GrownArray>();
    grown->firstSize = count_;
    grown->first.reset(content_.cells);
    content_.grown = grown.release();
    isLarge_ = true;
  }
  GrownArray& grown = *content_.grown;
  const std::size_t block = placeOf(count_ - grown.firstSize).block;
  if (block == grown.further.size()) {
    grown.further.push_back(GrownArray::makeBlock(sizeOfBlock(block)));
  }
}

void JSObject::Value::append(std::span<Value> values) {
  if (count_ > 0 || isLarge_) {
    for (Value& value : values) append().value.swap(value);
    return;
  }
  if (values.empty()) return;
  content_.cells = GrownArray::makeBlock(values.size()).release();
  for (Value& value : values) {
    Cell* const made = new (cell(count_)) Cell(level + 1U);
    made->value.swap(value);
    ++count_;
  }
}

void JSObject::Value::fillArray(const Value& source) {
  if (!mayHoldOthers()) return;
  setArray();
  if (source.count_ == 0) return;
  content_.cells = GrownArray::makeBlock(source.count_).release();
  while (count_ < source.count_) {
    Cell* const made = new (cell(count_)) Cell(level + 1U);
    ++count_;
    made->value.fill(source.element(count_ - 1).value);
  }
}

void JSObject::Value::releaseArray() noexcept {
  for (std::size_t i = 0; i < count_; ++i) std::destroy_at(cell(i));
  if (isLarge_) {
    delete content_.grown;
  } else {
    ::operator delete(content_.cells);
  }
}

}  // namespace zelipc
