// One started application: what its thread and the host share, and the start and end of that
// thread.
//
// The object lives as long as the host's handle or the thread's reference to it, `self`, does.
#ifndef WZAPP_RUNTIME_APP_MANAGER_H
#define WZAPP_RUNTIME_APP_MANAGER_H

#include <cstdint>
#include <map>
#include <string>

#include <pthread.h>

#include "support/mutex.h"
#include "wzapp/wzapp.h"

namespace wzapp {

// Told once, on the application's thread, that the application has ended.
using ExitCallback = void (*)(void* user, int result,
                              const std::map<std::string, std::string>& properties);

// Everything but `running` and `invocation` is written before the thread starts and belongs to the
// thread from then on.
class WZAppManager final : public WZApp {
 public:
  WZAppManager() = default;
  ~WZAppManager() override;

  // Lets `handle` and `self` refer to this object, which must have been made with `new`, and starts
  // the detached thread that runs the application. When the thread cannot be created the result is
  // false and `handle` holds the only reference.
  [[nodiscard]] bool start(counted_ptr<WZApp>& handle);

  // Asks the application to end, as soon as it has an invocation that can be cancelled, and waits
  // until it has. For any thread but the application's own.
  void cancel();

  // May be held when the log's mutex is taken, never the other way round.
  Mutex mutex;
  pthread_cond_t cond = PTHREAD_COND_INITIALIZER;  // What the mutex guards has changed.
  bool running WZAPP_GUARDED_BY(mutex) = true;     // Until the host has been told of the end.
  // -1 before the start page is invoked; then the GUI service's id, or its negative failure; the
  // final result after the page's end. A final result is seen only together with !running.
  std::int32_t invocation WZAPP_GUARDED_BY(mutex) = -1;

  std::map<std::string, std::string> properties;
  ExitCallback onExit = nullptr;
  void* user = nullptr;
  int display = 0;
  int region = 0;
  std::string defaultDir;
  std::string resourceDir;
  std::string appDir;
  std::string fsRoot;
  std::string styleSheet;
  std::string appId;
  std::string version;
  std::string startFile;  // As the manifest names it.
  counted_ptr<WZApp> self;
};

}  // namespace wzapp

#endif  // WZAPP_RUNTIME_APP_MANAGER_H
