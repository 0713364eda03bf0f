// The application runtime on a platform that answers at once, with the workstation's JSON value.
// Each goal stands in its benchmark's name; the peers are what the operating system alone needs for
// the same hand-over between two threads.
#include <benchmark/benchmark.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <pthread.h>

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bench/log_line_bench.h"
#include "bench/silent_platform.h"
#include "runtime/script_bridge.h"
#include "tests/builders/test_terminal.h"
#include "wzapp/wzapp.h"

namespace {

using bench::Clock;

constexpr char kAppRoot[] = "/mnt/flash/etc/config/wzapp/wz/";
constexpr int kApps = 200;

std::string appName(int number) { return "app" + std::to_string(number); }

std::string manifestPath(int number) {
  return std::string(kAppRoot) + appName(number) + "/manifest.json";
}

double seconds(Clock::duration duration) { return std::chrono::duration<double>(duration).count(); }

// Collects the time of each round and reports the median beside the mean.
class Rounds {
 public:
  explicit Rounds(benchmark::State& state) : state_(state) {}

  ~Rounds() {
    if (times_.empty()) return;
    std::sort(times_.begin(), times_.end());
    state_.counters["median_us"] = times_[times_.size() / 2] * 1e6;
    state_.counters["p99_us"] = times_[times_.size() * 99 / 100] * 1e6;
  }

  void add(Clock::duration time) {
    times_.push_back(seconds(time));
    state_.SetIterationTime(times_.back());
  }

 private:
  benchmark::State& state_;
  std::vector<double> times_;
};

// From the call of wzAppRun to the GUI service being asked for the page, the application's thread
// and its log included.
void launchToInvocation(benchmark::State& state) {
  bench::endPages(true);
  Rounds rounds(state);
  for (auto _ : state) {
    wzapp::counted_ptr<wzapp::WZApp> app;
    const int invocation = bench::invocations() + 1;
    const Clock::time_point start = Clock::now();
    if (wzapp::wzAppRun(app, 0, 0, manifestPath(0).c_str(), "desktop", {}, nullptr, nullptr) != 0) {
      state.SkipWithError("wzAppRun failed");
      return;
    }
    bench::awaitInvocation(invocation);
    rounds.add(bench::lastInvocation() - start);
    wzapp::wzAppCancel(app);
  }
}
BENCHMARK(launchToInvocation)
    ->Name("Launch/wzAppRun_to_invocation/goal_median_under_200us")
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

// Peer of the launch: a detached thread, from its creation to its first instruction.
void* noteStart(void* started) {
  *static_cast<Clock::time_point*>(started) = Clock::now();
  return nullptr;
}

void threadStart(benchmark::State& state) {
  Rounds rounds(state);
  for (auto _ : state) {
    Clock::time_point started;
    pthread_t thread;
    const Clock::time_point start = Clock::now();
    if (pthread_create(&thread, nullptr, noteStart, &started) != 0) std::abort();
    pthread_join(thread, nullptr);
    rounds.add(started - start);
  }
}
BENCHMARK(threadStart)
    ->Name("Launch/peer_bare_thread")
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

// From the reply being handed to the library to the waiting callback's return.
void replyToReturn(benchmark::State& state) {
  static std::once_flag answering;
  std::call_once(answering, bench::answerNotifications);
  Rounds rounds(state);
  for (auto _ : state) {
    std::string reply;
    const int result = wzapp::onScriptNotifyAndWait(nullptr, "till", "total", "{}", 0, "shop",
                                                    "total_reply", reply, 10000);
    const Clock::time_point end = Clock::now();
    if (result != 0) {
      state.SkipWithError("no reply");
      return;
    }
    rounds.add(end - bench::lastAnswer());
  }
}
BENCHMARK(replyToReturn)
    ->Name("Reply/arrival_to_return/goal_median_under_50us")
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

// Peer of the reply: one thread wakes another by a condition variable.
void conditionWakeUp(benchmark::State& state) {
  std::mutex mutex;
  std::condition_variable changed;
  bool isAsked = false;
  bool isAnswered = false;
  bool isOver = false;
  Clock::time_point answered;
  std::thread answerer([&] {
    std::unique_lock<std::mutex> lock(mutex);
    while (true) {
      while (!isAsked && !isOver) changed.wait(lock);
      if (isOver) return;
      isAsked = false;
      answered = Clock::now();
      isAnswered = true;
      changed.notify_all();
    }
  });
  {
    Rounds rounds(state);
    for (auto _ : state) {
      std::unique_lock<std::mutex> lock(mutex);
      isAsked = true;
      isAnswered = false;
      changed.notify_all();
      while (!isAnswered) changed.wait(lock);
      rounds.add(Clock::now() - answered);
    }
  }
  {
    const std::lock_guard<std::mutex> lock(mutex);
    isOver = true;
    changed.notify_all();
  }
  answerer.join();
}
BENCHMARK(conditionWakeUp)
    ->Name("Reply/peer_condition_variable")
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

BENCHMARK(bench::writeLogLines)->Name("LogLine/workstation_JSObject/goal_over_300k_per_s");

// Heap that is in use while many applications run, for each of them; thread stacks are not part of
// it.
void memoryPerApplication(benchmark::State& state) {
  for (auto _ : state) {
    bench::endPages(false);
    std::vector<wzapp::counted_ptr<wzapp::WZApp>> apps(kApps);
    const int before = bench::invocations();
    const std::size_t heapBefore = mallinfo2().uordblks;
    for (int i = 0; i < kApps; ++i) {
      wzapp::wzAppRun(apps[static_cast<std::size_t>(i)], 0, 0, manifestPath(i).c_str(), "desktop",
                      {}, nullptr, nullptr);
    }
    bench::awaitInvocation(before + kApps);
    const std::size_t heap = mallinfo2().uordblks - heapBefore;
    state.counters["octets_each"] = static_cast<double>(heap) / kApps;
    bench::endPages(true);
    for (const auto& app : apps) wzapp::wzAppCancel(app);
  }
}
BENCHMARK(memoryPerApplication)
    ->Name("Memory/200_applications/goal_under_65536_octets_each")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

// A manifest in the form and size of a small application's.
void installApplications() {
  for (int i = 0; i < kApps; ++i) {
    std::filesystem::create_directories(kAppRoot + appName(i));
    std::ofstream(manifestPath(i)) << R"({
  "application": {"id": ")" << appName(i)
                                   << R"(", "name": "Shop", "version": "1.0.0"},
  "desktop": {"file": "index.html", "icon": "icon.png", "title": "Shop"},
  "imports_trigger": [{"id": "pay", "file": "pay.html"}, {"id": "refund", "file": "refund.html"}]
})";
  }
}

}  // namespace

// The library's paths are fixed, so the measurements run inside a temporary terminal.
int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  testing::InitGoogleTest(&argc, argv);
  const wzapp_test::TemporaryTerminal terminal;
  return wzapp_test::runInTerminal(terminal.directory(),
                                   [] {
                                     installApplications();
                                     benchmark::RunSpecifiedBenchmarks();
                                   })
             ? EXIT_SUCCESS
             : EXIT_FAILURE;
}
