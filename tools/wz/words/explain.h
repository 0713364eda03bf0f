/// Finds what is meant by a code, a number of the library or a line of an installer's log, and
/// explains it.
#ifndef WZ_WORDS_EXPLAIN_H
#define WZ_WORDS_EXPLAIN_H

#include <string>
#include <string_view>
#include <vector>

#include "wz/words/codes.h"

namespace wz {

/// A row, and what stands for the directives of its log line.
struct LogMatch {
  const Code* code = nullptr;  ///< null: no row has such a line
  std::vector<std::string> values;
};

/// Finds the row whose log line `line` is or ends with: what stands before it, such as a time, does
/// not count, nor does white space at its end. Of several the one with the most words of its own.
[[nodiscard]] LogMatch matchLogLine(std::string_view line);

/// The rows that a user may mean by `text`: a code in any way of writing ("WZ-0304", "wz 304"), a
/// number of the library ("-216"), a line of a log, or words that stand in a row. None: nothing
/// fits.
[[nodiscard]] std::vector<const Code*> findMeant(const std::string& text);

/// What a user may have meant by a `text` of which findMeant() knows nothing: a code that is near,
/// or the same words without mistakes in writing. Empty: nothing is near.
[[nodiscard]] std::string suggestedText(const std::string& text);

/// The rows of which the log says only what `code` has: its causes.
[[nodiscard]] std::vector<const Code*> codesBehind(const Code& code);

/// A row in words: lines of at most `width` characters where blanks allow it.
[[nodiscard]] std::vector<std::string> explanation(const Code& code, std::size_t width = 80);

/// `text` in lines of at most `width` characters, parted at blanks.
[[nodiscard]] std::vector<std::string> wrapped(std::string_view text, std::size_t width);

/// "The archive is cut off" -> "the archive is cut off"
[[nodiscard]] std::string lowerFirst(std::string_view title);

}  // namespace wz

#endif  // WZ_WORDS_EXPLAIN_H
