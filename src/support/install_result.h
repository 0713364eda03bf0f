// The overall result of an installation run, and the two kinds of report that change it. It stands
// beside the sink because the certificate store warns, too. Any thread may call.
#ifndef WZAPP_SUPPORT_INSTALL_RESULT_H
#define WZAPP_SUPPORT_INSTALL_RESULT_H

#include "support/install_log.h"

namespace wzapp {

// What a run returns to its host.
enum InstallResult : int {
  kInstallOk = 0,
  kInstallNoPackage = 1,
  kInstallError = 2,
  kInstallWarning = 3,
};

// The result of the run that is going on, or of the last one; kInstallOk before the first.
[[nodiscard]] InstallResult installResult();

// Replaces the result, whatever it is.
void setInstallResult(InstallResult result);

// An error is never forgotten; a warning never hides one.
void noteInstallError();
void noteInstallWarning();

// report() of a message that begins "Error: ", and what it means for the result.
template <class... Args>
void reportError(const char* format, Args... arguments) {
  noteInstallError();
  report(format, arguments...);
}

// report() of a message that begins "Warning: ", and what it means for the result.
template <class... Args>
void reportWarning(const char* format, Args... arguments) {
  noteInstallWarning();
  report(format, arguments...);
}

}  // namespace wzapp

#endif  // WZAPP_SUPPORT_INSTALL_RESULT_H
