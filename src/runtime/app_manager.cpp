#include "runtime/app_manager.h"

#include "runtime/attempt.h"
#include "runtime/run_loop.h"
#include "zelgui/zelgui.h"

namespace wzapp {
namespace {

// The thread's entry. Its reference is let go of outside the object, which may be destroyed by that
// with every member it has.
void* appThreadMain(void* manager) noexcept {
  const counted_ptr<WZApp> last = runApplication(*static_cast<WZAppManager*>(manager));
  return nullptr;
}

// Thread attributes for a detached thread, released on every way out.
class DetachedAttributes {
 public:
  DetachedAttributes() : initialised_(pthread_attr_init(&attributes_) == 0) {}

  ~DetachedAttributes() {
    if (initialised_) pthread_attr_destroy(&attributes_);
  }

  DetachedAttributes(const DetachedAttributes&) = delete;
  DetachedAttributes& operator=(const DetachedAttributes&) = delete;

  bool createThread(void* (*entry)(void*), void* argument) {
    pthread_t thread;
    return initialised_ &&
           pthread_attr_setdetachstate(&attributes_, PTHREAD_CREATE_DETACHED) == 0 &&
           pthread_create(&thread, &attributes_, entry, argument) == 0;
  }

 private:
  pthread_attr_t attributes_;
  bool initialised_;
};

}  // namespace

WZAppManager::~WZAppManager() { pthread_cond_destroy(&cond); }

bool WZAppManager::start(counted_ptr<WZApp>& handle) {
  self.reset(this);
  handle = self;
  if (DetachedAttributes().createThread(appThreadMain, this)) return true;
  self.reset();
  return false;
}

void WZAppManager::cancel() {
  const MutexLock lock(mutex);
  while (running && invocation < 0) pthread_cond_wait(&cond, mutex.native());
  if (running) {
    // A request that cannot be made leaves the application to end by itself.
    attempt([id = invocation] { zelgui::uiInvokeCancelAsync(id); });
  }
  while (running) pthread_cond_wait(&cond, mutex.native());
}

}  // namespace wzapp
