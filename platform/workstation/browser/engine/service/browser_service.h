/// The process's browser: started with the first invocation, replaced when it has died, ended with
/// the process.
#ifndef WORKSTATION_BROWSER_ENGINE_BROWSER_SERVICE_H
#define WORKSTATION_BROWSER_ENGINE_BROWSER_SERVICE_H

#include <string>

#include "workstation/browser/engine/page/invocation_outcome.h"
#include "zelgui/zelgui.h"

namespace workstation {

/// What uiInvokeURLAsync asks for.
struct InvokeRequest {
  std::string applicationDir, resourceDir, defaultDir;
  std::string url;
  zelgui::UIProperties properties;
  zelgui::UICallback callback = nullptr;
  void* user = nullptr;
};

/// Starts an invocation. Its id, or a negative ResultCode with the reason in `error`. Any thread.
int startInvocation(const InvokeRequest& request, std::string& error);

/// Asks an invocation to end. False when there is no such invocation. Any thread.
bool cancelInvocation(int invocation);

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_BROWSER_SERVICE_H
