#include "support/app_id.h"

namespace wzapp {

bool isPlainAppId(std::string_view id) {
  constexpr std::string_view kForbidden("/\\\0", 3);
  if (id == "." || id == ".." || id.ends_with(':')) return false;
  return id.find_first_of(kForbidden) == std::string_view::npos;
}

}  // namespace wzapp
