/// Gives a window the size at which its content has the display's.
#ifndef WORKSTATION_BROWSER_ENGINE_WINDOW_FIT_H
#define WORKSTATION_BROWSER_ENGINE_WINDOW_FIT_H

#include <functional>
#include <memory>
#include <string>

#include "workstation/browser/engine/protocol/cdp_connection.h"

namespace workstation {

struct WindowShape {
  int width = 320;
  int height = 480;
  bool touch = false;
  bool colour = true;
};

/// What the window adds around its content depends on the desktop, so it is measured: to be called
/// before the page is made to see the display's size whatever the window's is. `done` is called on
/// the connection's thread, also where the window cannot be resized: it shows the page all the
/// same.
void fitWindow(const std::shared_ptr<CdpConnection>& connection, const std::string& session,
               const std::string& target, const WindowShape& shape, std::function<void()> done);

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_WINDOW_FIT_H
