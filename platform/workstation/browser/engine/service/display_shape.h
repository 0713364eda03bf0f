/// The shape of the terminal's display.
#ifndef WORKSTATION_BROWSER_ENGINE_DISPLAY_SHAPE_H
#define WORKSTATION_BROWSER_ENGINE_DISPLAY_SHAPE_H

#include <string>

#include "workstation/browser/engine/page/invocation.h"

namespace workstation {

/// Reads it from the profile of the terminal in `terminal`; 320 x 480 without touch where that is
/// empty. False, with the reason in `error`, when the profile cannot be read.
[[nodiscard]] bool displayShape(const std::string& terminal, WindowShape& shape,
                                std::string& error);

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_DISPLAY_SHAPE_H
