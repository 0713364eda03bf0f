// Faults at random: memory, descriptors, threads and file operations that fail now and then.
//
// Only a thread that has asked for them meets them, and only while it has: what a test does itself
// goes well. The program's operator new and the functions of the WRAP list are replaced.
#ifndef WZAPP_TESTS_SOAK_FAULTS_H
#define WZAPP_TESTS_SOAK_FAULTS_H

#include <array>
#include <atomic>
#include <cstdint>

namespace wzapp_test {

enum Fault : std::size_t { kMemoryFault, kDescriptorFault, kFileFault, kThreadFault, kFaultKinds };
inline constexpr std::array<const char*, kFaultKinds> kFaultNames = {"memory", "descriptors",
                                                                     "files", "threads"};

// How many there have been so far, by kind.
std::array<std::uint64_t, kFaultKinds> faultCounts();

// From now on, or no longer, one call in `oneIn` of the calling thread fails; 0: none does.
void setFaults(unsigned oneIn);

// None as long as this lives, on the thread that made it.
class NoFaults {
 public:
  NoFaults();
  NoFaults(const NoFaults&) = delete;
  NoFaults& operator=(const NoFaults&) = delete;
  ~NoFaults();

 private:
  unsigned before_;
};

// Whether a call of this kind, which fails `factor` times as often as others, is to fail now;
// counted if so.
bool mustFail(Fault fault, unsigned factor = 1);

// Random numbers of the calling thread. The first thread's come from the seed, each other's from
// the seed and its own number.
void seedRandom(std::uint64_t seed);
std::uint64_t randomNumber(std::uint64_t below);

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_SOAK_FAULTS_H
