#include "support/format.h"

#include <locale.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string_view>

#include "support/text.h"

namespace wzapp {
namespace {

constexpr std::size_t kNumberBufferSize = 64;  // with the octet that ends a C string
constexpr std::string_view kUpperDigits = "0123456789ABCDEF";

// Owns a copy of an argument list, so that it can be handed down by reference.
class Arguments {
 public:
  explicit Arguments(va_list arguments) { va_copy(list_, arguments); }
  Arguments(const Arguments&) = delete;
  Arguments& operator=(const Arguments&) = delete;
  ~Arguments() { va_end(list_); }

  std::int32_t nextInt() { return va_arg(list_, std::int32_t); }
  std::uint32_t nextUnsigned() { return va_arg(list_, std::uint32_t); }
  double nextDouble() { return va_arg(list_, double); }
  const void* nextPointer() { return va_arg(list_, const void*); }

 private:
  va_list list_;
};

struct Directive {
  bool isLeftJustified = false;
  bool isZeroPadded = false;
  bool hasDecimalComma = false;
  std::int32_t width = 0;
  std::int32_t precision = -1;  // negative: unset
  std::int32_t count = 0;
  char conversion = '\0';
};

// Decimal digits, none being 0; a number too large for 32 bits is the largest one.
std::int32_t readDigits(const char*& at) {
  std::int64_t value = 0;
  for (; *at >= '0' && *at <= '9'; ++at) {
    value =
        std::min<std::int64_t>(value * 10 + (*at - '0'), std::numeric_limits<std::int32_t>::max());
  }
  return static_cast<std::int32_t>(value);
}

std::int32_t readNumber(const char*& at, Arguments& arguments) {
  if (*at != '*') return readDigits(at);
  ++at;
  return arguments.nextInt();
}

bool skip(const char*& at, char octet) {
  if (*at != octet) return false;
  ++at;
  return true;
}

// Reads what follows the "%". Without a conversion at the end of the text, `at` stays there.
Directive readDirective(const char*& at, Arguments& arguments) {
  Directive directive;
  directive.isLeftJustified = skip(at, '-');
  directive.isZeroPadded = skip(at, '0');
  directive.width = readNumber(at, arguments);
  if (*at == '.' || *at == ',') {
    directive.hasDecimalComma = *at == ',';
    ++at;
    directive.precision = readNumber(at, arguments);
  }
  if (skip(at, '[')) directive.count = readNumber(at, arguments);
  skip(at, 'h');
  skip(at, 'l');
  directive.conversion = *at;
  if (*at != '\0') ++at;
  return directive;
}

// Where the zeros of a zero-padded text go.
enum class ZeroPadding { kNever, kInFront, kBehindSign };

// Appends `text`, padded as if it were `length` octets long.
void appendPadded(std::string& out, const Directive& directive, std::string_view text,
                  std::size_t length, ZeroPadding zeroPadding) {
  const std::size_t width = directive.width > 0 ? static_cast<std::size_t>(directive.width) : 0;
  const std::size_t padding = width > length ? width - length : 0;
  if (directive.isLeftJustified) {
    out.append(text).append(padding, ' ');
    return;
  }
  const bool hasZeros = directive.isZeroPadded && zeroPadding != ZeroPadding::kNever;
  if (hasZeros && zeroPadding == ZeroPadding::kBehindSign && text.starts_with('-')) {
    out += '-';
    text.remove_prefix(1);
  }
  out.append(padding, hasZeros ? '0' : ' ').append(text);
}

void appendPadded(std::string& out, const Directive& directive, std::string_view text,
                  ZeroPadding zeroPadding) {
  appendPadded(out, directive, text, text.size(), zeroPadding);
}

void appendSigned(std::string& out, const Directive& directive, Arguments& arguments) {
  char digits[kNumberBufferSize];
  const std::to_chars_result end =
      std::to_chars(digits, digits + sizeof digits, arguments.nextInt());
  appendPadded(out, directive, std::string_view(digits, end.ptr), ZeroPadding::kBehindSign);
}

template <int base, bool isUpperCase>
void appendUnsigned(std::string& out, const Directive& directive, Arguments& arguments) {
  char digits[kNumberBufferSize];
  const std::to_chars_result end =
      std::to_chars(digits, digits + sizeof digits, arguments.nextUnsigned(), base);
  if (isUpperCase) {
    std::transform(digits, end.ptr, digits, [](char digit) { return toUpper(digit); });
  }
  appendPadded(out, directive, std::string_view(digits, end.ptr), ZeroPadding::kInFront);
}

// The text of `value` at `digits`, in the C locale whatever the host has set; its end.
#ifdef __cpp_lib_to_chars
char* writeDouble(char* digits, std::size_t size, double value, std::chars_format style,
                  std::int32_t precision) {
  return std::to_chars(digits, digits + size, value, style, precision).ptr;
}
#else  // the library of g++ 10 and earlier writes integers only
char* writeDouble(char* digits, std::size_t size, double value, std::chars_format style,
                  std::int32_t precision) {
  static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", nullptr);
  const locale_t hosts = uselocale(cLocale);
  const char* const format = style == std::chars_format::fixed        ? "%.*f"
                             : style == std::chars_format::scientific ? "%.*e"
                                                                      : "%.*g";
  const int length = std::snprintf(digits, size, format, static_cast<int>(precision), value);
  uselocale(hosts);
  return digits + std::max(length, 0);
}
#endif

template <std::chars_format style>
void appendDouble(std::string& out, const Directive& directive, Arguments& arguments) {
  // Every double is exact with this many digits; more would be zeros, far behind the cut.
  constexpr std::int32_t kExactDigits = 1100;
  constexpr std::int32_t kDefaultPrecision = 6;
  constexpr std::size_t kIntegerDigits = std::numeric_limits<double>::max_exponent10 + 1;
  const std::int32_t precision =
      directive.precision < 0 ? kDefaultPrecision : std::min(directive.precision, kExactDigits);

  char digits[kIntegerDigits + kExactDigits + 16];
  const char* const end =
      writeDouble(digits, sizeof digits, arguments.nextDouble(), style, precision);
  const std::string_view number(digits, static_cast<std::size_t>(end - digits));
  appendPadded(out, directive, number.substr(0, kNumberBufferSize - 1), ZeroPadding::kBehindSign);
}

template <bool isEscaped>
void appendText(std::string& out, const Directive& directive, Arguments& arguments) {
  const void* const pointer = arguments.nextPointer();
  const char* const text = pointer == nullptr ? "<null>" : static_cast<const char*>(pointer);
  // Within a limit the text need not end.
  const std::size_t length = directive.precision < 0
                                 ? std::strlen(text)
                                 : strnlen(text, static_cast<std::size_t>(directive.precision));
  std::string taken(text, length);
  if (isEscaped) htmlEscape(taken);
  appendPadded(out, directive, taken, length, ZeroPadding::kNever);
}

template <bool isEscaped>
void appendCharacter(std::string& out, const Directive& directive, Arguments& arguments) {
  std::string taken(1, static_cast<char>(arguments.nextInt()));
  if (isEscaped) htmlEscape(taken);
  appendPadded(out, directive, taken, 1, ZeroPadding::kNever);
}

// The octets in hexadecimal; none of a null pointer.
std::string hexadecimalDump(const void* octets, std::int32_t count) {
  std::string dump;
  if (octets == nullptr) return dump;
  const auto* const first = static_cast<const std::uint8_t*>(octets);
  for (std::int32_t i = 0; i < count; ++i) {
    dump += kUpperDigits[first[i] >> 4];
    dump += kUpperDigits[first[i] & 15];
  }
  return dump;
}

void appendDump(std::string& out, const Directive& directive, Arguments& arguments) {
  const std::string dump = hexadecimalDump(arguments.nextPointer(), directive.count);
  appendPadded(out, directive, dump, ZeroPadding::kNever);
}

// Puts the point before the last `precision` digits, with a zero before it where it needs one.
void insertPoint(std::string& digits, std::size_t precision) {
  if (digits.size() <= precision) digits.insert(0, precision + 1 - digits.size(), '0');
  digits.insert(digits.size() - precision, 1, '.');
}

void removeLeadingZeros(std::string& digits) {
  std::size_t zeros = 0;
  while (zeros + 1 < digits.size() && digits[zeros] == '0' && digits[zeros + 1] != '.') ++zeros;
  digits.erase(0, zeros);
}

// Digits above 9 are not examined, but for a leading "D", the sign.
void appendPackedDecimal(std::string& out, const Directive& directive, Arguments& arguments) {
  const std::int32_t precision = std::max(directive.precision, 0);
  const std::int64_t needed = std::max(2 * static_cast<std::int64_t>(directive.count) + 1,
                                       static_cast<std::int64_t>(precision) + 3);
  if (needed >= static_cast<std::int64_t>(kNumberBufferSize)) {
    out += "<OVERFLOW>";  // the value is left, on purpose, to the next directive
    return;
  }

  std::string magnitude = hexadecimalDump(arguments.nextPointer(), directive.count);
  const bool isNegative = magnitude.starts_with('D');
  if (isNegative) magnitude.erase(0, 1);
  if (precision > 0) insertPoint(magnitude, static_cast<std::size_t>(precision));
  removeLeadingZeros(magnitude);
  if (directive.hasDecimalComma) std::replace(magnitude.begin(), magnitude.end(), '.', ',');
  // Zeros go in front of the sign too: that is how these numbers are padded.
  appendPadded(out, directive, isNegative ? "-" + magnitude : magnitude, ZeroPadding::kInFront);
}

struct Conversion {
  char letter;
  bool isHtmlOnly;
  void (*append)(std::string& out, const Directive& directive, Arguments& arguments);
};

constexpr Conversion kConversions[] = {
    {'d', false, appendSigned},
    {'i', false, appendSigned},
    {'u', false, appendUnsigned<10, false>},
    {'x', false, appendUnsigned<16, false>},
    {'X', false, appendUnsigned<16, true>},
    {'p', false, appendUnsigned<16, true>},
    {'o', false, appendUnsigned<8, false>},
    {'f', false, appendDouble<std::chars_format::fixed>},
    {'e', false, appendDouble<std::chars_format::scientific>},
    {'g', false, appendDouble<std::chars_format::general>},
    {'s', false, appendText<false>},
    {'S', true, appendText<true>},
    {'c', false, appendCharacter<false>},
    {'C', true, appendCharacter<true>},
    {'m', false, appendDump},
    {'b', false, appendPackedDecimal},
};

void appendDirective(std::string& out, bool html, const Directive& directive,
                     Arguments& arguments) {
  if (directive.conversion == '\0') return;  // the text ended within the directive
  for (const Conversion& row : kConversions) {
    if (row.letter == directive.conversion && (html || !row.isHtmlOnly)) {
      row.append(out, directive, arguments);
      return;
    }
  }
  out += directive.conversion;
}

}  // namespace

int format(std::string& out, const char* formatText, ...) {
  va_list arguments;
  va_start(arguments, formatText);
  const int length = vformat(out, formatText, arguments);
  va_end(arguments);
  return length;
}

int vformat(std::string& out, const char* formatText, va_list arguments) {
  return formatImpl(false, out, formatText, arguments);
}

int formatImpl(bool html, std::string& out, const char* formatText, va_list arguments) {
  std::string text;  // not `out`, which may be among the arguments
  if (formatText != nullptr) {
    Arguments values(arguments);
    for (const char* at = formatText; *at != '\0';) {
      const std::size_t plain = std::strcspn(at, "%");
      text.append(at, plain);
      at += plain;
      if (skip(at, '%')) appendDirective(text, html, readDirective(at, values), values);
    }
  }
  out = std::move(text);
  return static_cast<int>(out.size());
}

}  // namespace wzapp
