#include "wz/words/nearest.h"

#include <algorithm>
#include <cctype>
#include <numeric>

namespace wz {
namespace {

char lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

// Characters to put in, take out or change, row by row of the usual table.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), 0U);
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i + 1;
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t changed = diagonal + (lower(a[i]) == lower(b[j]) ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({changed, diagonal + 1, row[j] + 1});
    }
  }
  return row.back();
}

}  // namespace

std::string nearest(std::string_view word, const std::vector<std::string>& known) {
  constexpr std::size_t kLongest = 64;
  if (word.size() > kLongest) return {};
  std::string best;
  std::size_t least = word.size() / 3 + 1;
  for (const std::string& candidate : known) {
    const std::size_t changes = distance(word, candidate);
    if (changes > least || (changes == least && !best.empty())) continue;
    if (changes > std::max<std::size_t>(1, word.size() / 3)) continue;
    best = candidate;
    least = changes;
  }
  return best;
}

}  // namespace wz
