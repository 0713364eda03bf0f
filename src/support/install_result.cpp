#include "support/install_result.h"

#include <atomic>

namespace wzapp {
namespace {

std::atomic<InstallResult> currentResult = kInstallOk;

}  // namespace

InstallResult installResult() { return currentResult; }

void setInstallResult(InstallResult result) { currentResult = result; }

void noteInstallError() { currentResult = kInstallError; }

void noteInstallWarning() {
  InstallResult expected = kInstallOk;
  currentResult.compare_exchange_strong(expected, kInstallWarning);
}

}  // namespace wzapp
