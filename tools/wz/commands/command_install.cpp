#include <string>
#include <vector>

#include "packaging/temporary_folders.h"
#include "wz/commands/commands.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/reports/output_file.h"
#include "wz/terminal/interrupt.h"
#include "wz/terminal/package_files.h"
#include "wz/terminal/room_trial.h"
#include "wz/terminal/session.h"
#include "wz/terminal/terminal_change.h"
#include "wz/terminal/told_installation.h"
#include "wz/terminal/trial.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

int tellTrial(const InstallOutcome& outcome, bool asJson) {
  const int code = exitCodeOf(outcome);
  if (!asJson) {
    printSuccess("tried on a copy: the terminal stays as it is");
    printTrialOutcome(outcome);
    return code;
  }
  printJsonDocument("install", code == kDone, diagnosticsOf(outcome), [&](JsonWriter& writer) {
    putFlag(writer, "dryRun", true);
    putOutcome(writer, outcome);
  });
  return code;
}

int tryInstallation(const InstallOptions& options) {
  (void)packaging::removeFoldersOnSignals();
  PackageFiles files;
  if (const int code = files.open(options.packages, EntrySizes::kCounted); code != kDone) {
    return code;
  }
  std::string terminal;
  if (!chooseTerminal(options.terminal, terminal)) return kEnvironment;
  const std::vector<NoRoom> noRoom = findNoRoom(terminal, files.packages());
  return tryOnCopy(terminal, files, [&](const InstallOutcome& tried) {
    InstallOutcome outcome = tried;
    addNoRoom(noRoom, outcome);
    return tellTrial(outcome, options.asJson);
  });
}

}  // namespace

int install(const InstallOptions& options) {
  if (options.isTrial) return tryInstallation(options);
  PackageFiles files;
  if (const int code = files.open(options.packages); code != kDone) return code;
  for (const std::string& package : options.packages) {
    if (!isOtherFile(package, options.log)) return kUsage;
  }
  LogCopy copy;
  if (!copy.open(options.log)) return kEnvironment;
  TerminalChange change;
  if (!change.begin(options.terminal)) return kEnvironment;
  watchInterrupts();
  outliveReader();
  ChangeRecord record;
  record.begin(HistoryKind::kInstall, files.packages());
  if (!files.copyIn()) {
    record.drop();
    return kEnvironment;
  }
  return installAndTell("install", files.packages(), options.asJson, copy, record);
}

}  // namespace wz
