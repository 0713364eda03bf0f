// How a fuzz target tells that a property does not hold.
#ifndef WZAPP_FUZZ_CHECK_H
#define WZAPP_FUZZ_CHECK_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

// What the fuzzer calls with each input. Returns 0, or -1 for one that is not to be kept.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Like assert(), but in every kind of build.
#define FUZZ_CHECK(condition)                                                             \
  do {                                                                                    \
    if (!(condition)) {                                                                   \
      std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                       \
    }                                                                                     \
  } while (false)

#endif  // WZAPP_FUZZ_CHECK_H
