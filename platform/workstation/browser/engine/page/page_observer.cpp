#include "workstation/browser/engine/page/page_observer.h"

#include "workstation/mutex.h"

namespace workstation {
namespace {

Mutex observerMutex;
PageObserver currentObserver WORKSTATION_GUARDED_BY(observerMutex) = nullptr;
void* currentUser WORKSTATION_GUARDED_BY(observerMutex) = nullptr;

}  // namespace

void setPageObserver(PageObserver observer, void* user) {
  const MutexLock lock(observerMutex);
  currentObserver = observer;
  currentUser = user;
}

bool hasPageObserver() {
  const MutexLock lock(observerMutex);
  return currentObserver != nullptr;
}

void tellPageObserver(const PageEvent& event) {
  PageObserver observer = nullptr;
  void* user = nullptr;
  {
    const MutexLock lock(observerMutex);
    observer = currentObserver;
    user = currentUser;
  }
  if (observer != nullptr) observer(user, event);
}

}  // namespace workstation
