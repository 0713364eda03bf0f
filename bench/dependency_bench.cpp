// The dependency check of a thousand installed applications: a run in which a chain of them falls,
// one a pass, against a run in which all stay. Each manifest is read once however many passes there
// are, so a long chain costs little more than none. Goal: at most three times as much processor
// time, what is removed included, on a file system in memory.

#include <benchmark/benchmark.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bench/side_by_side.h"
#include "installer/dependency_check.h"
#include "installer/directories.h"
#include "support/install_log.h"
#include "tests/builders/test_terminal.h"

namespace {

namespace fs = std::filesystem;

constexpr int kApplications = 1000;
constexpr int kPasses = 200;
constexpr const char* kMemoryFolder = "/dev/shm";
constexpr const char* kExporter = "/home/sys1/www/terminal.mft";

long reportedLines = 0;

// What the least of hosts does with a message.
void formatLine(void* /*user*/, const char* format, ...) {
  char line[1024];
  va_list arguments;
  va_start(arguments, format);
  reportedLines += std::vsnprintf(line, sizeof line, format, arguments) > 0 ? 1 : 0;
  va_end(arguments);
}

void writeFile(const std::string& path, const std::string& content) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path) << content;
}

std::string numbered(const char* name, int number) {
  char text[32];
  std::snprintf(text, sizeof text, "%s%03d", name, number);
  return text;
}

// The manifest of an application that imports one trigger and exports another.
std::string manifest(const std::string& id, const std::string& imported,
                     const std::string& exported) {
  return R"({
  "application": {"id": ")" +
         id + R"(", "name": "Shop", "version": "1.0.0"},
  "sponsors": ["123456"],
  "desktop": {"file": "index.html", "icon": "icon.png", "title": "Shop"},
  "exports_trigger": [{"id": ")" +
         exported + R"("}],
  "imports_sdk": {"triggers_min_version": "1.0", "wzruntime_min_version": "2.40"},
  "imports_trigger": [{"id": ")" +
         imported + R"(", "file": "pay.html"}, {"id": "refund", "optional": true}],
  "imports_api": [{"id": "print"}],
  "imports_hardware": {"platforms": ["T7", "T30"]}
})";
}

void install(const std::string& name, const std::string& content) {
  writeFile(std::string(wzapp::kAppRoot) + "/" + name + ".mft", content);
  writeFile(std::string(wzapp::kAppRoot) + "/" + name + "/index.html", "<p>");
  writeFile(std::string(wzapp::kManifestRoot) + "/" + name + "/mpmanifest.mft", content);
  writeFile(std::string(wzapp::kFileSystemRoot) + "/" + name + "/data", "");
}

// link007 needs what link006x exports, which it does until link006 has gone. The first link needs
// what the terminal itself exports, unless the chain is to fall.
void installAll(bool falls) {
  fs::remove_all(wzapp::kConfigRoot);
  writeFile(kExporter, std::string(R"({"exports_sdk":{"triggers_version":"1.2"},
    "exports_api":[{"id":"print"}],"exports_trigger":[{"id":"pay"})") +
                           (falls ? "" : R"(,{"id":"step000"})") + "]}");
  for (int i = 0; i < kPasses; ++i) {
    install(numbered("link", i), manifest(numbered("link", i), numbered("step", i), "none"));
    install(numbered("link", i) + "x",
            manifest(numbered("link", i) + "x", "pay", numbered("step", i + 1)));
  }
  for (int i = 2 * kPasses; i < kApplications; ++i) {
    install(numbered("shop", i), manifest(numbered("shop", i), "pay", numbered("trigger", i)));
  }
}

double processorSeconds() {
  timespec time = {};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double secondsOfCheck(bool falls) {
  installAll(falls);
  wzapp::AppIds removed;
  const double start = processorSeconds();
  static_cast<void>(wzapp::checkDependencies(removed));
  const double seconds = processorSeconds() - start;
  if (removed.size() != (falls ? kPasses : 0)) std::abort();
  return seconds;
}

void measure(benchmark::State& state, wzapp::InstallLog log) {
  wzapp::setInstallLog(log, nullptr);
  std::vector<double> single;
  std::vector<double> chain;
  for (auto _ : state) {
    single.push_back(secondsOfCheck(false));
    chain.push_back(secondsOfCheck(true));
    state.SetIterationTime(chain.back());
  }
  wzapp::setInstallLog(nullptr, nullptr);
  state.counters["single_ms"] = bench::median(single) * 1e3;
  state.counters["chain_ms"] = bench::median(chain) * 1e3;
  state.counters["ratio"] = bench::median(chain) / bench::median(single);
}

void chainOf200Passes(benchmark::State& state) { measure(state, nullptr); }
BENCHMARK(chainOf200Passes)
    ->Name("Dependencies/1000_applications/200_passes/goal_ratio_up_to_3")
    ->Iterations(15)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

void chainOf200PassesFormatted(benchmark::State& state) { measure(state, formatLine); }
BENCHMARK(chainOf200PassesFormatted)
    ->Name("Dependencies/1000_applications/200_passes/with_a_host_that_formats")
    ->Iterations(15)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

// The library's paths are fixed, so the measurements run inside a temporary terminal.
int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  testing::InitGoogleTest(&argc, argv);
  if (fs::is_directory(kMemoryFolder)) setenv("TMPDIR", kMemoryFolder, 0);
  const wzapp_test::TemporaryTerminal terminal;
  return wzapp_test::runInTerminal(terminal.directory(),
                                   [] { benchmark::RunSpecifiedBenchmarks(); })
             ? EXIT_SUCCESS
             : EXIT_FAILURE;
}
