/// What kind of file a page is given (RFC 9110, section 8.3).
#ifndef WORKSTATION_BROWSER_ENGINE_CONTENT_TYPE_H
#define WORKSTATION_BROWSER_ENGINE_CONTENT_TYPE_H

#include <string_view>

namespace workstation {

/// The Content-Type for a file by the extension of its name, in any case of letters;
/// "application/octet-stream" for an unknown one or none.
const char* contentType(std::string_view path);

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_CONTENT_TYPE_H
