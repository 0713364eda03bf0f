// Counts what this program takes from the heap by `operator new`, and lets a chosen one fail.
//
// The linker replaces the operators (--wrap), so that it works in every build; what OpenSSL and the
// standard library take is not seen.
#ifndef WZAPP_TESTS_CRYPTO_ALLOCATION_FAULTS_H
#define WZAPP_TESTS_CRYPTO_ALLOCATION_FAULTS_H

namespace wzapp_test {

// Watches the allocations of the whole program while it lives. One at a time.
class AllocationWatch {
 public:
  // Without a fault: counts only.
  AllocationWatch() : AllocationWatch(0) {}
  // The N-th allocation that may fail without an exception (`failing`, from 1) gives null.
  explicit AllocationWatch(int failing);
  ~AllocationWatch();
  AllocationWatch(const AllocationWatch&) = delete;
  AllocationWatch& operator=(const AllocationWatch&) = delete;

  // Allocations of every kind since the watch began.
  [[nodiscard]] int count() const;
};

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_CRYPTO_ALLOCATION_FAULTS_H
