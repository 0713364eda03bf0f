// Random test cases that every run repeats exactly.
#ifndef WZAPP_TESTS_CRYPTO_RANDOM_CASES_H
#define WZAPP_TESTS_CRYPTO_RANDOM_CASES_H

#include <cstdlib>
#include <random>

#include "tests/builders/der_builder.h"

namespace wzapp_test {

class RandomCases {
 public:
  explicit RandomCases(std::uint64_t seed) : generator_(seed) {}

  // A number from 0 to `bound` - 1.
  std::size_t below(std::size_t bound) {
    return std::uniform_int_distribution<std::size_t>(0, bound - 1)(generator_);
  }

  std::uint32_t word() { return static_cast<std::uint32_t>(generator_()); }

  bool oneIn(std::size_t chances) { return below(chances) == 0; }

  Octets octets(std::size_t size) {
    Octets result(size);
    for (std::uint8_t& octet : result) octet = static_cast<std::uint8_t>(generator_());
    return result;
  }

  // Octets in which carries and borrows run far: long runs of 00 and FF, of whole words mostly,
  // with ordinary ones among them.
  Octets runs(std::size_t size) {
    Octets result;
    while (result.size() < size) {
      const std::size_t length = 4 * (1 + below(8)) - (oneIn(4) ? below(4) : 0);
      const std::size_t kind = below(4);
      for (std::size_t i = 0; i < length; ++i) {
        result.push_back(kind == 0   ? 0
                         : kind == 1 ? 0xff
                                     : static_cast<std::uint8_t>(generator_()));
      }
    }
    result.resize(size);
    return result;
  }

 private:
  std::mt19937_64 generator_;
};

// How many cases a random test makes: `usual`, times the number in WZAPP_RANDOM_FACTOR, which the
// long entries of ctest set.
inline std::size_t randomCaseCount(std::size_t usual) {
  const char* const factor = std::getenv("WZAPP_RANDOM_FACTOR");
  return factor == nullptr ? usual : usual * std::strtoul(factor, nullptr, 10);
}

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_CRYPTO_RANDOM_CASES_H
