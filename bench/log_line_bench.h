// Measures a script's log lines, all of them published on the way.
#ifndef WZAPP_BENCH_LOG_LINE_BENCH_H
#define WZAPP_BENCH_LOG_LINE_BENCH_H

#include <benchmark/benchmark.h>

#include <optional>
#include <string>
#include <vector>

#include "bench/silent_platform.h"
#include "runtime/app_log.h"

namespace bench {

inline void writeLogLines(benchmark::State& state) {
  const wzapp::LaunchData launch{"1.0", std::nullopt, std::nullopt, std::nullopt};
  const std::string appId = "shop";
  const std::vector<std::string> line = {"payment of 12.50 accepted", "receipt 4711"};
  wzapp::openAppLog(appId, launch);
  const long sentBefore = sentNotifications();

  for (auto _ : state) {
    wzapp::onScriptLog(nullptr, appId, js::JS_LOG_INFO, line);
  }

  state.SetItemsProcessed(state.iterations());
  state.counters["records"] = static_cast<double>(sentNotifications() - sentBefore);
  wzapp::closeAppLog(appId, launch, std::nullopt);
}

}  // namespace bench

#endif  // WZAPP_BENCH_LOG_LINE_BENCH_H
