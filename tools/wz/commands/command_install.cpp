#include <string>

#include "wz/commands/commands.h"
#include "wz/terminal/interrupt.h"
#include "wz/terminal/package_files.h"
#include "wz/terminal/terminal_change.h"
#include "wz/terminal/told_installation.h"
#include "wz/words/exit_code.h"

namespace wz {
int install(const InstallOptions& options) {
  PackageFiles files;
  if (const int code = files.open(options.packages); code != kDone) return code;
  TerminalChange change;
  if (!change.begin(options.terminal)) return kEnvironment;
  watchInterrupts();
  ChangeRecord record;
  record.begin(HistoryKind::kInstall, files.packages());
  if (!files.copyIn()) {
    record.drop();
    return kEnvironment;
  }
  return installAndTell("install", files.packages(), options.asJson, record);
}

}  // namespace wz
