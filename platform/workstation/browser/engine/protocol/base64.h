/// Base64 (RFC 4648, section 4), in which the DevTools protocol carries octets.
#ifndef WORKSTATION_BROWSER_ENGINE_BASE64_H
#define WORKSTATION_BROWSER_ENGINE_BASE64_H

#include <string>
#include <string_view>

namespace workstation {

std::string base64Encode(std::string_view octets);

/// False when `text` is no Base64 with padding.
[[nodiscard]] bool base64Decode(std::string_view text, std::string& octets);

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_BASE64_H
