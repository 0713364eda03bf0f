#include <gtest/gtest.h>

#include <tuple>

#include "crypto/der/der_walker.h"
#include "tests/builders/certificate_builder.h"
#include "tests/crypto/plain_walker.h"
#include "tests/crypto/random_cases.h"

namespace wzapp {
namespace {

using wzapp_test::DerBuilder;
using wzapp_test::Octets;
using wzapp_test::PlainWalker;
using wzapp_test::RandomCases;

// Elements of every form at random, about `count` at each level.
DerBuilder randomElements(RandomCases& random, std::size_t count, std::size_t levels) {
  static constexpr std::uint8_t kPrimitive[] = {0x00, 0x01, 0x02, 0x04, 0x06, 0x80};
  static constexpr std::uint8_t kConstructed[] = {0x30, 0x31, 0xA0, 0x24};
  DerBuilder der;
  for (std::size_t i = random.below(2 * count + 1); i > 0; --i) {
    const bool isConstructed = levels > 0 && random.oneIn(2);
    const DerBuilder content = isConstructed ? randomElements(random, count, levels - 1)
                                             : DerBuilder(random.octets(random.below(5)));
    std::uint8_t identifier =
        isConstructed ? kConstructed[random.below(4)] : kPrimitive[random.below(6)];
    if (random.oneIn(30)) identifier |= 0x1F;
    switch (random.below(8)) {
      case 0:
        der.indefinite(identifier, content);
        break;
      case 1:
        der.longForm(identifier, 1 + random.below(3), content);
        break;
      default:
        der.element(identifier, content);
    }
  }
  return der;
}

// Texts inside each other close to the most levels that a walk takes.
DerBuilder deepText(RandomCases& random) {
  DerBuilder der = randomElements(random, 2, 1);
  for (std::size_t levels = 20 + random.below(8); levels > 0; --levels) {
    DerBuilder outer;
    if (random.oneIn(3))
      outer.indefinite(0x30, der);
    else
      outer.sequence(der);
    der = outer;
  }
  return der;
}

Octets randomText(RandomCases& random) {
  Octets der;
  switch (random.below(8)) {
    case 0:
      der = wzapp_test::CertificateBuilder().encoding();
      break;
    case 1:
      der = deepText(random).octets();
      break;
    case 2:
      der = random.octets(random.below(40));
      break;
    default:
      der = randomElements(random, 3, 4).octets();
  }
  for (std::size_t changes = random.below(4); changes > 0 && !der.empty(); --changes) {
    der[random.below(der.size())] = static_cast<std::uint8_t>(random.word());
  }
  if (random.oneIn(4)) der.resize(random.below(der.size() + 1));
  return der;
}

auto fieldsOf(const DerElement& element) {
  return std::tuple(element.offset, element.identifier, element.constructed, element.classBits,
                    element.tagNumber, element.contentLength, element.headerLength);
}

// Any text, any order of steps: the same codes, the same places and the same elements.
TEST(DerWalkerDifferential, AgreesWithAPlainOneInEveryMode) {
  RandomCases random(25);
  for (std::size_t i = 0; i < wzapp_test::randomCaseCount(7000); ++i) {
    const Octets der = randomText(random);
    DerWalker walker(der);
    PlainWalker plain(der);
    const std::size_t restarts = 1 + random.below(40);
    for (std::size_t step = 0; step < 60; ++step) {
      auto mode = random.oneIn(2) ? WalkMode::kNext : WalkMode::kNextSibling;
      if (random.oneIn(8)) mode = WalkMode::kToIndex;
      if (random.oneIn(restarts)) mode = WalkMode::kRestart;
      const std::size_t n = random.below(mode == WalkMode::kRestart ? 5 : step + 5);
      DerElement element;
      DerElement expected;

      const int code = walker.walk(mode, n, element);
      const int expectedCode = plain.walk(mode, n, expected);

      ASSERT_EQ(code, expectedCode) << "case " << i << ", step " << step;
      ASSERT_EQ(element.status, expected.status);
      ASSERT_EQ(element.depth, expected.depth);
      ASSERT_EQ(element.index, expected.index);
      if (code != 0) continue;
      ASSERT_EQ(fieldsOf(element), fieldsOf(expected)) << "case " << i;
    }
  }
}

}  // namespace
}  // namespace wzapp
