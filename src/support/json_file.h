// JSON files (RFC 8259).
#ifndef WZAPP_SUPPORT_JSON_FILE_H
#define WZAPP_SUPPORT_JSON_FILE_H

#include <string>

#include "zelipc/zelipc.h"

namespace wzapp {

// Replaces `object` by the JSON value that the file at `path` holds. False, with `object` the empty
// object, for a file that cannot be read (readFile()) or is not one JSON value and nothing else.
// Any thread may call; the only exception is std::bad_alloc.
[[nodiscard]] bool readJSONFile(zelipc::JSObject& object, const std::string& path);

// The same for the text of a file.
[[nodiscard]] bool readJSONText(zelipc::JSObject& object, const std::string& text);

}  // namespace wzapp

#endif  // WZAPP_SUPPORT_JSON_FILE_H
