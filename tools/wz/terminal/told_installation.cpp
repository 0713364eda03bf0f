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

// The log as a file of its own, for those who follow it. A full disk, or a reader who has gone, is
// no reason to stop, but is told.
class LogCopy {
 public:
  ~LogCopy() {
    if (file_ >= 0) close(file_);
  }

  // False after a message.
  [[nodiscard]] bool open(const std::string& path) {
    if (path.empty()) return true;
    path_ = path;
    file_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (file_ < 0) failure_ = errno;
    return isWhole();
  }

  void follow(const std::vector<std::string>& lines) {
    for (; file_ >= 0 && failure_ == 0 && count_ < lines.size(); ++count_) {
      const std::string line = escaped(lines[count_]) + "\n";
      if (!wzapp::writeWhole(file_, wzapp::viewOf(line))) failure_ = errno;
    }
  }

  // Whether everything has been written; false after a message.
  [[nodiscard]] bool isWhole() const {
    if (failure_ == 0) return true;
    printMessage("cannot write " + path_ + ": " + std::strerror(failure_));
    return false;
  }

 private:
  std::string path_;
  int file_ = -1;
  int failure_ = 0;  // errno of the first that failed
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
