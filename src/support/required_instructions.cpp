// Ends a program on a processor that lacks instructions which the compiler's flags have let into
// the library. It would die of one anyway, somewhere and without a word. As the loader does with
// what it cannot load: a line for people, and 127.
//
// What is asked here runs on such a processor itself. So it is nothing that a compiler would make
// vectors of, and it comes before every other initialisation of the library.
//
// A flag that is not listed goes unnoticed. Without any, as is the default, nothing is asked.

#include <unistd.h>

#include <cstring>

#if defined(__arm__) || defined(__aarch64__)
#include <sys/auxv.h>
#endif

namespace {

// Whether it was heard: there is nobody else to tell.
void say(const char* text) { static_cast<void>(!write(STDERR_FILENO, text, std::strlen(text))); }

[[maybe_unused]] void require(bool isThere, const char* instructions, const char* flag) {
  if (isThere) return;
  say("libwzapp: this processor lacks ");
  say(instructions);
  say(", for which the library was built. Build it without ");
  say(flag);
  say(", or with the -mcpu or -march of this processor.\n");
  _exit(127);
}

#if defined(__arm__) || defined(__aarch64__)

// Bits as the kernel has them; named here since the headers of older systems do not know them all.
[[maybe_unused]] bool hasBit(unsigned long word, int bit) {
  return (getauxval(word) >> bit & 1) != 0;
}

#endif

}  // namespace

// 101 is the first that is not the compiler's own.
__attribute__((constructor(101))) static void requireInstructions() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_cpu_init();
#if defined(__SSE2__) && defined(__i386__)
  require(__builtin_cpu_supports("sse2") != 0, "SSE2", "-msse2");
#endif
#ifdef __SSE3__
  require(__builtin_cpu_supports("sse3") != 0, "SSE3", "-msse3");
#endif
#ifdef __SSSE3__
  require(__builtin_cpu_supports("ssse3") != 0, "SSSE3", "-mssse3");
#endif
#ifdef __SSE4_1__
  require(__builtin_cpu_supports("sse4.1") != 0, "SSE4.1", "-msse4.1");
#endif
#ifdef __SSE4_2__
  require(__builtin_cpu_supports("sse4.2") != 0, "SSE4.2", "-msse4.2");
#endif
#ifdef __POPCNT__
  require(__builtin_cpu_supports("popcnt") != 0, "POPCNT", "-mpopcnt");
#endif
#ifdef __AVX__
  require(__builtin_cpu_supports("avx") != 0, "AVX", "-mavx");
#endif
#ifdef __FMA__
  require(__builtin_cpu_supports("fma") != 0, "FMA", "-mfma");
#endif
#ifdef __FMA4__
  require(__builtin_cpu_supports("fma4") != 0, "FMA4", "-mfma4");
#endif
#ifdef __BMI__
  require(__builtin_cpu_supports("bmi") != 0, "BMI", "-mbmi");
#endif
#ifdef __BMI2__
  require(__builtin_cpu_supports("bmi2") != 0, "BMI2", "-mbmi2");
#endif
#ifdef __AVX2__
  require(__builtin_cpu_supports("avx2") != 0, "AVX2", "-mavx2");
#endif
#ifdef __AVX512F__
  require(__builtin_cpu_supports("avx512f") != 0, "AVX-512", "-mavx512f");
#endif
#elif defined(__aarch64__)
#ifdef __ARM_FEATURE_CRC32
  require(hasBit(AT_HWCAP, 7), "the CRC32 instructions", "-march=...+crc");
#endif
#ifdef __ARM_FEATURE_SHA2
  require(hasBit(AT_HWCAP, 5) && hasBit(AT_HWCAP, 6), "the SHA instructions", "-march=...+sha2");
#endif
#ifdef __ARM_FEATURE_ATOMICS
  require(hasBit(AT_HWCAP, 8), "the atomic instructions (LSE)", "-march=...+lse");
#endif
#elif defined(__arm__)
#ifdef __ARM_NEON
  require(hasBit(AT_HWCAP, 12), "NEON", "-mfpu=neon");
#endif
#ifdef __ARM_FEATURE_FMA
  require(hasBit(AT_HWCAP, 16), "VFPv4", "-mfpu=...-vfpv4");
#endif
#ifdef __ARM_FEATURE_IDIV
  require(hasBit(AT_HWCAP, 17) && hasBit(AT_HWCAP, 18), "division", "an -mcpu that divides");
#endif
#ifdef __ARM_FEATURE_CRC32
  require(hasBit(AT_HWCAP2, 4), "the CRC32 instructions", "-march=...+crc");
#endif
#ifdef __ARM_FEATURE_SHA2
  require(hasBit(AT_HWCAP2, 2) && hasBit(AT_HWCAP2, 3), "the SHA instructions", "-mfpu=crypto-...");
#endif
#endif
}
