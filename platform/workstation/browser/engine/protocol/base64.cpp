#include "workstation/browser/engine/protocol/base64.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace workstation {
namespace {

constexpr std::string_view kDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The first octet of a group stands highest.
std::uint32_t groupOf(const char* octets, std::size_t count) {
  std::uint32_t group = 0;
  for (std::size_t i = 0; i < count; ++i) {
    group |= std::uint32_t{static_cast<unsigned char>(octets[i])} << (16 - 8 * i);
  }
  return group;
}

}  // namespace

std::string base64Encode(std::string_view octets) {
  std::string text((octets.size() + 2) / 3 * 4, '=');
  char* to = text.data();
  for (std::size_t i = 0; i < octets.size(); i += 3, to += 4) {
    const std::size_t count = std::min<std::size_t>(octets.size() - i, 3);
    const std::uint32_t group = groupOf(octets.data() + i, count);
    for (std::size_t digit = 0; digit <= count; ++digit) {
      to[digit] = kDigits[group >> (18 - 6 * digit) & 63];
    }
  }
  return text;
}

bool base64Decode(std::string_view text, std::string& octets) {
  if (text.size() % 4 != 0) return false;
  std::size_t padding = 0;
  while (padding < 2 && padding < text.size() && text[text.size() - 1 - padding] == '=') ++padding;
  std::string decoded;
  decoded.reserve(text.size() / 4 * 3);
  std::uint32_t group = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool pad = i >= text.size() - padding;
    const std::size_t digit = pad ? 0 : kDigits.find(text[i]);
    if (digit == std::string_view::npos) return false;
    group = group << 6 | static_cast<std::uint32_t>(digit);
    if (i % 4 != 3) continue;
    for (int shift = 16; shift >= 0; shift -= 8) decoded += static_cast<char>(group >> shift & 255);
    group = 0;
  }
  decoded.resize(decoded.size() - padding);
  octets.swap(decoded);
  return true;
}

}  // namespace workstation
