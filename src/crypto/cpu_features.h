// What the processor can do beyond the instruction set that the library is compiled for.
#ifndef WZAPP_CRYPTO_CPU_FEATURES_H
#define WZAPP_CRYPTO_CPU_FEATURES_H

namespace wzapp {

struct CpuFeatures {
  bool sha = false;   // x86 SHA extensions, with the SSSE3 and SSE4.1 that go with them
  bool avx2 = false;  // x86 AVX2, with the system saving its registers
};

// Asked of the processor once. Any thread may call.
[[nodiscard]] const CpuFeatures& cpuFeatures();

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_CPU_FEATURES_H
