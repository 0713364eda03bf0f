#include <string>

#include "commands.h"
#include "exit_code.h"
#include "install_run.h"
#include "package_files.h"
#include "terminal_change.h"

namespace wz {

int install(const InstallOptions& options) {
  PackageFiles files;
  if (const int code = files.open(options.packages); code != kDone) return code;
  TerminalChange change;
  if (!change.begin(options.terminal) || !files.copyIn()) return kEnvironment;
  return installAsCommand(files.packages(), options.asJson);
}

}  // namespace wz
