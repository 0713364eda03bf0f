#include "tests/platform/zelipc/failing_allocation.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace zelipc_test {

thread_local int allocationsLeft = kNever;

namespace {

bool allocationFails() {
  if (allocationsLeft == kNever) return false;
  if (allocationsLeft == 0) {
    allocationsLeft = kNever;
    return true;
  }
  --allocationsLeft;
  return false;
}

}  // namespace
}  // namespace zelipc_test

extern "C" {
void* __real_realloc(void* memory, std::size_t size);
void* __wrap_realloc(void* memory, std::size_t size) {
  return zelipc_test::allocationFails() ? nullptr : __real_realloc(memory, size);
}
}

void* operator new(std::size_t size) {
  void* const memory = zelipc_test::allocationFails() ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
