#include "tests/builders/failing_memory.h"

#include <malloc.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

thread_local int allocationsLeft = 0;  // before one fails; 0: none will
thread_local bool failsForGood = false;
thread_local bool hasFailed = false;
thread_local std::ptrdiff_t held = 0;  // octets, since they are counted
thread_local std::ptrdiff_t most = 0;

bool mustFail() {
  if (hasFailed && failsForGood) return true;
  if (allocationsLeft == 0 || --allocationsLeft > 0) return false;
  hasFailed = true;
  return true;
}

void* take(std::size_t size) {
  void* const memory = mustFail() ? nullptr : std::malloc(size == 0 ? 1 : size);
  held += static_cast<std::ptrdiff_t>(malloc_usable_size(memory));
  most = std::max(most, held);
  return memory;
}

void giveBack(void* memory) {
  held -= static_cast<std::ptrdiff_t>(malloc_usable_size(memory));
  std::free(memory);
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

void countMemory() { held = most = 0; }

std::size_t mostMemory() { return static_cast<std::size_t>(most); }

}  // namespace wzapp_test

void* operator new(std::size_t size) {
  void* const memory = take(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return take(size); }

// As the standard library has them; a sanitizer would have its own.
void* operator new[](std::size_t size) { return operator new(size); }

void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
}

void operator delete[](void* memory) noexcept { operator delete(memory); }

void operator delete[](void* memory, std::size_t) noexcept { operator delete(memory); }

void operator delete(void* memory) noexcept { giveBack(memory); }

void operator delete(void* memory, std::size_t) noexcept { giveBack(memory); }
