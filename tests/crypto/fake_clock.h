// The time of day of these tests: while an object lives, time(2) gives what it was told. A program
// that uses it has the linker wrap `time`.
#ifndef WZAPP_TESTS_CRYPTO_FAKE_CLOCK_H
#define WZAPP_TESTS_CRYPTO_FAKE_CLOCK_H

#include <ctime>

namespace wzapp_test {

// One at a time.
class FakeClock {
 public:
  explicit FakeClock(std::time_t now);
  FakeClock(const FakeClock&) = delete;
  FakeClock& operator=(const FakeClock&) = delete;
  ~FakeClock();
};

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_CRYPTO_FAKE_CLOCK_H
