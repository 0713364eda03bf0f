#include "support/security_list.h"

#include "zelsec/zelsec.h"

namespace wzapp {

int readSecurityRecord(SecurityList list, std::span<std::uint8_t> buffer, std::uint16_t& length) {
  return CMDiag(static_cast<int>(list), buffer.data(), &length);
}

}  // namespace wzapp
