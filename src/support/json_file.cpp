#include "support/json_file.h"

#include "support/file_system.h"

namespace wzapp {

bool readJSONText(zelipc::JSObject& object, const std::string& text) {
  object = zelipc::JSObject();
  // A text with a zero octet is parsed up to there only, and so is not read whole.
  const int consumed = object.parse(text.c_str());
  if (consumed >= 0 && static_cast<std::size_t>(consumed) == text.size()) return true;
  object = zelipc::JSObject();
  return false;
}

bool readJSONFile(zelipc::JSObject& object, const std::string& path) {
  object = zelipc::JSObject();
  std::string text;
  return readFile(path.c_str(), text) && readJSONText(object, text);
}

}  // namespace wzapp
