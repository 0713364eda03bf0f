// Memory for containers that only grow, in blocks of bounded size.
#ifndef WZAPP_SUPPORT_BLOCK_RESOURCE_H
#define WZAPP_SUPPORT_BLOCK_RESOURCE_H

#include <array>
#include <cstddef>
#include <memory_resource>

namespace wzapp {

// Gives back nothing before all of it. The first kFirstSize octets are part of the object and cost
// no allocation; further memory comes from the heap in blocks of which each is twice as large as
// the one before, up to kLargestBlock octets, so that what is not in use stays small. The standard
// library's own resource asks for half as much again each time, without a limit, and by the
// operator for aligned memory, which a host that replaces operator new, to count or to limit,
// seldom replaces with it.
//
// A piece of more than kLargestPiece octets has a block of its own, and what is left of the one
// before it is still used. For types without an alignment of their own. The only exception is
// std::bad_alloc. For one thread at a time.
class BlockResource final : public std::pmr::memory_resource {
 public:
  static constexpr std::size_t kFirstSize = 1024;
  static constexpr std::size_t kLargestBlock = 16384;
  static constexpr std::size_t kLargestPiece = kFirstSize;

  BlockResource() = default;
  BlockResource(const BlockResource&) = delete;
  BlockResource& operator=(const BlockResource&) = delete;
  ~BlockResource() override { release(); }

  // Gives all memory back, whatever is still in it.
  void release();

 private:
  // What a block begins with.
  struct alignas(std::max_align_t) Block {
    Block* before;
  };

  void* do_allocate(std::size_t octets, std::size_t alignment) override;
  void do_deallocate(void* memory, std::size_t octets, std::size_t alignment) override;
  [[nodiscard]] bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override;

  void addBlock();
  void* addOwnBlock(std::size_t octets);

  alignas(std::max_align_t) std::array<std::byte, kFirstSize> first_;
  Block* last_ = nullptr;
  std::size_t blockSize_ = kFirstSize;  // of the last block that is for several pieces
  void* free_ = first_.data();
  std::size_t freeSize_ = kFirstSize;
};

}  // namespace wzapp

#endif  // WZAPP_SUPPORT_BLOCK_RESOURCE_H
