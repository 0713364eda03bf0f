// Integers as their most significant octet first, at any address.
#ifndef WZAPP_CRYPTO_BIG_ENDIAN_H
#define WZAPP_CRYPTO_BIG_ENDIAN_H

#include <cstdint>

namespace wzapp {

// Reads four octets.
[[nodiscard]] constexpr std::uint32_t loadBigEndian32(const std::uint8_t* octets) {
  return std::uint32_t{octets[0]} << 24 | std::uint32_t{octets[1]} << 16 |
         std::uint32_t{octets[2]} << 8 | std::uint32_t{octets[3]};
}

// Reads eight octets.
[[nodiscard]] constexpr std::uint64_t loadBigEndian64(const std::uint8_t* octets) {
  return std::uint64_t{loadBigEndian32(octets)} << 32 | loadBigEndian32(octets + 4);
}

// Writes four octets.
inline void storeBigEndian32(std::uint8_t* octets, std::uint32_t value) {
  octets[0] = static_cast<std::uint8_t>(value >> 24);
  octets[1] = static_cast<std::uint8_t>(value >> 16);
  octets[2] = static_cast<std::uint8_t>(value >> 8);
  octets[3] = static_cast<std::uint8_t>(value);
}

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_BIG_ENDIAN_H
