#include "support/install_log.h"

#include <mutex>

namespace wzapp {
namespace {

std::mutex sinkMutex;
InstallSink currentSink = {silentInstallLog, nullptr};  // under sinkMutex

}  // namespace

void silentInstallLog(void* /*user*/, const char* /*format*/, ...) {}

void setInstallLog(InstallLog log, void* user) {
  const std::lock_guard<std::mutex> lock(sinkMutex);
  currentSink = {log != nullptr ? log : silentInstallLog, user};
}

InstallSink installSink() {
  const std::lock_guard<std::mutex> lock(sinkMutex);
  return currentSink;
}

}  // namespace wzapp
