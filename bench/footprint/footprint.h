/// What the programs that count and the one that starts them share.
#ifndef WZAPP_BENCH_FOOTPRINT_FOOTPRINT_H
#define WZAPP_BENCH_FOOTPRINT_FOOTPRINT_H

namespace bench {

/// Printed by a program about its heap: octets at the peak, allocations, the platform's.
inline constexpr char kHeapLine[] = "heap: peak %zu, allocations %zu, platform %zu\n";

/// By counted_launch, one after the other.
inline constexpr int kLaunches = 100;

}  // namespace bench

#endif  // WZAPP_BENCH_FOOTPRINT_FOOTPRINT_H
