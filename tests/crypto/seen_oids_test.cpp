#include "crypto/der/seen_oids.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace wzapp {
namespace {

using Result = SeenOids::Result;

ShortOid numbered(std::size_t number) {
  return ShortOid::parse("1.2.3." + std::to_string(number)).value();
}

TEST(SeenOids, KnowWhatTheyHaveMet) {
  SeenOids seen;

  EXPECT_EQ(seen.insert(oid("2.5.29.14")), Result::kNew);
  EXPECT_EQ(seen.insert(oid("2.5.29.15")), Result::kNew);
  EXPECT_EQ(seen.insert(oid("2.5.29.14")), Result::kSeenBefore);
  EXPECT_EQ(seen.insert(oid("2.5.29")), Result::kNew);
  EXPECT_EQ(seen.insert(oid("2.5.29.15")), Result::kSeenBefore);
  EXPECT_EQ(seen.insert(oid("2.5.29")), Result::kSeenBefore);
}

TEST(SeenOids, DifferByLengthAlone) {
  SeenOids seen;

  EXPECT_EQ(seen.insert(oid("0.0")), Result::kNew);
  EXPECT_EQ(seen.insert(oid("0.0.0")), Result::kNew);
  EXPECT_EQ(seen.insert(oid("0.0.0.0")), Result::kNew);
  EXPECT_EQ(seen.insert(oid("0.0.0")), Result::kSeenBefore);
}

TEST(SeenOids, DifferByAnyOctet) {
  constexpr std::size_t kOctets = 14;
  SeenOids seen;
  std::vector<std::uint8_t> octets(kOctets, 1);
  EXPECT_EQ(seen.insert(ShortOid::ofOctets(octets)), Result::kNew);

  for (std::size_t i = 0; i < kOctets; ++i) {
    std::vector<std::uint8_t> other = octets;
    other[i] = 2;

    EXPECT_EQ(seen.insert(ShortOid::ofOctets(other)), Result::kNew) << i;
    EXPECT_EQ(seen.insert(ShortOid::ofOctets(other)), Result::kSeenBefore) << i;
  }
}

TEST(SeenOids, GrowBeyondWhatTheyKeepInside) {
  constexpr std::size_t kMany = 20000;
  SeenOids seen;
  for (std::size_t i = 0; i < kMany; ++i) {
    ASSERT_EQ(seen.insert(numbered(i * 7919 % kMany)), Result::kNew) << i;
  }

  for (std::size_t i = 0; i < kMany; ++i) {
    ASSERT_EQ(seen.insert(numbered(i)), Result::kSeenBefore) << i;
  }
}

TEST(SeenOids, AgreeWithASetOfTexts) {
  std::mt19937 random(64);
  for (int round = 0; round < 200; ++round) {
    SeenOids seen;
    std::set<std::string> texts;
    for (int i = 0; i < 300; ++i) {
      std::string text = std::to_string(random() % 3) + "." + std::to_string(random() % 40);
      for (std::uint32_t arcs = random() % 4; arcs > 0; --arcs) {
        text += "." + std::to_string(random() % 3 == 0 ? random() : random() % 4);
      }
      const std::optional<ShortOid> oid = ShortOid::parse(text);
      if (!oid) continue;

      const Result result = seen.insert(*oid);

      ASSERT_EQ(result == Result::kNew, texts.insert(text).second) << text;
    }
  }
}

}  // namespace
}  // namespace wzapp
