/// One name for octets in memory that somebody else owns.
///
/// A view is passed by value, owns nothing and stays good as long as the octets it was made of; a
/// record of views says whose octets they are.
#ifndef WZAPP_SUPPORT_BYTE_VIEW_H
#define WZAPP_SUPPORT_BYTE_VIEW_H

#include <cstdint>
#include <span>

namespace wzapp {

using ByteView = std::span<const std::uint8_t>;

}  // namespace wzapp

#endif  // WZAPP_SUPPORT_BYTE_VIEW_H
