#include "tests/builders/der_builder.h"

#include <charconv>

namespace wzapp_test {

Octets fromHex(std::string_view hex) {
  Octets octets;
  for (std::size_t i = 0; i + 1 < hex.size();) {
    if (hex[i] == ' ') {
      ++i;
      continue;
    }
    std::uint8_t octet = 0;
    std::from_chars(hex.data() + i, hex.data() + i + 2, octet, 16);
    octets.push_back(octet);
    i += 2;
  }
  return octets;
}

Octets fromText(std::string_view text) { return {text.begin(), text.end()}; }

DerBuilder& DerBuilder::element(std::uint8_t identifier, const DerBuilder& content) {
  const std::size_t length = content.octets_.size();
  if (length >= 0x80) return longForm(identifier, length > 0xFF ? 2 : 1, content);
  const Octets inner = content.octets_;
  octets_.push_back(identifier);
  octets_.push_back(static_cast<std::uint8_t>(length));
  octets_.insert(octets_.end(), inner.begin(), inner.end());
  return *this;
}

DerBuilder& DerBuilder::indefinite(std::uint8_t identifier, const DerBuilder& content) {
  return raw(Octets{identifier, 0x80}).raw(content).raw(Octets{0, 0});
}

DerBuilder& DerBuilder::longForm(std::uint8_t identifier, std::size_t lengthOctets,
                                 const DerBuilder& content) {
  const Octets inner = content.octets_;
  octets_.push_back(identifier);
  octets_.push_back(static_cast<std::uint8_t>(0x80 + lengthOctets));
  for (std::size_t i = lengthOctets; i-- > 0;) {
    octets_.push_back(i < 8 ? static_cast<std::uint8_t>(inner.size() >> (8 * i)) : std::uint8_t{0});
  }
  octets_.insert(octets_.end(), inner.begin(), inner.end());
  return *this;
}

DerBuilder& DerBuilder::raw(const DerBuilder& octets) {
  const Octets inner = octets.octets_;
  octets_.insert(octets_.end(), inner.begin(), inner.end());
  return *this;
}

DerBuilder& DerBuilder::boolean(bool value) {
  return element(0x01, Octets{value ? std::uint8_t{0xFF} : std::uint8_t{0}});
}

DerBuilder& DerBuilder::integer(std::int64_t value) {
  Octets content;
  int count = 8;
  while (count > 1 && value >> (8 * (count - 1) - 1) == (value < 0 ? -1 : 0)) --count;
  for (int i = count; i-- > 0;) content.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  return integer(content);
}

DerBuilder& DerBuilder::bitString(const DerBuilder& octets, std::uint8_t unusedBits) {
  return element(0x03, DerBuilder(Octets{unusedBits}).raw(octets));
}

DerBuilder& DerBuilder::oid(std::string_view text) {
  std::vector<std::uint64_t> arcs;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t dot = std::min(text.find('.', start), text.size());
    std::uint64_t arc = 0;
    std::from_chars(text.data() + start, text.data() + dot, arc);
    arcs.push_back(arc);
    start = dot + 1;
  }
  Octets content{static_cast<std::uint8_t>(40 * arcs.at(0) + arcs.at(1))};
  for (std::size_t i = 2; i < arcs.size(); ++i) {
    Octets reversed{static_cast<std::uint8_t>(arcs[i] & 0x7F)};
    for (std::uint64_t rest = arcs[i] >> 7; rest != 0; rest >>= 7) {
      reversed.push_back(static_cast<std::uint8_t>(0x80 | (rest & 0x7F)));
    }
    content.insert(content.end(), reversed.rbegin(), reversed.rend());
  }
  return element(0x06, content);
}

DerBuilder& DerBuilder::tagged(std::uint8_t tag, const DerBuilder& content) {
  return element(static_cast<std::uint8_t>(0xA0 | tag), content);
}

}  // namespace wzapp_test
