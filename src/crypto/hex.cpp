#include "crypto/hex.h"

#include <algorithm>

namespace wzapp {

void bytesToHex(ByteView bytes, char* text, std::size_t size) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  if (size == 0) return;
  for (const std::uint8_t byte : bytes.first(std::min(bytes.size(), (size - 1) / 2))) {
    *text++ = kDigits[byte >> 4];
    *text++ = kDigits[byte & 0x0F];
  }
  *text = '\0';
}

}  // namespace wzapp
