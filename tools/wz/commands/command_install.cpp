#include <string>

#include "wz/commands/commands.h"
#include "wz/terminal/installation.h"
#include "wz/terminal/package_files.h"
#include "wz/terminal/terminal_change.h"
#include "wz/words/exit_code.h"

namespace wz {

int install(const InstallOptions& options) {
  PackageFiles files;
  if (const int code = files.open(options.packages); code != kDone) return code;
  TerminalChange change;
  if (!change.begin(options.terminal) || !files.copyIn()) return kEnvironment;
  return installAsCommand("install", files.packages(), options.asJson);
}

}  // namespace wz
