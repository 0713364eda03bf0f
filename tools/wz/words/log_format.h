/// The printf formats of the library's log, to find in it the lines that were written by them.
#ifndef WZ_WORDS_LOG_FORMAT_H
#define WZ_WORDS_LOG_FORMAT_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace wz {

/// A format taken apart: literal texts, with a directive ("%s" or "%d") between each two.
class LogFormat {
 public:
  explicit LogFormat(std::string_view format);

  struct Match {
    std::size_t position;  ///< in the line, where the format's own text begins
    std::vector<std::string> values;
  };

  /// Finds the format as what `line` is or ends with. What stands before it, such as a time, does
  /// not count; where the format begins with a directive, that takes it all.
  [[nodiscard]] std::optional<Match> find(std::string_view line) const;

  /// Octets of its own text.
  [[nodiscard]] std::size_t literalSize() const;

  [[nodiscard]] bool beginsWithDirective() const { return literals_.front().empty(); }

 private:
  std::vector<std::string> literals_;
  std::vector<char> directives_;  // 's' or 'd'
};

/// Without the white space at both ends.
[[nodiscard]] std::string_view trimmedLine(std::string_view line);

/// Whether the text is an integer and nothing else.
[[nodiscard]] bool isInteger(std::string_view text);

}  // namespace wz

#endif  // WZ_WORDS_LOG_FORMAT_H
