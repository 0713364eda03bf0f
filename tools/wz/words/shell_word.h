/// Command lines that `wz` shows its users.
#ifndef WZ_WORDS_SHELL_WORD_H
#define WZ_WORDS_SHELL_WORD_H

#include <string>
#include <string_view>

namespace wz {

/// `text` as one word of a POSIX shell's command line: as it is, or in single quotes.
inline std::string shellWord(std::string_view text) {
  constexpr std::string_view kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_./:@%+=,";
  if (!text.empty() && text.find_first_not_of(kPlain) == std::string_view::npos)
    return std::string(text);
  std::string word = "'";
  for (const char c : text) word += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return word + "'";
}

}  // namespace wz

#endif  // WZ_WORDS_SHELL_WORD_H
