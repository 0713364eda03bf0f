#include "wz/terminal/told_installation.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

#include "support/file_system.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/reports/screen.h"
#include "wz/terminal/interrupt.h"
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

// The log as a file of its own, for those who follow it. A reader who has gone is no reason to
// stop.
class LogCopy {
 public:
  ~LogCopy() {
    if (file_ >= 0) close(file_);
  }

  bool open(const std::string& path) {
    if (path.empty()) return true;
    file_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (file_ >= 0) return true;
    printMessage("cannot write " + path + ": " + std::strerror(errno));
    return false;
  }

  void follow(const std::vector<std::string>& lines) {
    for (; file_ >= 0 && count_ < lines.size(); ++count_) {
      (void)wzapp::writeWhole(file_, wzapp::viewOf(escaped(lines[count_]) + "\n"));
    }
  }

 private:
  int file_ = -1;
  std::size_t count_ = 0;
};

}  // namespace

int installAndTell(const char* command, const std::vector<WaitingPackage>& packages, bool asJson,
                   const std::string& logFile, ChangeRecord& record) {
  LogCopy copy;
  if (!copy.open(logFile)) {
    record.drop();
    return kEnvironment;
  }
  const bool isShown = !asJson && volume() != Volume::kQuiet;
  const auto display = isShown ? LogFollower::Display::kLines : LogFollower::Display::kNone;
  const InstallOutcome outcome = runInstallation(packages, display, [&](LogFollower& log) {
    copy.follow(log.lines());
    endIfInterrupted(log, record);
  });
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
