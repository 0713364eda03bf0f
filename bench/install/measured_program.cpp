#include "bench/install/measured_program.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <string>

#include "workstation/terminal/terminal_namespace.h"

namespace bench {
namespace {

// KiB; 0: the kernel does not tell.
long peakMemory() {
  constexpr std::string_view kField = "VmHWM:";
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.starts_with(kField)) return std::strtol(line.c_str() + kField.size(), nullptr, 10);
  }
  return 0;
}

}  // namespace

int runMeasured(int argc, char** argv, int (*run)()) try {
  std::string error;
  if (argc != 2 || !workstation::enterTerminal(argv[1], error)) {
    std::fprintf(stderr, "%s: %s\n", argv[0], argc != 2 ? "name a terminal" : error.c_str());
    return EXIT_FAILURE;
  }
  const int result = run();
  std::printf(kLastLine, result, peakMemory());
  return EXIT_SUCCESS;
} catch (const std::exception& problem) {
  std::fprintf(stderr, "%s: %s\n", argv[0], problem.what());
  return EXIT_FAILURE;
}

}  // namespace bench
