// Byte strings. Character classes and case are those of the "C" locale, whatever the host has set.
// Any thread may call; the only exception is std::bad_alloc.
#ifndef WZAPP_SUPPORT_TEXT_H
#define WZAPP_SUPPORT_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace wzapp {

// Whether `octet` is a space, tab, line feed, vertical tab, form feed or carriage return.
[[nodiscard]] constexpr bool isSpace(char octet) {
  return octet == ' ' || (octet >= '\t' && octet <= '\r');
}

// `octet` with "a" to "z" in upper case; any other as it is.
[[nodiscard]] constexpr char toUpper(char octet) {
  return octet >= 'a' && octet <= 'z' ? static_cast<char>(octet - 'a' + 'A') : octet;
}

// `text` without white space at its ends. The view is good as long as `text` is.
[[nodiscard]] std::string_view trimmed(std::string_view text);

[[nodiscard]] std::string trim(const std::string& text);

[[nodiscard]] std::string toUpper(std::string_view text);

// Whether `text`, in upper case, ends in `upperEnding`.
[[nodiscard]] bool endsInAnyCase(std::string_view text, std::string_view upperEnding);

// Calls `take` with what stands between the separators, one piece after the other: always one more
// than there are separators, so an empty text is one empty piece.
template <class Take>
void forEachPiece(std::string_view text, char separator, Take take) {
  while (true) {
    const std::size_t end = text.find(separator);
    take(text.substr(0, end));
    if (end == std::string_view::npos) return;
    text.remove_prefix(end + 1);
  }
}

// Replaces `pieces` by these pieces, trimmed if asked for. The library itself looks at one piece
// after the other: what it takes apart may be as long as a package can make it.
void splitString(std::vector<std::string>& pieces, const std::string& text, char separator,
                 bool trimPieces);

// Escapes `text` for HTML: the five characters with a meaning become entities, a line feed becomes
// "<br>", a tab, carriage return or zero octet a space. Not idempotent: "&amp;" is escaped again.
void htmlEscape(std::string& text);

}  // namespace wzapp

#endif  // WZAPP_SUPPORT_TEXT_H
