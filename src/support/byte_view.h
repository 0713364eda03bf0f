// One name for octets in memory that somebody else owns.
//
// A view is passed by value, owns nothing and stays good as long as the octets it was made of; a
// record of views says whose octets they are.
#ifndef WZAPP_SUPPORT_BYTE_VIEW_H
#define WZAPP_SUPPORT_BYTE_VIEW_H

#include <cstdint>
#include <span>
#include <string_view>

namespace wzapp {

using ByteView = std::span<const std::uint8_t>;

// The octets of a text, which are not copied.
inline ByteView viewOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

}  // namespace wzapp

#endif  // WZAPP_SUPPORT_BYTE_VIEW_H
