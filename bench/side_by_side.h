// Measures a piece of work of this library beside the same work of a peer.
//
// The two take turns in one loop, so that whatever else the machine does meets both alike, and the
// medians are compared. Counters: microseconds of each, and the ratio of their speeds (above 1:
// this library is the faster one), beside the goal where there is one.
#ifndef WZAPP_BENCH_SIDE_BY_SIDE_H
#define WZAPP_BENCH_SIDE_BY_SIDE_H

#include <benchmark/benchmark.h>

#include <chrono>
#include <vector>

#include "bench/median.h"

namespace bench {

// Seconds for `repeats` times the work.
template <class Work>
double secondsFor(const Work& work, int repeats) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < repeats; ++i) work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// One iteration does the work `repeats` times. `goal` 0: there is none. Register with
// UseManualTime(), which then shows this library's time.
template <class Ours, class Peers>
void measureSideBySide(benchmark::State& state, double goal, int repeats, const Ours& ours,
                       const Peers& peers) {
  std::vector<double> ourSeconds;
  std::vector<double> peerSeconds;
  ours();  // not measured: what either side makes once, such as a key, is made here
  peers();
  for (auto _ : state) {
    const double ourTime = secondsFor(ours, repeats);
    peerSeconds.push_back(secondsFor(peers, repeats));
    ourSeconds.push_back(ourTime);
    state.SetIterationTime(ourTime);
  }
  const double ourMedian = median(ourSeconds) / repeats;
  const double peerMedian = median(peerSeconds) / repeats;
  state.counters["us"] = ourMedian * 1e6;
  state.counters["peer_us"] = peerMedian * 1e6;
  state.counters["ratio"] = peerMedian / ourMedian;
  if (goal > 0) state.counters["goal"] = goal;
}

}  // namespace bench

#endif  // WZAPP_BENCH_SIDE_BY_SIDE_H
