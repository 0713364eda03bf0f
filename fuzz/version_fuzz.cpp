// Versions: an input is three of them, one a line. Their order must be that of a comparison written
// straight from the rules, and an order at all.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/check.h"
#include "installer/version.h"

namespace {

using wzapp::Version;

constexpr std::size_t kMaxInput = 4096;

bool isSpaceOctet(char octet) { return octet == ' ' || (octet >= 9 && octet <= 13); }

// Digit by digit, held at the ends of 64 bits.
std::int64_t numberOf(const std::string& text) {
  // The smallest number's magnitude; the largest is one less.
  constexpr std::uint64_t kLimit = std::uint64_t{1} << 63;
  std::size_t at = 0;
  while (at < text.size() && isSpaceOctet(text[at])) ++at;
  const bool isNegative = at < text.size() && text[at] == '-';
  if (at < text.size() && (text[at] == '-' || text[at] == '+')) ++at;
  std::uint64_t value = 0;
  for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
    const auto digit = static_cast<std::uint64_t>(text[at] - '0');
    value = value > (kLimit - digit) / 10 ? kLimit : value * 10 + digit;
  }
  return static_cast<std::int64_t>(isNegative ? 0 - value : std::min(value, kLimit - 1));
}

std::vector<std::int64_t> numbersOf(const std::string& version) {
  std::vector<std::int64_t> numbers;
  std::size_t begin = 0;
  while (true) {
    const std::size_t end = std::min(version.find('.', begin), version.size());
    numbers.push_back(numberOf(version.substr(begin, end - begin)));
    if (end == version.size()) return numbers;
    begin = end + 1;
  }
}

int compareByTheRules(const std::string& left, const std::string& right) {
  const std::vector<std::int64_t> a = numbersOf(left);
  const std::vector<std::int64_t> b = numbersOf(right);
  for (std::size_t i = 0; i < a.size() && i < b.size(); ++i) {
    if (a[i] != b[i]) return a[i] < b[i] ? -1 : 1;
  }
  return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

int compare(const std::string& left, const std::string& right) {
  const auto order = Version(left) <=> Version(right);
  return order < 0 ? -1 : (order > 0 ? 1 : 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kMaxInput) return -1;
  std::vector<std::string> versions(1);
  for (std::size_t i = 0; i < size; ++i) {
    if (data[i] == '\n' && versions.size() < 3) {
      versions.emplace_back();
    } else {
      versions.back() += static_cast<char>(data[i]);
    }
  }
  versions.resize(3);

  for (const std::string& left : versions) {
    FUZZ_CHECK(Version(left).text() == left);
    for (const std::string& right : versions) {
      const int order = compare(left, right);
      FUZZ_CHECK(order == compareByTheRules(left, right));
      FUZZ_CHECK(order == -compare(right, left));
      FUZZ_CHECK((Version(left) == Version(right)) == (order == 0));
      for (const std::string& third : versions) {
        FUZZ_CHECK(order > 0 || compare(right, third) > 0 || compare(left, third) <= 0);
      }
    }
  }
  return 0;
}
