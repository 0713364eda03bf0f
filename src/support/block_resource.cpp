#include "support/block_resource.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

namespace wzapp {

void BlockResource::release() {
  while (last_ != nullptr) ::operator delete(std::exchange(last_, last_->before));
  blockSize_ = kFirstSize;
  free_ = first_.data();
  freeSize_ = kFirstSize;
}

void* BlockResource::do_allocate(std::size_t octets, std::size_t alignment) {
  if (octets > kLargestPiece) return addOwnBlock(octets);
  if (std::align(alignment, octets, free_, freeSize_) == nullptr) addBlock();
  void* const place = free_;
  free_ = static_cast<std::byte*>(free_) + octets;
  freeSize_ -= octets;
  return place;
}

void BlockResource::addBlock() {
  const std::size_t size = std::min(2 * blockSize_, kLargestBlock);
  last_ = new (::operator new(size)) Block{last_};
  blockSize_ = size;
  free_ = last_ + 1;
  freeSize_ = size - sizeof(Block);
}

void* BlockResource::addOwnBlock(std::size_t octets) {
  if (octets > SIZE_MAX - sizeof(Block)) throw std::bad_alloc();
  last_ = new (::operator new(sizeof(Block) + octets)) Block{last_};
  return last_ + 1;
}

void BlockResource::do_deallocate(void* /*memory*/, std::size_t /*octets*/,
                                  std::size_t /*alignment*/) {}

bool BlockResource::do_is_equal(const std::pmr::memory_resource& other) const noexcept {
  return this == &other;
}

}  // namespace wzapp
