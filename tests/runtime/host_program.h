// A host program, as the library sees it: runs one application and waits to be told of its end.
#ifndef WZAPP_TESTS_RUNTIME_HOST_PROGRAM_H
#define WZAPP_TESTS_RUNTIME_HOST_PROGRAM_H

#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>

#include "runtime/app_manager.h"
#include "tests/builders/test_terminal.h"
#include "tests/runtime/stubs/recording_platform.h"
#include "wzapp/wzapp.h"

namespace wzapp_test {

using Properties = std::map<std::string, std::string>;

inline constexpr int kDisplay = 1;
inline constexpr int kRegion = 3;

inline constexpr char kConfigRootPath[] = "/mnt/flash/etc/config/wzapp";
inline constexpr char kShopDir[] = "/mnt/flash/etc/config/wzapp/wz/shop";
inline constexpr char kShopManifest[] = "/mnt/flash/etc/config/wzapp/wz/shop/manifest.json";

// The manifest of an application with this id, version 1.2.3, whose desktop page is "index.html".
inline std::string manifestOf(const std::string& appId) {
  return R"({"application":{"id":")" + appId +
         R"(","version":"1.2.3"},"desktop":{"file":"index.html"}})";
}

class HostProgram {
 public:
  HostProgram() = default;
  HostProgram(const HostProgram&) = delete;
  HostProgram& operator=(const HostProgram&) = delete;

  int run(const std::string& manifest = kShopManifest, const std::string& entry = "desktop",
          const Properties& params = {}) {
    return wzapp::wzAppRun(app, kDisplay, kRegion, manifest.c_str(), entry.c_str(), params, onExit,
                           this);
  }

  // Blocks until the application's end has been told and its thread has nothing more to do with
  // this object.
  void awaitEnd() {
    {
      std::unique_lock<std::mutex> lock(mutex_);
      while (timesTold_ == 0) told_.wait(lock);
    }
    if (app) wzapp::wzAppCancel(app);
  }

  wzapp::WZAppManager& manager() { return static_cast<wzapp::WZAppManager&>(*app); }

  wzapp::counted_ptr<wzapp::WZApp> app;
  // Called first when the end is told, on the application's thread.
  std::function<void()> whenTold;

  // To be read after awaitEnd().
  int timesTold() const { return timesTold_; }
  int result() const { return result_; }
  const Properties& properties() const { return properties_; }

  static void onExit(void* user, int result, const Properties& properties) {
    HostProgram& host = *static_cast<HostProgram*>(user);
    if (host.whenTold) host.whenTold();
    stubs::platform().note("onExit " + std::to_string(result));
    const std::lock_guard<std::mutex> lock(host.mutex_);
    ++host.timesTold_;
    host.result_ = result;
    host.properties_ = properties;
    host.told_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable told_;
  int timesTold_ = 0;
  int result_ = 0;
  Properties properties_;
};

// A test inside a terminal on which the application "shop" is installed, with a fresh record.
class RuntimeTest : public testing::Test {
 protected:
  RuntimeTest() {
    stubs::platform().reset();
    terminal.writeFile(kShopManifest, manifestOf("shop"));
  }

  TestTerminal terminal;
};

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_RUNTIME_HOST_PROGRAM_H
