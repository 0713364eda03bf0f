#include "support/finding.h"

#include <cerrno>

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

}  // namespace wzapp
