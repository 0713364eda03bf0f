// What the library takes of a terminal's memory, beside the limits: the peak of the heap in an
// installation run above what was in use when it began, and how often memory is asked for.
//
//     footprint
//
// Ends with 1 when a limit is missed. The programs that count are looked for beside this one.

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>

#include "bench/footprint/counted_heap.h"
#include "bench/footprint/footprint.h"
#include "bench/install/bench_terminal.h"
#include "bench/install/measured_process.h"
#include "bench/install/package_sets.h"
#include "packaging/package_maker.h"
#include "support/file_system.h"

namespace {

namespace fs = std::filesystem;

constexpr double kKB = 1000;
constexpr bench::PackageSet kOne{'1', "", 1, 20, 5'000};
constexpr bench::PackageSet kMany{'b', "", 200, 20, 5'000};
constexpr bench::PackageSet kLarge{'c', "", 1, 8, 125'000'000};

constexpr double kAllocationsPerPackage = 164;
constexpr double kAllocationsPerLaunch = 108;

bool hasMissed = false;

void print(const char* what, double value, double limit, const char* unit) {
  const bool isMet = value <= limit;
  hasMissed = hasMissed || !isMet;
  std::printf("%-46s %9.1f %-3s limit %9.1f%s\n", what, value, unit, limit,
              isMet ? "" : "  MISSED");
  std::fflush(stdout);
}

bench::HeapUse heapLineOf(const std::string& log) {
  std::ifstream file(log);
  bench::HeapUse use;
  for (std::string line; std::getline(file, line);) {
    if (std::sscanf(line.c_str(), bench::kHeapLine, &use.peak, &use.allocations,
                    &use.platformAllocations) == 3) {
      return use;
    }
  }
  throw std::runtime_error("a program did not say what it took: " + log);
}

// --- Installation runs ------------------------------------------------------------------------

using MakePackages = std::function<void(const std::string& folder)>;

bench::HeapUse install(const std::string& programs, const MakePackages& make) {
  const bench::WorkFolder folder(6ULL << 30);
  const std::string packages = folder.path() + "/packages";
  const std::string terminal = folder.path() + "/terminal";
  const std::string log = folder.path() + "/log";
  fs::create_directory(packages);
  make(packages);
  bench::makeTerminal(terminal, std::string(KEY_DIRECTORY) + "/roots", packages);
  if (bench::measure(programs + "/counted_install", terminal, log).result != 0) {
    throw std::runtime_error("counted_install did not install");
  }
  return heapLineOf(log);
}

MakePackages packagesOf(const bench::PackageSet& set) {
  return [&set](const std::string& folder) {
    bench::makePackages(set, bench::Packing::kStored, KEY_DIRECTORY, folder);
  };
}

// A package with a manifest of the most octets that are read, all of them values.
void makeLargestManifest(const std::string& folder) {
  const std::string content = folder + "/application";
  fs::create_directory(content);
  std::string manifest = R"({"application":{"id":"large","version":"1.0.0"},"sponsors":[")" +
                         std::string(bench::kBenchSponsor) +
                         R"("],"desktop":{"file":"index.html"},"list":[1)";
  while (manifest.size() + 4 <= wzapp::kMaxManifestSize) manifest += ",1";
  manifest += "]}";

  packaging::ApplicationOrder order;
  order.folder.id = "large";
  order.folder.version = "1.0.0";
  order.folder.sponsors = order.sponsors = {bench::kBenchSponsor};
  order.folder.manifest = {packaging::kFolderManifest, content + "/manifest"};
  std::ofstream(order.folder.manifest.path) << manifest;
  packaging::PackageSigners signers{packaging::Signer(), packaging::Signer()};
  std::string error;
  if (!signers.application->load(KEY_DIRECTORY, packaging::SignerRole::kApplication, "", error) ||
      !signers.manifest->load(KEY_DIRECTORY, packaging::SignerRole::kManifest, "", error) ||
      !packaging::makePackage(
          order, signers, folder + "/large.zip", [](const std::string&) { return true; }, error)) {
    throw std::runtime_error(error);
  }
  fs::remove_all(content);
}

void measureInstallations(const std::string& programs) {
  const bench::HeapUse one = install(programs, packagesOf(kOne));
  const bench::HeapUse many = install(programs, packagesOf(kMany));
  const auto peakKB = [](const bench::HeapUse& use) { return static_cast<double>(use.peak) / kKB; };
  print("peak heap, 1 package", peakKB(one), 100, "kB");
  print("peak heap, 200 packages", peakKB(many), 250, "kB");
  print("peak heap, a package of 1 GB", peakKB(install(programs, packagesOf(kLarge))), 100, "kB");
  print("peak heap, the largest manifest", peakKB(install(programs, makeLargestManifest)), 16'000,
        "kB");
  print("allocations a package of 20 files",
        static_cast<double>(many.allocations - one.allocations) /
            (kMany.applications - kOne.applications),
        kAllocationsPerPackage, "");
}

// --- Launches ---------------------------------------------------------------------------------

void measureLaunches(const std::string& programs) {
  const bench::WorkFolder folder(1 << 20);
  const std::string log = folder.path() + "/log";
  const std::string command = "'" + programs + "/counted_launch' >'" + log + "'";
  if (std::system(command.c_str()) != 0) throw std::runtime_error(command + " failed");
  print("allocations a launch", static_cast<double>(heapLineOf(log).allocations) / bench::kLaunches,
        kAllocationsPerLaunch, "");
}

}  // namespace

int main() try {
  const std::string programs = fs::read_symlink("/proc/self/exe").parent_path();
  measureInstallations(programs);
  measureLaunches(programs);
  return hasMissed ? EXIT_FAILURE : EXIT_SUCCESS;
} catch (const std::exception& problem) {
  std::fprintf(stderr, "footprint: %s\n", problem.what());
  return EXIT_FAILURE;
}
