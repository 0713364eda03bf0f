/// Tries an installation on a copy of a terminal, which is gone afterwards.
#ifndef WZ_TERMINAL_TRIAL_H
#define WZ_TERMINAL_TRIAL_H

#include <functional>
#include <string>

#include "wz/terminal/installation.h"
#include "wz/terminal/package_files.h"

namespace wz {

/// Installs the packages, which have been opened with their entries counted, on a copy of the
/// terminal in the folder `terminalDir`. `tell` says what came of it, in a child of this process;
/// what it returns is the exit code. Signals end the program only when the copy is gone: to be
/// called behind packaging::removeFoldersOnSignals().
[[nodiscard]] int tryOnCopy(const std::string& terminalDir, const PackageFiles& files,
                            const std::function<int(const InstallOutcome& outcome)>& tell);

}  // namespace wz

#endif  // WZ_TERMINAL_TRIAL_H
