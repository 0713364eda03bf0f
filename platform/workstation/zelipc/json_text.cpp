#include "workstation/zelipc/json_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <system_error>

namespace workstation {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD
constexpr std::string_view kReplacementEscape = "ufffd";
constexpr std::size_t kUnicodeEscapeLength = 5;  // uXXXX
constexpr std::size_t kShortestTamed = 5;        // the shortest literal beyond all doubles, 2e308

bool isDigit(char c) { return c >= '0' && c <= '9'; }

std::size_t skipDigits(std::string_view text, std::size_t position) {
  while (position < text.size() && isDigit(text[position])) ++position;
  return position;
}

// Whether a literal that is no double is too large to be one; the others are too close to zero.
bool isBeyondDoubles(std::string_view literal) {
  const std::size_t mark = literal.find_first_of("eE");
  const std::string_view digits = literal.substr(0, mark);
  const std::size_t leading = digits.find_first_of("123456789");
  if (leading == std::string_view::npos) return false;

  const std::size_t point = std::min(digits.find('.'), digits.size());
  const long long magnitude =
      static_cast<long long>(point) - static_cast<long long>(leading);  // decimal digits' weight
  if (mark == std::string_view::npos) return magnitude > 0;

  std::string_view exponentText = literal.substr(mark + 1);
  if (exponentText.front() == '+') exponentText.remove_prefix(1);
  int exponent = 0;
  const auto read =
      std::from_chars(exponentText.data(), exponentText.data() + exponentText.size(), exponent);
  if (read.ec == std::errc::result_out_of_range) return exponentText.front() != '-';
  return magnitude + exponent > 0;
}

// One row of RFC 3629's table of well-formed sequences: the leads from `first` to `last` are
// followed by `tail` octets, of which the first lies between `low` and `high` and the others are 80
// to BF.
struct Utf8Row {
  unsigned char first, last, tail, low, high;
};

constexpr Utf8Row kUtf8Rows[] = {
    {0xC2, 0xDF, 1, 0x80, 0xBF}, {0xE0, 0xE0, 2, 0xA0, 0xBF}, {0xE1, 0xEC, 2, 0x80, 0xBF},
    {0xED, 0xED, 2, 0x80, 0x9F}, {0xEE, 0xEF, 2, 0x80, 0xBF}, {0xF0, 0xF0, 3, 0x90, 0xBF},
    {0xF1, 0xF3, 3, 0x80, 0xBF}, {0xF4, 0xF4, 3, 0x80, 0x8F},
};

struct Sequence {
  std::size_t length;  // at least 1; of an ill-formed one, its maximal part
  bool wellFormed;
};

// The character that begins with the octet at `position`, which is not ASCII.
Sequence readSequence(std::string_view text, std::size_t position) {
  const auto octet = [&](std::size_t index) { return static_cast<unsigned char>(text[index]); };
  for (const Utf8Row& row : kUtf8Rows) {
    if (octet(position) < row.first || octet(position) > row.last) continue;
    unsigned char low = row.low;
    unsigned char high = row.high;
    for (std::size_t i = 1; i <= row.tail; ++i) {
      if (position + i == text.size()) return {i, false};
      if (octet(position + i) < low || octet(position + i) > high) return {i, false};
      low = 0x80;
      high = 0xBF;
    }
    return {std::size_t{row.tail} + 1, true};
  }
  return {1, false};
}

// The position of the first octet from `position` on that is not ASCII.
std::size_t skipAscii(std::string_view text, std::size_t position) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  while (text.size() - position >= sizeof(std::uint64_t)) {
    std::uint64_t octets = 0;
    std::memcpy(&octets, text.data() + position, sizeof octets);
    if (octets & kHighBits) break;
    position += sizeof octets;
  }
  while (position < text.size() && static_cast<unsigned char>(text[position]) < 0x80) ++position;
  return position;
}

// The end of the number at `position`, or `position` when none is there:
//   number = [ "-" ] ( "0" / 1-9 *DIGIT ) [ "." 1*DIGIT ] [ ( "e" / "E" ) [ "+" / "-" ] 1*DIGIT ]
std::size_t numberEnd(std::string_view text, const std::size_t position) {
  const auto at = [&](std::size_t index) { return index < text.size() ? text[index] : '\0'; };
  std::size_t end = position;
  if (at(end) == '-') ++end;
  if (!isDigit(at(end))) return position;
  end = at(end) == '0' ? end + 1 : skipDigits(text, end);
  if (at(end) == '.') {
    const std::size_t fraction = skipDigits(text, end + 1);
    if (fraction == end + 1) return position;
    end = fraction;
  }
  if (at(end) == 'e' || at(end) == 'E') {
    std::size_t exponent = end + 1;
    if (at(exponent) == '+' || at(exponent) == '-') ++exponent;
    end = skipDigits(text, exponent);
    if (end == exponent) return position;
  }
  return end;
}

// Replaces the number at `position` by 0e000..., behind which no part of a number may follow, and
// returns the position behind it. A sign stays, as it ends a number before it.
std::size_t tameNumber(std::string& text, std::size_t position) {
  const std::size_t end = numberEnd(text, position);
  if (end == position) return position + 1;
  if (end - position < kShortestTamed) return end;
  const std::size_t digits = text[position] == '-' ? position + 1 : position;
  text.replace(digits, end - digits, end - digits, '0');
  text[digits + 1] = 'e';
  return end;
}

// The code unit of the escape uXXXX at `position`, or -1.
int unicodeEscape(std::string_view text, std::size_t position) {
  const std::string_view escape = text.substr(position, kUnicodeEscapeLength);
  if (escape.size() < kUnicodeEscapeLength || escape.front() != 'u') return -1;
  unsigned unit = 0;
  const char* const end = escape.data() + escape.size();
  const auto read = std::from_chars(escape.data() + 1, end, unit, 16);
  return read.ptr == end ? static_cast<int>(unit) : -1;
}

bool isHighSurrogate(int unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool isLowSurrogate(int unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

// Replaces half a surrogate pair in the escape behind the backslash at `position`; returns the
// position behind the escape.
std::size_t tameEscape(std::string& text, std::size_t position) {
  const std::size_t escape = position + 1;
  const int unit = unicodeEscape(text, escape);
  if (unit < 0) return std::min(escape + 1, text.size());
  const std::size_t end = escape + kUnicodeEscapeLength;
  const bool paired = isHighSurrogate(unit) && end < text.size() && text[end] == '\\' &&
                      isLowSurrogate(unicodeEscape(text, end + 1));
  if (paired) return end + 1 + kUnicodeEscapeLength;
  if (isHighSurrogate(unit) || isLowSurrogate(unit)) {
    text.replace(escape, kUnicodeEscapeLength, kReplacementEscape);
  }
  return end;
}

// Tames the string whose opening quotation mark is at `position`; returns the position behind it.
std::size_t tameString(std::string& text, std::size_t position) {
  ++position;
  while (position < text.size() && text[position] != '"') {
    position = text[position] == '\\' ? tameEscape(text, position) : position + 1;
  }
  return position + 1;
}

}  // namespace

std::variant<long long, double> readNumber(std::string_view literal) {
  const char* const begin = literal.data();
  const char* const end = begin + literal.size();

  long long integer = 0;
  const auto asInteger = std::from_chars(begin, end, integer);
  if (asInteger.ec == std::errc() && asInteger.ptr == end) return integer;

  double real = 0;
  const auto asReal = std::from_chars(begin, end, real);
  if (asReal.ec != std::errc::result_out_of_range) return real;
  real = isBeyondDoubles(literal) ? std::numeric_limits<double>::max() : 0.0;
  return literal.front() == '-' ? -real : real;
}

std::string writeNumber(double value) {
  if (!std::isfinite(value)) return "null";
  std::array<char, 32> buffer;  // the longest is -2.2250738585072014e-308
  const auto written = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
  std::string text(buffer.data(), written.ptr);
  if (text.find_first_of(".e") == std::string::npos) text += ".0";
  return text;
}

bool isPlain(std::string_view text) {
  // Eight octets at a time; the high bit of each octet tells that the octet is not plain.
  constexpr std::uint64_t kEach = 0x0101010101010101;
  constexpr std::uint64_t kHighBits = 0x80 * kEach;
  const auto isBelow = [](std::uint64_t octets, unsigned limit) { return octets - limit * kEach; };
  const auto specials = [&](std::uint64_t octets) {
    return (octets | isBelow(octets, 0x20) | isBelow(octets ^ (0x22 * kEach), 1) |
            isBelow(octets ^ (0x5C * kEach), 1)) &
           kHighBits;
  };
  while (text.size() >= sizeof(std::uint64_t)) {
    std::uint64_t octets = 0;
    std::memcpy(&octets, text.data(), sizeof octets);
    if (specials(octets) != 0) return false;
    text.remove_prefix(sizeof octets);
  }
  std::uint64_t rest = kEach * 0x20;
  std::memcpy(&rest, text.data(), text.size());
  return specials(rest) == 0;
}

std::size_t wellFormedLength(std::string_view text) {
  std::size_t position = skipAscii(text, 0);
  while (position < text.size()) {
    const Sequence sequence = readSequence(text, position);
    if (!sequence.wellFormed) return position;
    position = skipAscii(text, position + sequence.length);
  }
  return position;
}

std::string repairUtf8(std::string_view text) {
  std::string repaired;
  while (!text.empty()) {
    const std::size_t good = wellFormedLength(text);
    repaired.append(text.substr(0, good));
    text.remove_prefix(good);
    if (text.empty()) break;
    repaired.append(kReplacement);
    text.remove_prefix(readSequence(text, 0).length);
  }
  return repaired;
}

bool holdsSurrogate(std::string_view text) {
  std::size_t position = text.find('\xED');
  while (position != std::string_view::npos && position + 1 < text.size()) {
    if (static_cast<unsigned char>(text[position + 1]) >= 0xA0) return true;
    position = text.find('\xED', position + 1);
  }
  return false;
}

std::string tameCopy(std::string_view text) {
  std::string copy(text);
  std::size_t position = 0;
  while (position < copy.size()) {
    const char c = copy[position];
    if (c == '"') {
      position = tameString(copy, position);
    } else if (c == '-' || isDigit(c)) {
      position = tameNumber(copy, position);
    } else {
      ++position;
    }
  }
  return copy;
}

}  // namespace workstation
