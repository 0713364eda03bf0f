// An installation run by the library, as a host program has it, whose heap is counted. The host's
// own log takes none of it.

#include <cstdarg>
#include <cstdio>

#include "bench/footprint/counted_heap.h"
#include "bench/footprint/footprint.h"
#include "bench/install/measured_program.h"
#include "wzapp/wzapp.h"

namespace {

void writeLog(void* /*user*/, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vprintf(format, arguments);
  va_end(arguments);
}

int install() {
  static char buffer[65536];
  std::setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
  bench::startHeapCount();
  const int result = wzapp::wzInstall(writeLog, nullptr);
  const bench::HeapUse use = bench::heapUse();
  std::printf(bench::kHeapLine, use.peak, use.allocations, use.platformAllocations);
  return result;
}

}  // namespace

int main(int argc, char** argv) { return bench::runMeasured(argc, argv, install); }
