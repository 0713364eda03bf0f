#include "crypto/store/tar_writer.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/builders/der_builder.h"
#include "tests/builders/tar_reader.h"

namespace wzapp {
namespace {

using wzapp_test::Octets;
using wzapp_test::readTar;
using wzapp_test::readTarHeader;

std::string octetsOf(const TarHeader& header) {
  return {reinterpret_cast<const char*>(&header), sizeof header};
}

TEST(TarHeader, HasEachFieldAtItsOffset) {
  std::string expected(512, '\0');
  const auto put = [&expected](std::size_t offset, std::string_view octets) {
    expected.replace(offset, octets.size(), octets);
  };
  put(0, "wz207828.crt");
  put(100, "644");
  put(108, "0");
  put(116, "0");
  put(124, "1750");  // 1000
  put(136, "14524770400");
  put(148, std::string_view("000000\0 ", 8));
  put(156, "0");
  put(257, std::string_view("ustar\0"
                            "00",
                            8));
  put(265, "root");
  put(297, "root");
  unsigned sum = 8 * ' ';
  for (std::size_t i = 0; i < 512; ++i) {
    if (i < 148 || i >= 156) sum += static_cast<unsigned char>(expected[i]);
  }
  char digits[8];
  std::snprintf(digits, sizeof digits, "%06o", sum);
  put(148, std::string_view(digits, 6));

  EXPECT_EQ(octetsOf(makeTarHeader("wz207828.crt", 1000, 1700000000)), expected);
}

TEST(TarHeader, ChecksumCountsOctetsWithoutASign) {
  const std::string low = octetsOf(makeTarHeader("\x01", 0, 0));
  const std::string high = octetsOf(makeTarHeader("\xFF", 0, 0));

  EXPECT_EQ(std::stoi(high.substr(148, 6), nullptr, 8),
            std::stoi(low.substr(148, 6), nullptr, 8) + 0xFE);
}

struct Name {
  std::string given;
  std::string kept;
};

class TarName : public testing::TestWithParam<Name> {};

TEST_P(TarName, EndsInsideItsField) {
  EXPECT_EQ(readTarHeader(octetsOf(makeTarHeader(GetParam().given, 1, 1))).name, GetParam().kept);
}

INSTANTIATE_TEST_SUITE_P(Lengths, TarName,
                         testing::Values(Name{"", ""}, Name{"a", "a"},
                                         Name{std::string(99, 'x'), std::string(99, 'x')},
                                         Name{std::string(100, 'x'), std::string(99, 'x')},
                                         Name{std::string("a\0b", 3), "a"},
                                         Name{std::string("\0b", 2), ""}));

struct Number {
  std::size_t size;
  std::time_t time;
  const char* sizeDigits;
  const char* timeDigits;
};

class TarNumber : public testing::TestWithParam<Number> {};

TEST_P(TarNumber, IsOctalWithoutLeadingZeros) {
  const std::string header = octetsOf(makeTarHeader("a", GetParam().size, GetParam().time));

  EXPECT_STREQ(header.c_str() + 124, GetParam().sizeDigits);
  EXPECT_STREQ(header.c_str() + 136, GetParam().timeDigits);
  EXPECT_NO_THROW(readTarHeader(header));
}

// Eleven octal digits are what a field holds; a size of 32 bits has fewer.
constexpr auto kFieldLimit = std::int64_t{8589934591};
constexpr auto kBeyondTheField = static_cast<std::time_t>(kFieldLimit + 1);
constexpr bool kHasWideSizes = sizeof(std::size_t) > 4;
constexpr Number kLargestNumber = {
    kHasWideSizes ? static_cast<std::size_t>(kFieldLimit) : std::numeric_limits<std::size_t>::max(),
    static_cast<std::time_t>(kFieldLimit), kHasWideSizes ? "77777777777" : "37777777777",
    "77777777777"};

INSTANTIATE_TEST_SUITE_P(
    Values, TarNumber,
    testing::Values(Number{0, 0, "0", "0"}, Number{7, 8, "7", "10"},
                    Number{512, 1700000000, "1000", "14524770400"},
                    Number{8192, 2147483647, "20000", "17777777777"}, kLargestNumber,
                    Number{1, kBeyondTheField, "1", "77777777777"},
                    Number{1, std::numeric_limits<std::time_t>::max(), "1", "77777777777"},
                    Number{1, -1, "1", "0"},
                    Number{1, std::numeric_limits<std::time_t>::min(), "1", "0"}));

class TarPadding : public testing::TestWithParam<std::size_t> {};

TEST_P(TarPadding, FillsTheLastBlock) {
  const std::size_t size = GetParam();
  const Octets content(size, 0xA5);
  std::string archive = "before";

  appendTarFile(archive, "a", content, 0);

  ASSERT_EQ(archive.size(), 6 + 512 + (size + 511) / 512 * 512);
  EXPECT_EQ(archive.substr(0, 6), "before");
  EXPECT_EQ(archive.substr(6 + 512, size), std::string(size, '\xA5'));
  EXPECT_EQ(archive.substr(6 + 512 + size).find_first_not_of('\0'), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Sizes, TarPadding,
                         testing::Values(0, 1, 511, 512, 513, 1000, 1023, 1024, 8192));

TEST(TarWriter, AnArchiveEndsWithTwoBlocks) {
  std::string archive;

  appendTarEnd(archive);

  EXPECT_EQ(archive, std::string(1024, '\0'));
  EXPECT_TRUE(readTar(archive).empty());
}

}  // namespace
}  // namespace wzapp
