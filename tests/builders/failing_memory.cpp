#include "tests/builders/failing_memory.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

thread_local int allocationsLeft = 0;  // before one fails; 0: none will
thread_local bool failsForGood = false;
thread_local bool hasFailed = false;

bool mustFail() {
  if (hasFailed && failsForGood) return true;
  if (allocationsLeft == 0 || --allocationsLeft > 0) return false;
  hasFailed = true;
  return true;
}

}  // namespace

namespace wzapp_test {

void failAllocation(int nth, Shortage shortage) {
  allocationsLeft = nth;
  failsForGood = shortage == Shortage::kForGood;
  hasFailed = false;
}

bool endShortage() {
  const bool result = hasFailed;
  failAllocation(0, Shortage::kOnce);
  return result;
}

}  // namespace wzapp_test

void* operator new(std::size_t size) {
  void* const memory = mustFail() ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return mustFail() ? nullptr : std::malloc(size == 0 ? 1 : size);
}

// As the standard library has them; a sanitizer would have its own.
void* operator new[](std::size_t size) { return operator new(size); }

void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
}

void operator delete[](void* memory) noexcept { operator delete(memory); }

void operator delete[](void* memory, std::size_t) noexcept { operator delete(memory); }

void operator delete(void* memory) noexcept { std::free(memory); }

void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
