#include "tests/crypto/allocation_faults.h"

#include <cstddef>
#include <new>

namespace {

struct Watch {
  bool isOn = false;
  int count = 0;
  int countOfNothrow = 0;
  int failing = 0;
};

Watch watch;

void countOne() {
  if (watch.isOn) ++watch.count;
}

bool mustFail() { return watch.isOn && ++watch.countOfNothrow == watch.failing; }

}  // namespace

// The mangled names of operator new and new[], each plain and with std::nothrow.
extern "C" {
void* __real__Znwm(std::size_t size);
void* __real__Znam(std::size_t size);
void* __real__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag);
void* __real__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag);

void* __wrap__Znwm(std::size_t size) {
  countOne();
  return __real__Znwm(size);
}

void* __wrap__Znam(std::size_t size) {
  countOne();
  return __real__Znam(size);
}

void* __wrap__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) {
  countOne();
  return mustFail() ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}

void* __wrap__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) {
  countOne();
  return mustFail() ? nullptr : __real__ZnamRKSt9nothrow_t(size, tag);
}
}

namespace wzapp_test {

AllocationWatch::AllocationWatch(int failing) {
  watch = {.isOn = true, .count = 0, .countOfNothrow = 0, .failing = failing};
}

AllocationWatch::~AllocationWatch() { watch.isOn = false; }

int AllocationWatch::count() const { return watch.count; }

}  // namespace wzapp_test
