#include "tests/agree/der_mutation.h"

#include <optional>

namespace wzapp_test {
namespace {

constexpr std::uint8_t kOctetString = 0x04, kConstructed = 0x20;

// What the builders of the tests write: one octet of identifier, at most two behind 0x80 + n.
struct Node {
  std::uint8_t identifier;
  Octets content;              // where there are no children
  std::vector<Node> children;  // else these
  std::size_t lengthOctets = 0;
  bool isIndefinite = false;
};

std::optional<std::vector<Node>> readNodes(const Octets& der) {
  std::vector<Node> nodes;
  for (std::size_t at = 0; at < der.size();) {
    Node node{der[at++], {}, {}};
    if (at >= der.size()) return std::nullopt;
    std::size_t size = der[at++];
    if (size == 0x80 || size > 0x82) return std::nullopt;
    if (size > 0x80) {
      std::size_t count = size - 0x80;
      if (count > der.size() - at) return std::nullopt;
      for (size = 0; count > 0; --count) size = size << 8 | der[at++];
    }
    if (size > der.size() - at) return std::nullopt;
    const auto start = der.begin() + static_cast<std::ptrdiff_t>(at);
    node.content.assign(start, start + static_cast<std::ptrdiff_t>(size));
    if ((node.identifier & kConstructed) != 0 || node.identifier == kOctetString) {
      std::optional<std::vector<Node>> children = readNodes(node.content);
      if (children) node.children = std::move(*children);
    }
    nodes.push_back(std::move(node));
    at += size;
  }
  return nodes;
}

DerBuilder written(const std::vector<Node>& nodes) {
  DerBuilder all;
  for (const Node& node : nodes) {
    const DerBuilder content =
        node.children.empty() ? DerBuilder(node.content) : written(node.children);
    if (node.isIndefinite) {
      all.indefinite(node.identifier, content);
    } else if (node.lengthOctets != 0) {
      all.longForm(node.identifier, node.lengthOctets, content);
    } else {
      all.element(node.identifier, content);
    }
  }
  return all;
}

// Where a node stands: its siblings, itself among them, and its number.
struct Place {
  std::vector<Node>* siblings;
  std::size_t number;
  [[nodiscard]] Node& node() const { return (*siblings)[number]; }
};

void collectPlaces(std::vector<Node>& nodes, std::vector<Place>& places) {
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    places.push_back({&nodes, i});
    collectPlaces(nodes[i].children, places);
  }
}

void makeLeaf(Node& node) {
  node.content = written(node.children).octets();
  node.children.clear();
}

void changeContent(Node& node, RandomCases& random) {
  if (!node.children.empty()) makeLeaf(node);
  Octets& content = node.content;
  switch (random.below(5)) {
    case 0:
      content.clear();
      break;
    case 1:
      if (!content.empty()) content.pop_back();
      break;
    case 2:
      content.push_back(static_cast<std::uint8_t>(random.word()));
      break;
    case 3:
      content = random.octets(random.below(40));
      break;
    default:
      if (!content.empty()) {
        content[random.below(content.size())] ^= static_cast<std::uint8_t>(1U << random.below(8));
      }
  }
}

void changePlace(const Place& place, RandomCases& random) {
  constexpr std::uint8_t kIdentifiers[] = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x16, 0x17,
                                           0x18, 0x30, 0x31, 0x80, 0xA0, 0xA2, 0xA3, 0x1F};
  const auto at = place.siblings->begin() + static_cast<std::ptrdiff_t>(place.number);
  Node& node = place.node();
  switch (random.below(9)) {
    case 0:
      node.identifier = kIdentifiers[random.below(std::size(kIdentifiers))];
      break;
    case 1:
      node.lengthOctets = 1 + random.below(3);
      break;
    case 2:
      node.isIndefinite = true;
      break;
    case 3:
      place.siblings->erase(at);
      break;
    case 4: {
      const Node copy = node;
      place.siblings->insert(at, copy);
      break;
    }
    case 5:
      std::swap(node, (*place.siblings)[random.below(place.siblings->size())]);
      break;
    case 6:
      place.siblings->insert(at, Node{0x05, {}, {}});
      break;
    default:
      changeContent(node, random);
  }
}

}  // namespace

Octets mutatedDer(const Octets& der, RandomCases& random) {
  std::optional<std::vector<Node>> nodes = readNodes(der);
  if (!nodes) return der;
  std::vector<Place> places;
  collectPlaces(*nodes, places);
  if (!places.empty()) changePlace(places[random.below(places.size())], random);
  return written(*nodes).octets();
}

}  // namespace wzapp_test
