#include "support/json_file.h"

#include "support/file_system.h"

namespace wzapp {

bool readJSONFile(zelipc::JSObject& object, const std::string& path) {
  object = zelipc::JSObject();
  std::string text;
  if (!readFile(path.c_str(), text)) return false;

  // A text with a zero octet is parsed up to there only, and so is not read whole.
  const int consumed = object.parse(text.c_str());
  if (consumed >= 0 && static_cast<std::size_t>(consumed) == text.size()) return true;
  object = zelipc::JSObject();
  return false;
}

}  // namespace wzapp
