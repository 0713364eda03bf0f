#include <cstdarg>
#include <cstdio>
#include <map>
#include <memory>
#include <string>

#include "installer/directories.h"
#include "runtime/app_manager.h"
#include "runtime/app_properties.h"
#include "runtime/attempt.h"
#include "runtime/manifest_entry.h"
#include "runtime/script_bridge.h"
#include "support/file_system.h"
#include "wzapp/wzapp.h"
#include "zelgui/zelgui.h"

namespace wzapp {
namespace {

enum RunResult {
  kStarted = 0,
  kMissingArgument = 1,
  kUnreadableManifest = 2,
  kNoStartFile = 3,
  kNoThread = 4,  // nor memory
  kUnusableConfigRoot = 5,
};

constexpr char kStyleSheet[] = "app.css";

// What one call of wzAppRun was given.
struct RunRequest {
  int display;
  int region;
  const char* manifest;
  const char* entry;
  const std::map<std::string, std::string>& params;
  ExitCallback onExit;
  void* user;
};

// The installation directories report to standard error. `fprintf` itself has another type.
__attribute__((format(printf, 2, 3))) void printToStream(void* stream, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vfprintf(static_cast<std::FILE*>(stream), format, arguments);
  va_end(arguments);
}

// The id is one plain name: what is made of it lies below its root.
void setDirectories(WZAppManager& app) {
  app.appDir = joinPath(kAppRoot, app.appId);
  app.defaultDir = joinPath(app.appDir, "default");
  app.resourceDir = zelgui::uiGetTerminalResourceDir(app.appDir);
  app.fsRoot = joinPath(kFileSystemRoot, app.appId);
}

void createFileSystemRoot(const std::string& fsRoot) {
  struct stat status;
  if (fileStat(fsRoot.c_str(), status) == 0) return;
  // An application can do without: one that stores a file is told so then.
  static_cast<void>(makePath(fsRoot));
}

std::unique_ptr<WZAppManager> makeApp(const RunRequest& request, const ManifestEntry& entry) {
  auto app = std::make_unique<WZAppManager>();
  app->display = request.display;
  app->region = request.region;
  app->appId = entry.appId;
  app->version = entry.version;
  app->styleSheet = kStyleSheet;
  app->startFile = entry.startFile;
  setDirectories(*app);
  createFileSystemRoot(app->fsRoot);
  app->properties = request.params;
  addAppProperties(*app, app->properties);
  app->onExit = request.onExit;
  app->user = request.user;
  return app;
}

// The configuration root comes before the arguments: both being bad gives 5.
RunResult launch(counted_ptr<WZApp>& handle, const RunRequest& request) {
  if (!prepareConfigRoot(printToStream, stderr)) return kUnusableConfigRoot;
  if (request.manifest == nullptr || request.entry == nullptr) return kMissingArgument;
  ManifestEntry entry;
  if (!readManifestEntry(request.manifest, request.entry, entry)) return kUnreadableManifest;
  if (entry.startFile.empty()) return kNoStartFile;
  // From here on the object belongs to the references to it.
  WZAppManager* const app = makeApp(request, entry).release();
  if (app->start(handle)) return kStarted;
  handle.reset();
  return kNoThread;
}

}  // namespace

int wzAppRun(counted_ptr<WZApp>& app, int display, int region, const char* manifest,
             const char* entry, const std::map<std::string, std::string>& params,
             ExitCallback onExit, void* user) {
  RunResult result = kNoThread;
  const bool registered = attempt(registerScriptCallbacks);
  app.reset();
  if (!registered) return kNoThread;
  attempt([&] { result = launch(app, {display, region, manifest, entry, params, onExit, user}); });
  return result;
}

int wzAppRun(counted_ptr<WZApp>& app, int region, const char* manifest, const char* entry,
             const std::map<std::string, std::string>& params, ExitCallback onExit, void* user) {
  return wzAppRun(app, 0, region, manifest, entry, params, onExit, user);
}

void wzAppCancel(const counted_ptr<WZApp>& app) { static_cast<WZAppManager&>(*app).cancel(); }

void wzSetAppFSRoot(const std::string&) {
  std::fputs("wzSetAppFSRoot is no longer supported\n", stderr);
}

}  // namespace wzapp
