// The benchmarks of src/crypto. Says first what the processor offers, since the versions for
// instruction sets are chosen at run time.
#include <benchmark/benchmark.h>

#include "crypto/cpu_features.h"

int main(int argc, char** argv) {
  const wzapp::CpuFeatures& features = wzapp::cpuFeatures();
  benchmark::AddCustomContext("SHA instructions",
                              features.sha ? "yes" : "none, plain C++ measured");
  benchmark::AddCustomContext("AVX2", features.avx2 ? "yes" : "none, plain C++ measured");
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
