#include "tests/crypto/fake_clock.h"

#include <optional>

namespace {

std::optional<std::time_t> fakeNow;

}  // namespace

extern "C" {
std::time_t __real_time(std::time_t* now);

std::time_t __wrap_time(std::time_t* now) {
  if (!fakeNow) return __real_time(now);
  if (now != nullptr) *now = *fakeNow;
  return *fakeNow;
}
}

namespace wzapp_test {

FakeClock::FakeClock(std::time_t now) { fakeNow = now; }

FakeClock::~FakeClock() { fakeNow.reset(); }

}  // namespace wzapp_test
