#include "crypto/der/element_iterator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/builders/der_builder.h"

namespace wzapp {
namespace {

using testing::ElementsAreArray;
using wzapp_test::DerBuilder;
using wzapp_test::fromHex;
using wzapp_test::Octets;

struct ElementCase {
  const char* hex;
  std::uint32_t identifier;
  const char* value;
  std::size_t position;  // behind it
};

class ElementIteratorReads : public testing::TestWithParam<ElementCase> {};

TEST_P(ElementIteratorReads, ElementAndMovesBehindIt) {
  const Octets buffer = fromHex(GetParam().hex);
  ElementIterator iterator(buffer);
  ByteView value;

  const std::uint32_t identifier = iterator.next(value);

  EXPECT_EQ(identifier, GetParam().identifier);
  EXPECT_THAT(value, ElementsAreArray(fromHex(GetParam().value)));
  EXPECT_NE(value.data(), nullptr);
  EXPECT_EQ(iterator.position(), GetParam().position);
}

INSTANTIATE_TEST_SUITE_P(
    Forms, ElementIteratorReads,
    testing::Values(
        ElementCase{"16 00", 0x16, "", 2}, ElementCase{"16 02 41 42 05 00", 0x16, "41 42", 4},
        ElementCase{"30 02 05 00", 0x30, "05 00", 4}, ElementCase{"1E 01 07", 0x1E, "07", 3},
        ElementCase{"1F 1F 01 07", 0x1F1F, "07", 4},
        ElementCase{"BF 81 02 01 07", 0xBF8102, "07", 5},
        ElementCase{"1F 81 82 03 01 07", 0x1F818203, "07", 6},
        ElementCase{"16 81 01 41", 0x16, "41", 4}, ElementCase{"16 82 00 01 41", 0x16, "41", 5},
        ElementCase{"16 8A 00 00 00 00 00 00 00 00 00 01 41", 0x16, "41", 13},
        ElementCase{"00 00 05", 0, "", 2}, ElementCase{"00 01 41", 0, "41", 3},
        ElementCase{"30 80 00 00 05", 0x30, "", 4},
        ElementCase{"30 80 05 00 16 01 41 00 00 05", 0x30, "05 00 16 01 41", 9},
        ElementCase{"30 80 31 80 05 00 00 00 00 00", 0x30, "31 80 05 00 00 00", 10},
        ElementCase{"30 80 30 02 00 00 00 00", 0x30, "30 02 00 00", 8},
        ElementCase{"30 80 05 00 00 01 41", 0x30, "05 00", 7}));

class ElementIteratorRefuses : public testing::TestWithParam<const char*> {};

TEST_P(ElementIteratorRefuses, ElementAndStaysBeforeIt) {
  const Octets buffer = fromHex(GetParam());
  ElementIterator iterator(buffer);
  ByteView value(buffer);

  EXPECT_EQ(iterator.next(value), 0U);
  EXPECT_EQ(value.data(), nullptr);
  EXPECT_TRUE(value.empty());
  EXPECT_EQ(iterator.position(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Forms, ElementIteratorRefuses,
                         testing::Values("", "16", "16 01", "16 03 41 42", "1F", "1F 81",
                                         "1F 81 82 83 04 01 07", "1F 81 82 83", "16 81", "16 82 01",
                                         "16 FF", "16 89 01 00 00 00 00 00 00 00 00",
                                         "16 88 FF FF FF FF FF FF FF FF 41", "16 84 FF FF FF FF 41",
                                         "16 80 00 00", "30 80", "30 80 05 00", "30 80 05 00 00",
                                         "30 80 16 05 00 00", "30 80 16 80 00 00 00 00"));

TEST(ElementIterator, BeginsAtAPosition) {
  const Octets buffer = fromHex("05 00 16 01 41");
  ElementIterator iterator(buffer, 2);
  ByteView value;

  EXPECT_EQ(iterator.next(value), 0x16U);
  EXPECT_EQ(iterator.next(value), 0U);
}

TEST(ElementIterator, BehindTheBufferThereIsNothing) {
  const Octets buffer = fromHex("05 00");
  ElementIterator iterator(buffer, 3);
  ByteView value;

  EXPECT_EQ(iterator.next(value), 0U);
  EXPECT_EQ(value.data(), nullptr);
}

TEST(ElementIterator, WalksAListToItsEnd) {
  const Octets buffer = DerBuilder().ia5String("S11").null().ia5String("S14").octets();
  ElementIterator iterator(buffer);
  ByteView value;
  std::vector<std::uint32_t> identifiers;

  while (const std::uint32_t identifier = iterator.next(value)) identifiers.push_back(identifier);

  EXPECT_EQ(identifiers, (std::vector<std::uint32_t>{0x16, 0x05, 0x16}));
  EXPECT_EQ(iterator.position(), buffer.size());
}

Octets nestedIndefinite(int levels) {
  DerBuilder der;
  for (int i = 0; i < levels; ++i) der = DerBuilder().indefinite(0x30, der);
  return der.octets();
}

TEST(ElementIterator, ReadsTwentyFiveIndefiniteLevelsAndNoMore) {
  const Octets sound = nestedIndefinite(25);
  const Octets tooDeep = nestedIndefinite(26);
  ByteView value;

  EXPECT_EQ(ElementIterator(sound).next(value), 0x30U);
  EXPECT_EQ(value.size(), sound.size() - 4);
  EXPECT_EQ(ElementIterator(tooDeep).next(value), 0U);
}

TEST(ElementIterator, EveryCutOfAnElementIsRefused) {
  const Octets whole =
      DerBuilder()
          .indefinite(
              0x30, DerBuilder().octetString(Octets(200, 1)).indefinite(0x31, DerBuilder().null()))
          .octets();
  for (std::size_t length = 0; length < whole.size(); ++length) {
    const Octets cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
    ByteView value;

    EXPECT_EQ(ElementIterator(cut).next(value), 0U) << length;
  }
}

}  // namespace
}  // namespace wzapp
