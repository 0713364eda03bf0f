// The GUI service's client interface over the browser.

// What the interface header declares is what this library exports.
#pragma GCC visibility push(default)
#include "zelgui/zelgui.h"
#pragma GCC visibility pop

#include <exception>
#include <utility>

#include <sys/stat.h>

#include "workstation/browser/engine/files/directory_rules.h"
#include "workstation/browser/engine/page/invocation_outcome.h"
#include "workstation/browser/engine/page/result_codes.h"
#include "workstation/browser/engine/service/browser_service.h"
#include "workstation/browser/engine/service/display_shape.h"
#include "workstation/browser/gui/ui_properties.h"
#include "workstation/terminal/terminal_profile.h"

namespace zelgui {
namespace {

using namespace workstation;

thread_local std::string lastError;

int fail(int code, const char* text) {
  lastError = text;
  return code;
}

// Runs the body of an exported function, from which no exception may get out.
template <class Body>
int guarded(Body body) {
  try {
    return body();
  } catch (const std::exception& exception) {
    return fail(kNoResources, exception.what());
  }
}

bool isDirectory(const std::string& path) {
  struct stat status = {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

struct DirectoryProperty {
  int property;
  DirectoryUse use;
};

constexpr DirectoryProperty kDirectoryProperties[] = {
    {kResourceDir, DirectoryUse::kInApplication},
    {kDefaultDir, DirectoryUse::kInApplication},
    {kApplicationDir, DirectoryUse::kApplication},
    {kFileSystemDir, DirectoryUse::kFileSystem},
    {kPrintDir, DirectoryUse::kInApplication},
    {kFileSystemRootDir, DirectoryUse::kFileSystemRoot},
};

std::string whyRefused(int property, const std::string& value) {
  for (const DirectoryProperty& row : kDirectoryProperties) {
    if (row.property == property) return whyNoDirectory(row.use, value);
  }
  return {};
}

// A value that is refused does not leave an earlier one in force: that would be the directory of
// another application.
int setText(int display, int property, const std::string& value) {
  return guarded([&] {
    const std::string why = whyRefused(property, value);
    setProperty(display, property, why.empty() ? value : std::string());
    return why.empty() ? 0 : fail(kOutsideApplication, why.c_str());
  });
}

}  // namespace

void uiSetLocalProperties(bool local) {
  guarded([&] {
    useLocalProperties(local);
    return 0;
  });
}

int uiSetPropertyString(int display, int property, const char* value) {
  return setText(display, property, value != nullptr ? value : "");
}

int uiSetPropertyInt(int display, int property, int value) {
  return setText(display, property, std::to_string(value));
}

// A workstation has no configuration of its own beside the pages: those bring their style sheets.
int uiReadConfig(int) { return 0; }

// The folder named after the display's size where the application has one ("320x480"), else its
// folder "default".
std::string uiGetTerminalResourceDir(const std::string& applicationDir) {
  WindowShape shape;
  std::string error;
  (void)displayShape(terminalDirectory(), shape, error);  // the default shape then
  const std::string base = applicationDir.empty() || applicationDir.back() == '/'
                               ? applicationDir
                               : applicationDir + '/';
  const std::string fitting =
      base + std::to_string(shape.width) + 'x' + std::to_string(shape.height);
  return isDirectory(fitting) ? fitting : base + "default";
}

int uiInvokeURLAsync(int display, int region, const UIProperties& properties,
                     const std::string& url, UICallback callback, void* user) {
  return guarded([&] {
    lastError.clear();
    if (region != 0) return fail(kNoSuchRegion, "only region 0, the whole display, exists");
    InvokeRequest request;
    request.applicationDir = propertyValue(display, kApplicationDir);
    request.resourceDir = propertyValue(display, kResourceDir);
    request.defaultDir = propertyValue(display, kDefaultDir);
    request.url = url;
    request.properties = properties;
    request.callback = callback;
    request.user = user;
    return startInvocation(request, lastError);
  });
}

int uiInvokeWait(int invocation, UIProperties& properties, int timeoutMs) {
  return guarded([&] {
    lastError.clear();
    const auto outcome = invocationTable().find(invocation);
    if (!outcome) return fail(kNoSuchInvocation, "there is no such invocation");
    InvocationEnd end;
    if (!outcome->wait(timeoutMs, end)) return fail(kTimeout, "the application is still running");
    invocationTable().remove(invocation);
    properties = std::move(end.properties);
    lastError = std::move(end.error);
    return end.result;
  });
}

int uiInvokeCancelAsync(int invocation) {
  return guarded([&] {
    if (cancelInvocation(invocation)) return 0;
    return fail(kNoSuchInvocation, "there is no such invocation");
  });
}

std::string uiScriptError() { return lastError; }

}  // namespace zelgui
