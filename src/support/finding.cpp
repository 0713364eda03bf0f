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

Finding findingOfAttempt(bool hasSucceeded) {
  constexpr int kPassing[] = {EINTR, EIO, EMFILE, ENFILE, ENOMEM};
  if (hasSucceeded) return Finding::kFound;
  const bool isPassing = std::ranges::find(kPassing, errno) != std::end(kPassing);
  return isPassing ? Finding::kUnknown : Finding::kNone;
}

}  // namespace wzapp
