#include "workstation/browser/engine/page/page_observer.h"

#include <mutex>

namespace workstation {
namespace {

std::mutex observerMutex;
PageObserver currentObserver = nullptr;
void* currentUser = nullptr;

}  // namespace

void setPageObserver(PageObserver observer, void* user) {
  const std::lock_guard<std::mutex> lock(observerMutex);
  currentObserver = observer;
  currentUser = user;
}

bool hasPageObserver() {
  const std::lock_guard<std::mutex> lock(observerMutex);
  return currentObserver != nullptr;
}

void tellPageObserver(const PageEvent& event) {
  PageObserver observer = nullptr;
  void* user = nullptr;
  {
    const std::lock_guard<std::mutex> lock(observerMutex);
    observer = currentObserver;
    user = currentUser;
  }
  if (observer != nullptr) observer(user, event);
}

}  // namespace workstation
