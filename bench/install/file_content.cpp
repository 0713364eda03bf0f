#include "bench/install/file_content.h"

#include <cstring>
#include <iterator>
#include <string_view>

namespace bench {
namespace {

constexpr std::string_view kBeginnings[] = {
    "const ",  "let ",          "return ",       "if (",       "  ",        "    ",  "function ",
    "export ", "document.",     "window.",       "wz.notify(", "await wz.", "item.", "list.push(",
    "// ",     "element.style", "button.onclick"};
constexpr std::string_view kWords[] = {
    "amount",   "total",    "receipt",  "language", "customer", "points",   "balance",  "terminal",
    "payment",  "currency", "settings", "keypad",   "display",  "printer",  "response", "request",
    "callback", "timeout",  "sponsor",  "merchant", "discount", "subtotal", "quantity", "selected",
    "visible",  "disabled", "position", "animate",  "colour",   "borders",  "padding",  "handler"};
constexpr std::string_view kJoints[] = {" = ", ".",     "(",  ") ", ", ",
                                        " + ", " === ", ": ", "['", "']"};
constexpr std::string_view kEnds[] = {";\n", ");\n", " {\n", "}\n", ",\n", "});\n"};

template <std::size_t count>
std::string_view pick(Numbers& numbers, const std::string_view (&texts)[count]) {
  return texts[numbers.below(count)];
}

void appendLine(Numbers& numbers, std::string& text) {
  text += pick(numbers, kBeginnings);
  for (std::size_t words = 1 + numbers.below(5); words > 0; --words) {
    text += pick(numbers, kWords);
    // Names of one's own, and numbers: what no dictionary has.
    if (numbers.below(4) == 0) text += std::to_string(numbers.below(10000));
    text += pick(numbers, kJoints);
  }
  text += pick(numbers, kEnds);
}

}  // namespace

std::uint64_t Numbers::next() {
  state_ += 0x9E3779B97F4A7C15;
  std::uint64_t number = state_;
  number = (number ^ (number >> 30)) * 0xBF58476D1CE4E5B9;
  number = (number ^ (number >> 27)) * 0x94D049BB133111EB;
  return number ^ (number >> 31);
}

void fillWithScript(Numbers& numbers, std::size_t size, std::string& block) {
  block.clear();
  while (block.size() < size) appendLine(numbers, block);
  block.resize(size);
}

void fillWithImage(Numbers& numbers, std::size_t size, std::string& block) {
  block.clear();
  while (block.size() < size) {
    const std::uint64_t number = numbers.next();
    for (unsigned shift = 0; shift < 64; shift += 8) {  // the same on every byte order
      block += static_cast<char>(number >> shift & 0xFF);
    }
  }
  block.resize(size);
}

}  // namespace bench
