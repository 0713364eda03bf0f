#include "crypto/cpu_features.h"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#elif defined(__arm__) || defined(__aarch64__)
#include <sys/auxv.h>
#endif

namespace wzapp {

namespace {

#if defined(__x86_64__) || defined(__i386__)

constexpr unsigned kExtendedFeaturesLeaf = 7;
constexpr unsigned kShaBit = 1U << 29;  // of ebx

bool hasShaExtensions() {
  unsigned eax = 0;
  unsigned ebx = 0;
  unsigned ecx = 0;
  unsigned edx = 0;
  if (__get_cpuid_count(kExtendedFeaturesLeaf, 0, &eax, &ebx, &ecx, &edx) == 0) return false;
  return (ebx & kShaBit) != 0;
}

CpuFeatures askProcessor() {
  __builtin_cpu_init();
  CpuFeatures features;
  features.sha = hasShaExtensions() && __builtin_cpu_supports("ssse3") != 0 &&
                 __builtin_cpu_supports("sse4.1") != 0;
  features.avx2 = __builtin_cpu_supports("avx2") != 0;
  return features;
}

#elif defined(__arm__) || defined(__aarch64__)

// Both digests' instructions; named here since the headers of older systems do not know them all.
#if defined(__aarch64__)
constexpr unsigned long kWord = AT_HWCAP;
constexpr unsigned long kShaBits = 1UL << 5 | 1UL << 6;
#else
constexpr unsigned long kWord = AT_HWCAP2;
constexpr unsigned long kShaBits = 1UL << 2 | 1UL << 3;
#endif

CpuFeatures askProcessor() {
  CpuFeatures features;
  features.sha = (getauxval(kWord) & kShaBits) == kShaBits;
  return features;
}

#else

CpuFeatures askProcessor() { return {}; }

#endif

}  // namespace

const CpuFeatures& cpuFeatures() {
  static const CpuFeatures features = askProcessor();
  return features;
}

}  // namespace wzapp
