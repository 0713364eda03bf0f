#include "workstation/browser/engine/process/random_token.h"

#include <random>

namespace workstation {

std::string randomToken() {
  static const char kHex[] = "0123456789abcdef";
  std::random_device source;
  std::string token;
  for (int word = 0; word < 4; ++word) {
    const unsigned bits = source();
    for (unsigned shift = 0; shift < 32; shift += 4) token += kHex[bits >> shift & 15];
  }
  return token;
}

}  // namespace workstation
