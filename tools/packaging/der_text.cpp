#include "packaging/der_text.h"

#include "crypto/der/der_writer.h"

namespace packaging {

std::string derElement(unsigned char identifier, std::string_view content) {
  constexpr std::size_t kLongestShortLength = 127;
  std::string element(1, static_cast<char>(identifier));
  if (content.size() <= kLongestShortLength) {
    element += static_cast<char>(content.size());
  } else {
    std::string length;
    for (std::size_t rest = content.size(); rest != 0; rest >>= 8) {
      length.insert(length.begin(), static_cast<char>(rest & 0xFF));
    }
    element += static_cast<char>(0x80 | length.size());
    element += length;
  }
  return element.append(content);
}

std::string derOid(std::string_view dotted) {
  wzapp::DerBuffer buffer;
  if (wzapp::textToOid(dotted, &buffer) < 0) return {};
  const wzapp::ByteView octets = buffer.encoding();
  return {octets.begin(), octets.end()};
}

}  // namespace packaging
