// Launches of an application on a platform that answers at once, whose allocations are counted.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/footprint/counted_heap.h"
#include "bench/footprint/footprint.h"
#include "bench/silent_platform.h"
#include "tests/builders/test_terminal.h"
#include "wzapp/wzapp.h"

namespace {

constexpr char kFolder[] = "/mnt/flash/etc/config/wzapp/wz/shop";

std::string installApplication() {
  std::filesystem::create_directories(kFolder);
  const std::string manifest = std::string(kFolder) + "/manifest.json";
  std::ofstream(manifest) << R"({
  "application": {"id": "shop", "name": "Shop", "version": "1.0.0"},
  "desktop": {"file": "index.html", "icon": "icon.png", "title": "Shop"},
  "imports_trigger": [{"id": "pay", "file": "pay.html"}, {"id": "refund", "file": "refund.html"}]
})";
  return manifest;
}

// From the call of wzAppRun to the application's end.
void launch(const std::string& manifest) {
  wzapp::counted_ptr<wzapp::WZApp> app;
  if (wzapp::wzAppRun(app, 0, 0, manifest.c_str(), "desktop", {}, nullptr, nullptr) != 0) {
    std::fprintf(stderr, "counted_launch: wzAppRun failed\n");
    std::exit(EXIT_FAILURE);
  }
  wzapp::wzAppCancel(app);
}

void countLaunches() {
  const std::string manifest = installApplication();
  bench::endPages(true);
  launch(manifest);  // what happens once per process
  bench::startHeapCount();
  for (int i = 0; i < bench::kLaunches; ++i) launch(manifest);
  const bench::HeapUse use = bench::heapUse();
  std::printf(bench::kHeapLine, use.peak, use.allocations, use.platformAllocations);
}

}  // namespace

// The library's paths are fixed, so it runs inside a temporary terminal.
int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const wzapp_test::TemporaryTerminal terminal;
  return wzapp_test::runInTerminal(terminal.directory(), countLaunches) ? EXIT_SUCCESS
                                                                        : EXIT_FAILURE;
}
