/// The local files that pages, styles and scripts ask for.
#ifndef WZ_CHECK_REFERENCES_H
#define WZ_CHECK_REFERENCES_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace wz {

struct Reference {
  std::string address;  ///< as it is written, without query and fragment
  std::size_t offset;
};

/// What the text of a file asks for, in its order: src, href, poster and data of HTML, url() and
/// @import of styles, static imports of scripts. Addresses with a scheme or a host, empty ones, and
/// those that are made while the page runs are left out.
/// \param name  of the file: its ending tells what it is. Other files ask for nothing.
[[nodiscard]] std::vector<Reference> referencesIn(std::string_view name, std::string_view text);

/// The file that an address means, relative to the application's folder.
struct Target {
  std::string name;     ///< empty: the folder itself
  bool leaves = false;  ///< it leads out of the folder
};

/// \param from  the name of the file in which the address stands, relative to the folder.
[[nodiscard]] Target targetOf(const std::string& address, const std::string& from);

}  // namespace wz

#endif  // WZ_CHECK_REFERENCES_H
