// What the process holds at this moment.
#ifndef WZAPP_TESTS_SOAK_LIVE_MEMORY_H
#define WZAPP_TESTS_SOAK_LIVE_MEMORY_H

#include <malloc.h>

#include <cstddef>
#include <filesystem>
#include <iterator>

// g++ tells of a sanitizer by a macro, clang by a feature.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define WZAPP_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define WZAPP_SANITIZED 1
#endif
#endif
#ifdef WZAPP_SANITIZED
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#endif

namespace wzapp_test {

// Octets that were allocated and not freed.
inline std::size_t liveMemory() {
#ifdef WZAPP_SANITIZED
  return __sanitizer_get_current_allocated_bytes();
#else
  return mallinfo2().uordblks;
#endif
}

inline std::size_t entriesOf(const char* folder) {
  namespace fs = std::filesystem;
  return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), {}));
}

inline std::size_t openDescriptors() { return entriesOf("/proc/self/fd"); }
inline std::size_t runningThreads() { return entriesOf("/proc/self/task"); }

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_SOAK_LIVE_MEMORY_H
