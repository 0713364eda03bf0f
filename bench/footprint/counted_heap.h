/// The heap of the whole program, counted: linked into a program, its malloc stands in front of the
/// C library's, for every library of the program and for operator new.
#ifndef WZAPP_BENCH_FOOTPRINT_COUNTED_HEAP_H
#define WZAPP_BENCH_FOOTPRINT_COUNTED_HEAP_H

#include <cstddef>

namespace bench {

struct HeapUse {
  std::size_t peak = 0;  ///< the most octets in use at once, above those when it was started
  /// Since then, by the program, the library and what those link; a block that was made larger is
  /// one.
  std::size_t allocations = 0;
  /// By the platform's libraries, which a terminal has others of.
  std::size_t platformAllocations = 0;
};

/// Starts to count from nothing. Any thread's allocations count.
void startHeapCount();
HeapUse heapUse();

}  // namespace bench

#endif  // WZAPP_BENCH_FOOTPRINT_COUNTED_HEAP_H
