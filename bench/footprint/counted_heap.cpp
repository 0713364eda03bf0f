#include "bench/footprint/counted_heap.h"

#include <malloc.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<std::size_t> inUse{0};
std::atomic<std::size_t> atStart{0};
std::atomic<std::size_t> highest{0};
std::atomic<std::size_t> allocations{0};

void* taken(void* block) {
  if (block == nullptr) return nullptr;
  ++allocations;
  const std::size_t now = inUse += malloc_usable_size(block);
  for (std::size_t before = highest; before < now;) {
    if (highest.compare_exchange_weak(before, now)) break;
  }
  return block;
}

void given(void* block) {
  if (block != nullptr) inUse -= malloc_usable_size(block);
}

}  // namespace

extern "C" {

// The C library's own, under the names by which it lets itself be replaced.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);

void* malloc(std::size_t size) noexcept { return taken(__libc_malloc(size)); }

void* calloc(std::size_t count, std::size_t size) noexcept {
  return taken(__libc_calloc(count, size));
}

void* realloc(void* block, std::size_t size) noexcept {
  const std::size_t before = block == nullptr ? 0 : malloc_usable_size(block);
  void* const larger = __libc_realloc(block, size);
  if (larger != nullptr || size == 0) inUse -= before;
  return taken(larger);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  return taken(__libc_memalign(alignment, size));
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept {
  *block = taken(__libc_memalign(alignment, size));
  return *block == nullptr ? ENOMEM : 0;
}

void free(void* block) noexcept {
  given(block);
  __libc_free(block);
}

}  // extern "C"

namespace bench {

void startHeapCount() {
  atStart = inUse.load();
  highest = inUse.load();
  allocations = 0;
}

HeapUse heapUse() { return {highest - atStart, allocations}; }

}  // namespace bench
