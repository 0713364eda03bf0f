/// What scripts and styles use that older browsers do not know.
#ifndef WZ_CHECK_ENGINE_FEATURES_H
#define WZ_CHECK_ENGINE_FEATURES_H

#include <cstddef>
#include <string_view>
#include <vector>

namespace wz {

struct NewerFeature {
  const char* name;
  unsigned since;      ///< major version of Chromium that has it first
  const char* source;  ///< where that stands in MDN's tables of compatibility
  std::size_t offset;
};

/// The first use of each feature in a script or a style that `engine` does not have. Comments do
/// not count. What only looks like one, as in a text inside a script, is taken for one.
/// \param name  of the file: its ending tells what it is.
[[nodiscard]] std::vector<NewerFeature> newerFeaturesIn(std::string_view name,
                                                        std::string_view text, unsigned engine);

}  // namespace wz

#endif  // WZ_CHECK_ENGINE_FEATURES_H
