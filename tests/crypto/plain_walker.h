// A DER walker written for nothing but likeness to the description of the walk: it counts octets
// level by level, and copies all that it knows for a step to the next sibling. What DerWalker does
// in less is compared with it.
#ifndef WZAPP_TESTS_CRYPTO_PLAIN_WALKER_H
#define WZAPP_TESTS_CRYPTO_PLAIN_WALKER_H

#include <cstddef>
#include <vector>

#include "crypto/der/der_walker.h"

namespace wzapp_test {

class PlainWalker {
 public:
  explicit PlainWalker(wzapp::ByteView buffer) : buffer_(buffer) {}

  // As DerWalker::walk.
  int walk(wzapp::WalkMode mode, std::size_t n, wzapp::DerElement& element);

 private:
  struct Level {
    std::size_t declared;  // content length, or kIndefiniteLength
    std::uint32_t children;
    std::size_t consumed;
  };
  struct State {
    std::size_t position = 0;
    std::size_t passed = 0;
    std::vector<Level> levels{{wzapp::kIndefiniteLength, 0, 0}};
  };

  int step(bool descends, wzapp::DerElement& element);
  int readHeader(wzapp::DerElement& element) const;
  void closeLevel();

  wzapp::ByteView buffer_;
  State state_;
  State snapshot_;
  bool siblingBefore_ = false;
};

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_CRYPTO_PLAIN_WALKER_H
