/// What was probably meant by a word that is none of those that are known.
#ifndef WZ_WORDS_NEAREST_H
#define WZ_WORDS_NEAREST_H

#include <string>
#include <string_view>
#include <vector>

namespace wz {

/// The word of `known` that takes the fewest changes of a character, at most one in three; empty
/// when none is that near. Upper and lower case count as the same.
[[nodiscard]] std::string nearest(std::string_view word, const std::vector<std::string>& known);

}  // namespace wz

#endif  // WZ_WORDS_NEAREST_H
