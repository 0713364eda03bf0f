#include "tests/crypto/system_features.h"

#include <fstream>
#include <set>
#include <sstream>
#include <string>

#if defined(__arm__) || defined(__aarch64__)
#include <elf.h>
#endif

namespace wzapp_test {

namespace {

#if defined(__x86_64__) || defined(__i386__)

// The words of the first line of /proc/cpuinfo that begins with "flags".
std::set<std::string> flags() {
  std::ifstream file("/proc/cpuinfo");
  std::set<std::string> words;
  for (std::string line; std::getline(file, line);) {
    if (!line.starts_with("flags")) continue;
    std::istringstream text(line);
    for (std::string word; text >> word;) words.insert(word);
    return words;
  }
  return words;
}

bool hasFlag(const std::string& flag) { return flags().contains(flag); }

#elif defined(__arm__) || defined(__aarch64__)

// Not /proc/cpuinfo, which an emulator passes on from the machine that it runs on.
unsigned long auxiliary(unsigned long type) {
  std::ifstream file("/proc/self/auxv", std::ios::binary);
  unsigned long entry[2];
  while (file.read(reinterpret_cast<char*>(entry), sizeof entry)) {
    if (entry[0] == type) return entry[1];
  }
  return 0;
}

#endif

}  // namespace

#if defined(__x86_64__) || defined(__i386__)

bool systemHasSha() { return hasFlag("sha_ni") && hasFlag("ssse3") && hasFlag("sse4_1"); }
bool systemHasAvx2() { return hasFlag("avx2"); }

#elif defined(__aarch64__)

bool systemHasSha() { return (auxiliary(AT_HWCAP) & 0x60) == 0x60; }
bool systemHasAvx2() { return false; }

#elif defined(__arm__)

bool systemHasSha() { return (auxiliary(AT_HWCAP2) & 0x0c) == 0x0c; }
bool systemHasAvx2() { return false; }

#else

bool systemHasSha() { return false; }
bool systemHasAvx2() { return false; }

#endif

}  // namespace wzapp_test
