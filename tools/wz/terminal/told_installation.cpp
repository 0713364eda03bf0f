#include "wz/terminal/told_installation.h"

#include <unistd.h>

#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/reports/screen.h"
#include "wz/terminal/interrupt.h"
#include "wz/terminal/package_files.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

// The library cannot be asked to stop. It is made for being cut off between any two steps, though,
// so the program ends inside it, by the signal that came.
void endIfInterrupted(LogFollower& log, ChangeRecord& record) {
  if (!interrupted()) return;
  clearLiveLine();
  record.interrupt(log.lines());
  finishJson(kEnvironment);
  (void)reportLostOutput();
  endByInterrupt();
}

// What did not begin must not be carried out by the next installation.
void takeBack(const std::vector<WaitingPackage>& packages) {
  for (const WaitingPackage& package : packages) unlink(placeOfPackage(package.name).c_str());
}

}  // namespace

int installAndTell(const char* command, const std::vector<WaitingPackage>& packages, bool asJson,
                   LogCopy& copy, ChangeRecord& record) {
  const bool isShown = !asJson && volume() != Volume::kQuiet;
  const auto display = isShown ? LogFollower::Display::kLines : LogFollower::Display::kNone;
  const InstallOutcome outcome = runInstallation(packages, display, [&](LogFollower& log) {
    copy.follow(log.lines());
    endIfInterrupted(log, record);
  });
  if (outcome.log.empty()) {  // it did not begin
    takeBack(packages);
    record.drop();
  } else {
    record.finish(packages, outcome);
  }
  const bool isLogWhole = copy.isWhole();
  if (asJson) {
    printJsonDocument(command, outcome.isDone() && isLogWhole, diagnosticsOf(outcome),
                      [&outcome](JsonWriter& writer) { putOutcome(writer, outcome); });
  } else {
    printOutcome(outcome);
  }
  return isLogWhole ? exitCodeOf(outcome) : kEnvironment;
}

}  // namespace wz
