/// A call of the page's console as the text that a console shows for it.
#ifndef WORKSTATION_BROWSER_ENGINE_CONSOLE_TEXT_H
#define WORKSTATION_BROWSER_ENGINE_CONSOLE_TEXT_H

#include <map>
#include <string>
#include <vector>

#include "workstation/browser/engine/protocol/json.h"

namespace workstation {

/// Where something in a page comes from; `line` and `column` count from 1, 0: not known.
struct SourcePlace {
  std::string file;  ///< Relative to the application's folder, or a URL.
  int line = 0, column = 0;
};

/// The level, 0 to 7, of a console call or a log entry by the browser's name for it.
int consoleLevel(const std::string& name);

/// The text of the arguments `args` (Runtime.consoleAPICalled) of a call of type `type`, with the
/// format characters of the first one applied. `expanded` has texts that are better than the
/// browser's previews, by the argument's index.
std::string consoleText(const std::string& type, const JsonValue& args,
                        const std::map<std::size_t, std::string>& expanded);

/// "\n    at pay (till.js:3:9)" for each frame of a Runtime.StackTrace.
std::string stackText(const JsonValue& stackTrace, const std::string& origin);

/// The innermost frame of a Runtime.StackTrace that lies in a file.
SourcePlace placeOf(const JsonValue& stackTrace, const std::string& origin);

/// `url` without the origin's part where it lies there.
std::string withoutOrigin(const std::string& url, const std::string& origin);

/// A text in which URLs below `origin` stand, a stack for example, without that part.
std::string withoutOrigins(std::string text, const std::string& origin);

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_CONSOLE_TEXT_H
