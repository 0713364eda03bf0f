#include "tests/builders/counted_steps.h"

namespace {

std::uint64_t steps = 0;

}  // namespace

// What the compiler has every basic block call.
extern "C" void __sanitizer_cov_trace_pc() { ++steps; }

namespace wzapp_test {

std::uint64_t stepsTaken() { return steps; }

}  // namespace wzapp_test
