/// The document of a command (json_document.h) as the last of its lines.
#ifndef WZ_REPORTS_JSON_DOCUMENT_LINE_H
#define WZ_REPORTS_JSON_DOCUMENT_LINE_H

#include <functional>
#include <string>

#include "wz/reports/diagnostic.h"
#include "wz/reports/json_output.h"

namespace wz {

/// One line of text, without its end, for a command that prints an object a line and ends with a
/// result; messages that were printed are not in it. Whoever prints it has kept the promise of a
/// document, and says so by leaveJsonToChild().
[[nodiscard]] std::string jsonDocumentLine(const std::string& command, bool ok,
                                           const Diagnostics& diagnostics,
                                           const std::function<void(JsonWriter& writer)>& body);

}  // namespace wz

#endif  // WZ_REPORTS_JSON_DOCUMENT_LINE_H
