/// What console.table draws, in characters.
#ifndef WORKSTATION_BROWSER_ENGINE_CONSOLE_TABLE_H
#define WORKSTATION_BROWSER_ENGINE_CONSOLE_TABLE_H

#include <string>

#include "workstation/browser/engine/protocol/json.h"

namespace workstation {

/// The table of the value that `preview` (Runtime.ObjectPreview, made for a table) shows; lines
/// parted by line feeds. Empty when it has no rows. What is too wide for a cell is cut.
std::string consoleTable(const JsonValue& preview);

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_CONSOLE_TABLE_H
