#include "wz/terminal/told_installation.h"

#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/terminal/interrupt.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

// The library cannot be asked to stop. It is made for being cut off between any two steps, though,
// so the program ends inside it, by the signal that came.
void endIfInterrupted(LogFollower& log, ChangeRecord& record) {
  if (!interrupted()) return;
  log.clearLiveLine();
  record.interrupt(log.lines());
  finishJson(kEnvironment);
  (void)reportLostOutput();
  endByInterrupt();
}

}  // namespace

int installAndTell(const char* command, const std::vector<WaitingPackage>& packages, bool asJson,
                   ChangeRecord& record) {
  const auto display = asJson ? LogFollower::Display::kNone : LogFollower::Display::kLines;
  const InstallOutcome outcome = runInstallation(
      packages, display, [&record](LogFollower& log) { endIfInterrupted(log, record); });
  if (outcome.log.empty()) {  // it did not begin
    record.drop();
  } else {
    record.finish(packages, outcome);
  }
  if (asJson) {
    printJsonDocument(command, outcome.isDone(), diagnosticsOf(outcome),
                      [&outcome](JsonWriter& writer) { putOutcome(writer, outcome); });
  } else {
    printOutcome(outcome);
  }
  return exitCodeOf(outcome);
}

}  // namespace wz
