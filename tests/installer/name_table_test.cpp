#include "installer/name_table.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/builders/failing_memory.h"

namespace wzapp {
namespace {

using namespace wzapp_test;

std::string nameAt(std::size_t place) { return "name " + std::to_string(place); }

TEST(NameTableTest, NumbersNamesInTheOrderInWhichTheyCome) {
  NameTable names;
  EXPECT_EQ(names.size(), 0U);
  EXPECT_EQ(names.find("pay"), std::nullopt);

  EXPECT_EQ(names.numberOf("pay"), 0U);
  EXPECT_EQ(names.numberOf("print"), 1U);
  EXPECT_EQ(names.numberOf("pay"), 0U);

  EXPECT_EQ(names.size(), 2U);
  EXPECT_EQ(names.find("print"), 1U);
  EXPECT_EQ(names.nameOf(1), "print");
  EXPECT_EQ(names.find("prin"), std::nullopt);
}

TEST(NameTableTest, TellsNamesApartByEveryOctet) {
  const std::vector<std::string> different = {
      "",        std::string(1, '\0'), "a", std::string("a\0", 2), std::string("a\0b", 3), "A",
      "\xC3\xA4"};
  NameTable names;
  for (std::size_t i = 0; i < different.size(); ++i) EXPECT_EQ(names.numberOf(different[i]), i);
  for (std::size_t i = 0; i < different.size(); ++i) {
    EXPECT_EQ(names.find(different[i]), i);
    EXPECT_EQ(names.nameOf(static_cast<NameTable::Number>(i)), different[i]);
  }
}

TEST(NameTableTest, GrowsWithoutMovingAName) {
  constexpr std::size_t kCount = 20000;
  NameTable names;
  const std::string large(100000, 'n');
  ASSERT_EQ(names.numberOf(large), 0U);
  const char* const place = names.nameOf(0).data();
  for (std::size_t i = 1; i < kCount; ++i) ASSERT_EQ(names.numberOf(nameAt(i)), i);

  EXPECT_EQ(names.size(), kCount);
  EXPECT_EQ(names.nameOf(0), large);
  EXPECT_EQ(names.nameOf(0).data(), place);
  for (std::size_t i = 1; i < kCount; ++i) {
    ASSERT_EQ(names.find(nameAt(i)), i);
    const std::string_view name = names.nameOf(static_cast<NameTable::Number>(i));
    ASSERT_EQ(name, nameAt(i));
    ASSERT_EQ(name.data()[name.size()], '\0');
  }
  EXPECT_EQ(names.find(nameAt(kCount)), std::nullopt);
}

TEST(NameTableTest, IsAsItWasWhereMemoryRunsOut) {
  NameTable names;
  std::size_t shortages = 0;
  for (std::size_t i = 0; i < 1000; ++i) {
    const std::string name = nameAt(i);
    for (int nth = 1;; ++nth) {
      failAllocation(nth, Shortage::kOnce);
      try {
        static_cast<void>(names.numberOf(name));
      } catch (const std::bad_alloc&) {
        ASSERT_EQ(names.size(), i);
        ASSERT_EQ(names.find(name), std::nullopt);
      }
      if (!endShortage()) break;
      ++shortages;
    }
    ASSERT_EQ(names.find(name), i);
  }
  EXPECT_GT(shortages, 10U);
}

// What 100,000 names of 6 octets take: a map of strings takes 88 of each.
TEST(NameTableTest, TakesFewOctetsOfAName) {
  constexpr std::size_t kCount = 100000;
  std::vector<std::string> list;
  for (std::size_t i = 0; i < kCount; ++i) list.push_back(std::to_string(100000 + i));

  countMemory();
  NameTable names;
  for (const std::string& name : list) names.numberOf(name);

  const std::size_t each = mostMemory() / kCount;
  RecordProperty("octets", static_cast<int>(each));
  EXPECT_LT(each, 6 + 5 + 8 + 16);
  EXPECT_GT(each, 6U + 5 + 8);
}

}  // namespace
}  // namespace wzapp
