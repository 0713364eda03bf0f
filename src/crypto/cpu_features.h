// What the processor can do beyond the instruction set that the library is compiled for.
#ifndef WZAPP_CRYPTO_CPU_FEATURES_H
#define WZAPP_CRYPTO_CPU_FEATURES_H

namespace wzapp {

struct CpuFeatures {
  // Instructions for SHA-1 and SHA-256: the SHA extensions of x86, with the SSSE3 and SSE4.1 that
  // go with them, or those of ARMv8.
  bool sha = false;
  bool avx2 = false;  // x86 AVX2, with the system saving its registers
};

// Asked of the processor, or where only the system may ask it of the system, once. Any thread may
// call.
[[nodiscard]] const CpuFeatures& cpuFeatures();

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_CPU_FEATURES_H
