#include "support/text.h"

#include <algorithm>

namespace wzapp {
namespace {

struct HtmlEscape {
  char octet;
  std::string_view replacement;
};

constexpr HtmlEscape kHtmlEscapes[] = {
    {'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}, {'\'', "&apos;"},
    {'\n', "<br>"}, {'\t', " "},   {'\r', " "},   {'\0', " "},
};

}  // namespace

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
  return text;
}

std::string trim(const std::string& text) { return std::string(trimmed(text)); }

std::string toUpper(std::string_view text) {
  std::string upper(text);
  for (char& octet : upper) octet = toUpper(octet);
  return upper;
}

bool endsInAnyCase(std::string_view text, std::string_view upperEnding) {
  return text.size() >= upperEnding.size() &&
         std::equal(upperEnding.begin(), upperEnding.end(), text.end() - upperEnding.size(),
                    [](char upper, char octet) { return upper == toUpper(octet); });
}

void splitString(std::vector<std::string>& pieces, const std::string& text, char separator,
                 bool trimPieces) {
  std::vector<std::string> found;
  forEachPiece(text, separator, [&found, trimPieces](std::string_view piece) {
    found.emplace_back(trimPieces ? trimmed(piece) : piece);
  });
  pieces = std::move(found);
}

void htmlEscape(std::string& text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (const char octet : text) {
    const HtmlEscape* const row =
        std::find_if(std::begin(kHtmlEscapes), std::end(kHtmlEscapes),
                     [octet](const HtmlEscape& escape) { return escape.octet == octet; });
    if (row == std::end(kHtmlEscapes)) {
      escaped += octet;
    } else {
      escaped += row->replacement;
    }
  }
  text = std::move(escaped);
}

}  // namespace wzapp
