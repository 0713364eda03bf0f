// Memory for RapidJSON's stacks and buffers. RapidJSON does not look at what an allocator returns,
// so one that has nothing must throw.
#ifndef WORKSTATION_ZELIPC_JSON_ALLOCATOR_H
#define WORKSTATION_ZELIPC_JSON_ALLOCATOR_H

#include <cstddef>
#include <cstdlib>
#include <new>

namespace workstation {

/// RapidJSON's allocator concept over malloc; throws std::bad_alloc.
class JsonAllocator {
 public:
  static constexpr bool kNeedFree = true;

  void* Malloc(std::size_t size) { return Realloc(nullptr, 0, size); }

  void* Realloc(void* memory, std::size_t /*oldSize*/, std::size_t newSize) {
    if (newSize == 0) {
      std::free(memory);
      return nullptr;
    }
    void* const moved = std::realloc(memory, newSize);
    if (moved == nullptr) throw std::bad_alloc();
    return moved;
  }

  static void Free(void* memory) { std::free(memory); }
};

}  // namespace workstation

#endif  // WORKSTATION_ZELIPC_JSON_ALLOCATOR_H
