#include "installer/version.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>
#include <system_error>

#include "support/text.h"

namespace wzapp {
namespace {

bool isDigit(char octet) { return octet >= '0' && octet <= '9'; }

std::int64_t toNumber(std::string_view text) {
  using Limits = std::numeric_limits<std::int64_t>;
  const bool isNegative = text.starts_with('-');
  std::string_view digits = text;
  if (isNegative || text.starts_with('+')) digits.remove_prefix(1);
  if (digits.empty() || !isDigit(digits.front())) return 0;

  const std::string_view number = isNegative ? text : digits;  // from_chars takes no plus sign
  std::int64_t value = 0;
  const auto end = std::from_chars(number.data(), number.data() + number.size(), value);
  if (end.ec == std::errc::result_out_of_range) return isNegative ? Limits::min() : Limits::max();
  return value;
}

}  // namespace

Version::Version(std::string text) : text_(std::move(text)) {
  components_.reserve(static_cast<std::size_t>(std::ranges::count(text_, '.')) + 1);
  forEachPiece(text_, '.',
               [this](std::string_view piece) { components_.push_back(toNumber(trimmed(piece))); });
}

}  // namespace wzapp
