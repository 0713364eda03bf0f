/// The schema of host files and an example of one, as `wz host` prints them. Generated from the
/// files beside this one.
#ifndef WZ_HOST_HOST_TEXTS_H
#define WZ_HOST_HOST_TEXTS_H

#include <string_view>

namespace wz {

[[nodiscard]] std::string_view hostSchema();
[[nodiscard]] std::string_view hostExample();

}  // namespace wz

#endif  // WZ_HOST_HOST_TEXTS_H
