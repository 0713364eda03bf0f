/// A value of the page as the browser describes it from afar (Runtime.RemoteObject), as text.
#ifndef WORKSTATION_BROWSER_ENGINE_REMOTE_VALUE_H
#define WORKSTATION_BROWSER_ENGINE_REMOTE_VALUE_H

#include <string>

#include "workstation/browser/engine/protocol/json.h"

namespace workstation {

/// A string as it is; an object by the browser's preview, which is one level deep.
std::string remoteValueText(const JsonValue& remote);

/// One property of a preview, or one cell of a table: strings in quotes, objects by their class.
std::string previewValueText(const JsonValue& property);

/// What has a better text than the one above, if the page itself is asked.
bool isExpandable(const JsonValue& remote);

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_REMOTE_VALUE_H
