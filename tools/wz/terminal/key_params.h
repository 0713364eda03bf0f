/// A key as the DevTools protocol presses it.
#ifndef WZ_TERMINAL_KEY_PARAMS_H
#define WZ_TERMINAL_KEY_PARAMS_H

#include <string>

#include "zelipc/zelipc.h"

namespace wz {

/// The parameters of Input.dispatchKeyEvent for the key that scripts know as `key`, without "type":
/// a key that types something has "text".
[[nodiscard]] zelipc::JSObject keyParams(const std::string& key);

}  // namespace wz

#endif  // WZ_TERMINAL_KEY_PARAMS_H
