/// Takes out of a vector what a predicate holds for: std::erase_if without its reference_wrapper.
/// The name of that one's conversion to a lambda holds the folder of the build, which clang writes
/// into the debug information unmapped, so that two builds would differ.
#ifndef WZ_WORDS_DROP_IF_H
#define WZ_WORDS_DROP_IF_H

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace wz {

/// How many it was.
template <typename Item, typename Predicate>
std::size_t dropIf(std::vector<Item>& items, Predicate predicate) {
  const auto dropped = std::remove_if(items.begin(), items.end(), std::move(predicate));
  const auto count = static_cast<std::size_t>(items.end() - dropped);
  items.erase(dropped, items.end());
  return count;
}

}  // namespace wz

#endif  // WZ_WORDS_DROP_IF_H
