#include "workstation/browser/engine/service/browser_service.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>
#include <vector>

#include <unistd.h>

#include "workstation/browser/browser_control.h"
#include "workstation/browser/engine/files/application_url.h"
#include "workstation/browser/engine/files/directory_rules.h"
#include "workstation/browser/engine/files/host_names.h"
#include "workstation/browser/engine/page/result_codes.h"
#include "workstation/browser/engine/process/browser.h"
#include "workstation/browser/engine/process/browser_lender.h"
#include "workstation/browser/engine/service/display_shape.h"
#include "workstation/mutex.h"
#include "workstation/terminal/terminal_profile.h"

namespace workstation {
namespace {

constexpr int kExitPatienceMs = 1000;

struct Service {
  Mutex mutex;
  BrowserOptions options WORKSTATION_GUARDED_BY(mutex);
  std::shared_ptr<Browser> browser WORKSTATION_GUARDED_BY(mutex);  // the latest
  // With a window each, of invocations before.
  std::vector<std::shared_ptr<Browser>> others WORKSTATION_GUARDED_BY(mutex);
  std::atomic<pid_t> owner{0};  // the process that started the browser; read without the lock too
  std::vector<std::shared_ptr<Browser>> abandoned WORKSTATION_GUARDED_BY(mutex);

  HostNames hosts;  // minds itself
};

// Never destroyed: threads of the host may still call while the process ends.
Service& service() {
  static Service* const kService = new Service;
  return *kService;
}

// Ends the browser with the process, so that its profile goes too.
void endBrowser() {
  // A child that the host has forked must leave the browser to its parent. It must not even ask for
  // the lock, which a thread that is not there any more may have held.
  if (service().owner != ::getpid()) return;
  std::vector<std::shared_ptr<Browser>> browsers;
  {
    const MutexLock lock(service().mutex);
    browsers.swap(service().others);
    if (service().browser) browsers.push_back(std::move(service().browser));
  }
  if (browsers.empty()) return;
  // What observer and callbacks would use may have gone with main().
  setPageObserver(nullptr, nullptr);
  invocationTable().silenceAll();
  browsers.clear();
  invocationTable().waitForAll(kExitPatienceMs);
}

// `fresh` turns true when the browser has been started for this. The
// reference may be the last one when the browser has ended meanwhile, so it is given up outside of
// the connection's thread only.
std::shared_ptr<Browser> runningBrowser(Service& shared, const WindowShape& shape, bool& fresh,
                                        std::string& error) WORKSTATION_REQUIRES(shared.mutex) {
  if (shared.owner != 0 && shared.owner != ::getpid()) {
    // Forked: the threads behind this browser are the parent's. It is not ours to destroy.
    shared.abandoned.push_back(std::move(shared.browser));
    for (auto& other : shared.others) shared.abandoned.push_back(std::move(other));
    shared.others.clear();
  }
  const auto hasEnded = [](const auto& browser) { return browser->hasEnded(); };
  shared.others.erase(std::remove_if(shared.others.begin(), shared.others.end(), hasEnded),
                      shared.others.end());
  if (shared.browser && !shared.browser->hasEnded()) {
    if (shared.browser->isHeadless()) return shared.browser;
    shared.others.push_back(std::move(shared.browser));
  }
  shared.browser.reset();
  fresh = true;
  shared.browser = Browser::start(shared.options, terminalDirectory(), shape, error);
  if (!shared.browser) return nullptr;
  if (shared.owner == 0) std::atexit(endBrowser);
  shared.owner = ::getpid();
  return shared.browser;
}

std::vector<std::shared_ptr<Browser>> currentBrowsers() {
  const MutexLock lock(service().mutex);
  if (service().owner != ::getpid()) return {};
  std::vector<std::shared_ptr<Browser>> browsers = service().others;
  if (service().browser) browsers.push_back(service().browser);
  return browsers;
}

std::string canonicalPath(const std::string& path) {
  std::error_code error;
  const auto canonical = std::filesystem::canonical(path, error);
  return error ? path : canonical.string();
}

// The name that the application's host is made of.
std::string applicationName(const InvokeRequest& request) {
  const auto appId = request.properties.find("wz_appId");
  if (appId != request.properties.end() && !appId->second.empty()) return appId->second;
  return std::filesystem::path(canonicalPath(request.applicationDir)).filename().string();
}

// Gives the invocation its host for as long as its plan needs it.
void leaseHost(const InvokeRequest& request, InvocationPlan& plan) {
  plan.host =
      service().hosts.acquire(applicationName(request), canonicalPath(request.applicationDir));
  const auto giveBack = [host = plan.host](const void*) { service().hosts.release(host); };
  plan.hostLease = std::shared_ptr<const void>(&service(), giveBack);
}

// Everything that is known before loading.
int planInvocation(const InvokeRequest& request, InvocationPlan& plan, std::string& error) {
  if (request.applicationDir.empty()) {
    error = "no application directory is set";
    return kNoSuchPage;
  }
  error = whyNoDirectory(DirectoryUse::kApplication, request.applicationDir);
  if (!error.empty()) return kOutsideApplication;
  plan.files = ApplicationFiles::open(request.applicationDir,
                                      {request.resourceDir, request.defaultDir}, error);
  if (!plan.files) return kNoSuchPage;
  std::string file;
  if (!resolveStartUrl(request.url, plan.target, file)) {
    error = request.url + " leads out of the application";
    return kOutsideApplication;
  }
  if (!plan.files->contains(file)) {
    error = "there is no file " + file + " in " + request.applicationDir;
    return kNoSuchPage;
  }
  plan.properties = request.properties;
  return 0;
}

void takeOptions(const BrowserOptions& options, InvocationPlan& plan) {
  plan.devtools = options.devtools;
  plan.recordsInput = options.recordsInput;
  plan.lastPicture = options.lastPicture;
  plan.locale = options.locale;
}

// Calls `body` with the invocation's browser. No exception gets out.
template <class Body>
bool withBrowser(std::string& error, Body body) {
  try {
    error = kNoInvocation;
    for (const auto& browser : currentBrowsers()) {
      if (browser->hasEnded()) continue;
      if (body(*browser)) return true;
      if (error != kNoInvocation) return false;
    }
  } catch (const std::exception& exception) {
    error = exception.what();
  }
  return false;
}

bool writeFile(const std::string& path, const std::string& octets, std::string& error) {
  std::FILE* const file = std::fopen(path.c_str(), "wbe");
  const bool written =
      file != nullptr && std::fwrite(octets.data(), 1, octets.size(), file) == octets.size();
  const bool closed = file != nullptr && std::fclose(file) == 0;
  if (written && closed) return true;
  error = "cannot write " + path + ": " + std::strerror(errno);
  return false;
}

}  // namespace

int startInvocation(const InvokeRequest& request, std::string& error) {
  InvocationPlan plan;
  const int refused = planInvocation(request, plan, error);
  if (refused != 0) return refused;
  if (!displayShape(terminalDirectory(), plan.shape, error)) return kNoBrowser;
  const std::shared_ptr<CallQueue> queue = CallQueue::start();
  if (!queue) {
    error = "there is no thread for the application's scripts";
    return kNoResources;
  }
  leaseHost(request, plan);
  const auto outcome = invocationTable().add(request.callback, request.user);
  {
    Service& shared = service();
    const MutexLock lock(shared.mutex);
    takeOptions(shared.options, plan);
    for (bool fresh = false; !fresh;) {
      const std::shared_ptr<Browser> browser = runningBrowser(shared, plan.shape, fresh, error);
      if (!browser) break;
      plan.headless = browser->isHeadless();
      if (browser->open(outcome, queue, plan)) return outcome->id();
      // One that has died unnoticed is replaced, one that dies at once is not.
      error = browser->whyEnded();
    }
  }
  queue->finish([] {});
  invocationTable().remove(outcome->id());
  return kNoBrowser;
}

bool cancelInvocation(int invocation) {
  const auto outcome = invocationTable().find(invocation);
  if (!outcome) return false;
  // An invocation of a browser that has died ends by itself.
  for (const auto& browser : currentBrowsers()) browser->cancel(invocation);
  return true;
}

void setBrowserOptions(const BrowserOptions& options) {
  const MutexLock lock(service().mutex);
  service().options = options;
}

std::unique_ptr<BrowserLender> lendBrowsers(const std::string& socket, std::string& error) {
  return LendingBrowsers::open(socket, error);
}

bool takeScreenshot(int invocation, const std::string& file, std::string& error) {
  return withBrowser(error, [&](Browser& browser) {
    std::string png;
    return browser.takeScreenshot(invocation, png, error) && writeFile(file, png, error);
  });
}

bool commandPage(int invocation, const std::string& method, const std::string& params,
                 std::string& result, std::string& error) {
  return withBrowser(error, [&](Browser& browser) {
    return browser.command(invocation, method, params, result, error);
  });
}

bool showDeveloperTools(int invocation, std::string& error) {
  return withBrowser(
      error, [&](Browser& browser) { return browser.showDeveloperTools(invocation, error); });
}

std::unique_ptr<DebugTool> openDebugTool(int invocation, DebugScope scope,
                                         const DebugListener& listener, std::string& error) {
  std::unique_ptr<DebugTool> tool;
  (void)withBrowser(error, [&](Browser& browser) {
    tool = browser.openDebugTool(invocation, scope, listener, error);
    return tool != nullptr;
  });
  return tool;
}

}  // namespace workstation
