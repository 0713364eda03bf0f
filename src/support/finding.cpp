#include "support/finding.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

namespace wzapp {

Finding findingOf(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
    case ELOOP:  // links that lead nowhere stay so: who made them must not hold up the terminal
    case EACCES:
    case EPERM:
      return Finding::kNone;
    default:
      return Finding::kUnknown;
  }
}

bool isPassing(int error) {
  constexpr int kPassing[] = {EINTR, EIO, EMFILE, ENFILE, ENOMEM};
  return std::ranges::find(kPassing, error) != std::end(kPassing);
}

}  // namespace wzapp
