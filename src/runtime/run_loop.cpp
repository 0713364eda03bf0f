#include "runtime/run_loop.h"

#include <optional>
#include <string>

#include "installer/directories.h"
#include "runtime/app_log.h"
#include "runtime/app_manager.h"
#include "runtime/attempt.h"
#include "runtime/script_bridge.h"
#include "support/file_system.h"
#include "support/format.h"
#include "support/platform_info.h"
#include "zelgui/zelgui.h"

namespace wzapp {
namespace {

constexpr int kNoLimit = -1;      // time-out of uiInvokeWait
constexpr int kOutOfMemory = -1;  // result of a page that could not be invoked or waited for

// What integer property 20 is for a terminal with at least `memoryKB` of memory; the first row that
// fits counts.
struct MemoryRow {
  unsigned int memoryKB;
  int value;
};

constexpr MemoryRow kMemoryRows[] = {{524288, 256000}, {262144, 71680}, {1, 10240}};

int memoryProperty() {
  const unsigned int memoryKB = memorySizeKB();
  for (const MemoryRow& row : kMemoryRows) {
    if (memoryKB >= row.memoryKB) return row.value;
  }
  return 0;
}

// The GUI service's own numbers of its properties, by what the library sets them to.
enum BrowserPropertyId : int {
  kSwitch = 15,  // of what, the service knows; always on
  kMemory = 20,
  kResourceDir = 2003,
  kStyleSheet = 2006,
  kDefaultDir = 2007,
  kAppDir = 2010,
  kFsRoot = 2012,
  kPrintDir = 2013,
  kFsRoots = 2015,
};

// One property of the GUI service, a text or a number.
struct BrowserProperty {
  BrowserPropertyId id;
  std::string (*text)(const WZAppManager& app);
  int (*number)();
};

// Where uiReadConfig looks; so these come before it, and everything else after it.
constexpr BrowserProperty kConfigurationDirectories[] = {
    {kResourceDir, [](const WZAppManager& app) { return app.resourceDir; }, nullptr},
    {kDefaultDir, [](const WZAppManager& app) { return app.defaultDir; }, nullptr},
};

constexpr BrowserProperty kBrowserProperties[] = {
    {kAppDir, [](const WZAppManager& app) { return app.appDir; }, nullptr},
    {kFsRoot, [](const WZAppManager& app) { return app.fsRoot; }, nullptr},
    {kFsRoots, [](const WZAppManager&) { return std::string(kFileSystemRoot); }, nullptr},
    {kMemory, nullptr, memoryProperty},
    {kPrintDir, [](const WZAppManager& app) { return joinPath(app.appDir, "print"); }, nullptr},
    {kStyleSheet, [](const WZAppManager& app) { return app.styleSheet; }, nullptr},
    {kSwitch, nullptr, [] { return 1; }},
};

// While on, what this thread sets is for its own invocation and changes no other application's.
void setLocalProperties(bool local) {
  attempt([=] { zelgui::uiSetLocalProperties(local); });
}

// A property that the service refuses keeps its default, and the run goes on.
void setBrowserProperty(const WZAppManager& app, const BrowserProperty& property) {
  attempt([&] {
    if (property.text != nullptr) {
      zelgui::uiSetPropertyString(app.display, property.id, property.text(app).c_str());
    } else {
      zelgui::uiSetPropertyInt(app.display, property.id, property.number());
    }
  });
}

void configureBrowser(const WZAppManager& app) {
  for (const BrowserProperty& property : kConfigurationDirectories) {
    setBrowserProperty(app, property);
  }
  attempt([&] { zelgui::uiReadConfig(app.display); });
  for (const BrowserProperty& property : kBrowserProperties) {
    setBrowserProperty(app, property);
  }
}

std::optional<std::string> propertyOf(const WZAppManager& app, const char* key) {
  const auto property = app.properties.find(key);
  if (property == app.properties.end()) return std::nullopt;
  return property->second;
}

std::optional<std::string> merchantIdOf(const WZAppManager& app) {
  const auto text = propertyOf(app, "wz_parameters");
  if (!text) return std::nullopt;
  zelipc::JSObject parameters;
  // Not examined: parameters that are no JSON text hold no merchant id.
  static_cast<void>(parseJson(parameters, *text));
  const zelipc::JSObject& merchantId =
      static_cast<const zelipc::JSObject&>(parameters)["wz_merchantId"];
  if (!merchantId.isString()) return std::nullopt;
  return merchantId.asString();
}

// What the log says about this run. The host's parameters are read here, before the page can change
// them, and serve the last record too. Each by itself: one that cannot be read is not said, and
// costs neither the others nor the line of the launch.
LaunchData logLaunch(const WZAppManager& app) {
  LaunchData launch;
  attempt([&] { launch.version = app.version; });
  attempt([&] { launch.merchantId = merchantIdOf(app); });
  attempt([&] { launch.system = propertyOf(app, "wz_system"); });
  attempt([&] { launch.systemVersion = propertyOf(app, "wz_system_version"); });
  openAppLog(app.appId, launch);
  return launch;
}

void invokeStartPage(WZAppManager& app) WZAPP_REQUIRES(app.mutex) {
  std::int32_t invocation = kOutOfMemory;
  attempt([&] {
    invocation = zelgui::uiInvokeURLAsync(app.display, app.region, app.properties, app.startFile,
                                          nullptr, nullptr);
  });
  app.invocation = invocation;
  pthread_cond_broadcast(&app.cond);
}

// Without the mutex, so that the application can be cancelled meanwhile.
int waitForEnd(WZAppManager& app, int invocation) {
  int result = kOutOfMemory;
  if (!attempt([&] { result = zelgui::uiInvokeWait(invocation, app.properties, kNoLimit); })) {
    // Nobody would know of the page any more: let it not go on.
    attempt([&] { zelgui::uiInvokeCancelAsync(invocation); });
  }
  return result;
}

RunFailure describeFailure(int result) {
  RunFailure failure;
  format(failure.message, "Error %d %s\n", result, zelgui::uiScriptError().c_str());
  // The line feed is part of the code. Unsigned, since the smallest result has no opposite.
  format(failure.errorCode, "wz_%d\n", static_cast<int>(1U - static_cast<unsigned int>(result)));
  return failure;
}

void logExit(const WZAppManager& app, const LaunchData& launch) WZAPP_REQUIRES(app.mutex) {
  std::optional<RunFailure> failure;
  if (app.invocation < 0) {
    attempt([&failure, result = app.invocation] { failure = describeFailure(result); });
  }
  closeAppLog(app.appId, launch, failure);
}

// With the mutex held: a cancel returns only when the host has been told.
void tellHost(const WZAppManager& app) WZAPP_REQUIRES(app.mutex) {
  if (app.onExit == nullptr) return;
  attempt([&app, result = app.invocation] { app.onExit(app.user, result, app.properties); });
}

}  // namespace

counted_ptr<WZApp> runApplication(WZAppManager& app) noexcept {
  setLocalProperties(true);
  configureBrowser(app);
  const LaunchData launch = logLaunch(app);

  app.mutex.lock();
  invokeStartPage(app);
  if (app.invocation >= 0) {
    const int invocation = app.invocation;
    app.mutex.unlock();
    const int result = waitForEnd(app, invocation);
    app.mutex.lock();
    // From here to the unlock nobody sees it, so nobody takes it for an invocation id.
    app.invocation = result;
  }
  logExit(app, launch);
  setLocalProperties(false);
  tellHost(app);
  app.running = false;
  pthread_cond_broadcast(&app.cond);
  app.mutex.unlock();

  counted_ptr<WZApp> self(app.self);
  app.self.reset();
  return self;
}

}  // namespace wzapp
