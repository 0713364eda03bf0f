/// What `wz --version` says.
#ifndef WZ_WORDS_VERSION_TEXT_H
#define WZ_WORDS_VERSION_TEXT_H

#include <string>

namespace wz {

/// "1.2.3"
[[nodiscard]] std::string versionNumber();

/// \param trustsDevelopmentKeys  whether the authorities that are compiled in are development keys.
/// \param table                  which table is in force, in words.
[[nodiscard]] std::string versionText(bool trustsDevelopmentKeys, const std::string& table);

}  // namespace wz

#endif  // WZ_WORDS_VERSION_TEXT_H
