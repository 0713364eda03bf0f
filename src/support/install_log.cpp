#include "support/install_log.h"

#include "support/mutex.h"

namespace wzapp {
namespace {

Mutex sinkMutex;
InstallSink currentSink WZAPP_GUARDED_BY(sinkMutex) = {silentInstallLog, nullptr};

}  // namespace

void silentInstallLog(void* /*user*/, const char* /*format*/, ...) {}

void setInstallLog(InstallLog log, void* user) {
  const MutexLock lock(sinkMutex);
  currentSink = {log != nullptr ? log : silentInstallLog, user};
}

InstallSink installSink() {
  const MutexLock lock(sinkMutex);
  return currentSink;
}

}  // namespace wzapp
