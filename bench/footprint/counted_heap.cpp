#include "bench/footprint/counted_heap.h"

#include <link.h>
#include <malloc.h>
#include <unwind.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <string_view>

namespace {

// --- Whose allocations ------------------------------------------------------------------------

// Where the code of a part of the process lies.
struct CodeRange {
  std::uintptr_t begin;
  std::uintptr_t end;
  bool isPlatform;
};

// The program and the library itself on one side, the platform on the other. What else there is,
// the C++ library or minizip, allocates for whoever calls it.
std::array<CodeRange, 32> codeRanges;
std::size_t codeRangeCount = 0;

bool isNamed(std::string_view path, std::string_view beginning) {
  return path.substr(path.rfind('/') + 1).starts_with(beginning);
}

int noteCode(dl_phdr_info* info, std::size_t /*size*/, void* /*data*/) {
  const std::string_view path = info->dlpi_name;  // empty: the program
  const bool isPlatform = isNamed(path, "libzel") || isNamed(path, "libjsproc");
  if (!isPlatform && !path.empty() && !isNamed(path, "libwzapp")) return 0;
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const ElfW(Phdr)& segment = info->dlpi_phdr[i];
    if (segment.p_type != PT_LOAD || (segment.p_flags & PF_X) == 0) continue;
    const std::uintptr_t begin = info->dlpi_addr + segment.p_vaddr;
    if (codeRangeCount == codeRanges.size()) return 1;
    codeRanges[codeRangeCount++] = {begin, begin + segment.p_memsz, isPlatform};
  }
  return 0;
}

// A way from an allocation outwards.
struct Way {
  std::uintptr_t start;  // where the allocation returns to; what is further in is the count's own
  bool hasStarted = false;
  bool isPlatform = false;
};

_Unwind_Reason_Code step(_Unwind_Context* context, void* data) {
  Way& way = *static_cast<Way*>(data);
  const std::uintptr_t address = _Unwind_GetIP(context);
  way.hasStarted = way.hasStarted || address == way.start;
  if (!way.hasStarted) return _URC_NO_REASON;
  for (std::size_t i = 0; i < codeRangeCount; ++i) {
    const CodeRange& range = codeRanges[i];
    if (address < range.begin || address >= range.end) continue;
    way.isPlatform = range.isPlatform;
    return _URC_END_OF_STACK;
  }
  return _URC_NO_REASON;
}

// Whether it is the platform that asks for memory, of whom the allocation returns to `start`.
bool isPlatforms(void* start) {
  Way way{reinterpret_cast<std::uintptr_t>(start)};
  _Unwind_Backtrace(step, &way);
  return way.isPlatform;
}

// --- The count --------------------------------------------------------------------------------

std::atomic<std::size_t> inUse{0};
std::atomic<std::size_t> atStart{0};
std::atomic<std::size_t> highest{0};
std::atomic<std::size_t> allocations{0};
std::atomic<std::size_t> platformAllocations{0};

void* taken(void* block, void* caller) {
  if (block == nullptr) return nullptr;
  if (codeRangeCount > 0) ++(isPlatforms(caller) ? platformAllocations : allocations);
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

#define CALLER __builtin_return_address(0)

extern "C" {

// The C library's own, under the names by which it lets itself be replaced.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);

void* malloc(std::size_t size) noexcept { return taken(__libc_malloc(size), CALLER); }

void* calloc(std::size_t count, std::size_t size) noexcept {
  return taken(__libc_calloc(count, size), CALLER);
}

void* realloc(void* block, std::size_t size) noexcept {
  const std::size_t before = block == nullptr ? 0 : malloc_usable_size(block);
  void* const larger = __libc_realloc(block, size);
  if (larger != nullptr || size == 0) inUse -= before;
  return taken(larger, CALLER);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  return taken(__libc_memalign(alignment, size), CALLER);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept {
  *block = taken(__libc_memalign(alignment, size), CALLER);
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
  codeRangeCount = 0;
  dl_iterate_phdr(noteCode, nullptr);
  allocations = 0;
  platformAllocations = 0;
}

HeapUse heapUse() { return {highest - atStart, allocations, platformAllocations}; }

}  // namespace bench
