#include "workstation/zelipc/bus_names.h"

#include <cstddef>
#include <cstdint>

namespace workstation {
namespace {

constexpr std::string_view kHexDigits = "0123456789abcdef";
constexpr std::size_t kLongestPlain = 100;  // octets whose hexadecimal digits are the key
constexpr std::size_t kShownOfLong = 64;

std::string hexadecimal(std::string_view text) {
  std::string digits;
  digits.reserve(2 * text.size());
  for (const char c : text) {
    const auto octet = static_cast<unsigned char>(c);
    digits += kHexDigits[octet >> 4];
    digits += kHexDigits[octet & 0x0F];
  }
  return digits;
}

// FNV-1a with 64 bits. Two texts of one hash only cost a message that is thrown away.
std::uint64_t hash(std::string_view text) {
  std::uint64_t value = 0xCBF29CE484222325;
  for (const char c : text) {
    value ^= static_cast<unsigned char>(c);
    value *= 0x100000001B3;
  }
  return value;
}

}  // namespace

std::string busKey(std::string_view text) {
  if (text.size() <= kLongestPlain) return hexadecimal(text);
  return hexadecimal(text.substr(0, kShownOfLong)) + "_" + std::to_string(text.size()) + "_" +
         std::to_string(hash(text));
}

// An element of a bus name does not begin with a digit.
std::string busName(std::string_view address) { return "zelipc.a" + busKey(address); }

std::string busMatch(std::string_view address, std::string_view name) {
  return std::string("type='signal',interface='") + kBusInterface + "',member='" + kBusMember +
         "',eavesdrop='true',arg0='" + busKey(address) + "',arg1='" + busKey(name) + "'";
}

}  // namespace workstation
