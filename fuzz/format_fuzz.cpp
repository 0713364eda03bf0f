// The formatter, in two ways that are told apart by the first octet of the input:
//
// - one directive put together from the input, with a value of the type that it takes: it must be
//   padded as asked for and, where printf has the same directive, agree with it;
// - a format text as it comes, as long as its directives take integers only.

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "fuzz/check.h"
#include "support/format.h"
#include "support/text.h"

namespace {

constexpr std::size_t kMaxText = 512;

// Takes what it is asked for off the front of the input; zeros when that has run out.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  std::uint8_t octet() {
    if (size_ == 0) return 0;
    --size_;
    return *data_++;
  }

  template <class Number>
  Number number() {
    Number value = 0;
    const std::size_t count = std::min(size_, sizeof value);
    std::memcpy(&value, data_, count);
    data_ += count;
    size_ -= count;
    return value;
  }

  std::string rest() { return std::string(reinterpret_cast<const char*>(data_), size_); }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
};

int formatHtml(std::string& out, const char* text, ...) {
  va_list arguments;
  va_start(arguments, text);
  const int length = wzapp::formatImpl(true, out, text, arguments);
  va_end(arguments);
  return length;
}

// One directive: "%", flags, width, precision, count, conversion, the numbers written out.
struct Directive {
  explicit Directive(Input& input)
      : flags(input.octet()),
        width(input.octet()),
        precision(input.octet() % 80),
        count(input.octet() % 40),
        conversion("diuxXpofegscSCmb"[input.octet() % 16]) {}

  [[nodiscard]] bool has(int bit) const { return (flags & (1 << bit)) != 0; }
  [[nodiscard]] bool isLeft() const { return has(0); }
  [[nodiscard]] bool isZero() const { return has(1); }
  [[nodiscard]] bool hasWidth() const { return has(2); }
  [[nodiscard]] bool hasPrecision() const { return has(3); }
  [[nodiscard]] bool isHtml() const { return has(7); }

  [[nodiscard]] std::string text() const {
    std::string text = std::string("%") + (isLeft() ? "-" : "") + (isZero() ? "0" : "");
    // A width that begins with a zero would be another flag.
    if (hasWidth() && width > 0) text += std::to_string(width);
    if (hasPrecision()) text += (has(4) ? "," : ".") + std::to_string(precision);
    text += "[" + std::to_string(count);
    if (has(5)) text += 'h';
    if (has(6)) text += 'l';
    return text + conversion;
  }

  // printf's directive, if it means the same there.
  [[nodiscard]] std::string printfText() const {
    std::string text =
        std::string("%") + (isLeft() ? "-" : "") + (isZero() && !isText() ? "0" : "");
    if (hasWidth() && width > 0) text += std::to_string(width);
    if (hasPrecision() && !isInteger()) text += "." + std::to_string(precision);
    return text + (conversion == 'p' ? 'X' : conversion);
  }

  [[nodiscard]] bool is(std::string_view conversions) const {
    return conversions.find(conversion) != std::string_view::npos;
  }
  [[nodiscard]] bool isInteger() const { return is("diuxXpo"); }
  [[nodiscard]] bool isDouble() const { return is("feg"); }
  [[nodiscard]] bool isText() const { return is("s"); }

  std::uint8_t flags;
  int width;
  int precision;
  int count;
  char conversion;
};

template <class Value>
std::string formatted(const Directive& directive, Value value) {
  std::string out;
  const std::string text = directive.text();
  const int length = directive.isHtml() ? formatHtml(out, text.c_str(), value)
                                        : wzapp::format(out, text.c_str(), value);
  FUZZ_CHECK(length == static_cast<int>(out.size()));
  return out;
}

template <class Value>
std::string printed(const Directive& directive, Value value) {
  char out[2048];
  const std::string text = directive.printfText();
  const int length = std::snprintf(out, sizeof out, text.c_str(), value);
  FUZZ_CHECK(length >= 0);
  return std::string(out, std::min<std::size_t>(static_cast<std::size_t>(length), sizeof out - 1));
}

void checkWidth(const Directive& directive, const std::string& out) {
  if (!directive.hasWidth() || out == "<OVERFLOW>") return;
  if (directive.is("SC") && !directive.isHtml()) return;
  FUZZ_CHECK(out.size() >= static_cast<std::size_t>(directive.width));
}

void checkDouble(const Directive& directive, double value) {
  const std::string out = formatted(directive, value);
  checkWidth(directive, out);
  if (!directive.hasWidth() && out.size() < 63) FUZZ_CHECK(out == printed(directive, value));
  FUZZ_CHECK(out.size() <= std::max<std::size_t>(63, static_cast<std::size_t>(directive.width)));
}

void checkText(const Directive& directive, const std::string& value) {
  const std::string out = formatted(directive, value.c_str());
  checkWidth(directive, out);
  if (directive.is("s") && !directive.isZero())
    FUZZ_CHECK(out == printed(directive, value.c_str()));
  if (directive.is("S") && directive.isHtml() && !directive.hasWidth()) {
    std::string taken = value.c_str();
    if (directive.hasPrecision())
      taken.resize(
          std::min<std::size_t>(taken.size(), static_cast<std::size_t>(directive.precision)));
    wzapp::htmlEscape(taken);
    FUZZ_CHECK(out == taken);
  }
}

void checkOctets(const Directive& directive, std::string value) {
  value.resize(static_cast<std::size_t>(directive.count));
  const std::string out = formatted(directive, value.data());
  checkWidth(directive, out);
  if (directive.is("m") && !directive.hasWidth()) FUZZ_CHECK(out.size() == 2 * value.size());
  const bool mustOverflow =
      directive.count >= 32 || (directive.hasPrecision() && directive.precision >= 61);
  if (directive.is("b")) FUZZ_CHECK((out == "<OVERFLOW>") == mustOverflow);
}

void checkDirective(Input& input) {
  const Directive directive(input);
  if (directive.isInteger()) {
    const auto value = input.number<std::int32_t>();
    FUZZ_CHECK(formatted(directive, value) == printed(directive, value));
  } else if (directive.isDouble()) {
    checkDouble(directive, input.number<double>());
  } else if (directive.is("cC")) {
    checkWidth(directive, formatted(directive, static_cast<int>(input.octet())));
  } else if (directive.is("mb")) {
    checkOctets(directive, input.rest());
  } else {
    checkText(directive, input.rest());
  }
}

// Whether every directive of `text` takes 32-bit integers, few enough, and no size of more than
// three digits.
bool takesIntegersOnly(const std::string& text) {
  if (std::count(text.begin(), text.end(), '*') + std::count(text.begin(), text.end(), '%') > 16) {
    return false;
  }
  std::size_t digits = 0;
  for (const char octet : text) {
    digits = octet >= '0' && octet <= '9' ? digits + 1 : 0;
    if (digits > 3) return false;
  }
  for (std::size_t at = text.find('%'); at != std::string::npos; at = text.find('%', at + 1)) {
    const std::size_t end = text.find_first_not_of("-0123456789.,*[hl%", at);
    if (end != std::string::npos && std::strchr("fegsSmb", text[end]) != nullptr) return false;
  }
  return true;
}

void checkFormatText(Input& input) {
  int values[16];
  for (int& value : values) value = static_cast<std::int8_t>(input.octet());
  const std::string text = input.rest().c_str();
  if (text.size() > kMaxText || !takesIntegersOnly(text)) return;

  std::string out;
  std::string html;
  const auto run = [&](auto function, std::string& result) {
    return function(result, text.c_str(), values[0], values[1], values[2], values[3], values[4],
                    values[5], values[6], values[7], values[8], values[9], values[10], values[11],
                    values[12], values[13], values[14], values[15]);
  };
  FUZZ_CHECK(run(wzapp::format, out) == static_cast<int>(out.size()));
  FUZZ_CHECK(run(formatHtml, html) == static_cast<int>(html.size()));
  if (text.find('%') == std::string::npos) FUZZ_CHECK(out == text);
  // Only "C" differs in HTML mode.
  if (text.find('C') == std::string::npos) FUZZ_CHECK(out == html);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 2 * kMaxText) return -1;
  Input input(data, size);
  if (input.octet() % 2 == 0) {
    checkDirective(input);
  } else {
    checkFormatText(input);
  }
  return 0;
}
