#include "wz/matrix/worker.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <string_view>

#include "support/file_system.h"
#include "wz/matrix/trial_place.h"
#include "wz/matrix/worker_lines.h"
#include "wz/terminal/installation.h"

namespace wz {
namespace {

class Teller {
 public:
  explicit Teller(int pipe) : pipe_(pipe) {}

  // Nobody is there to hear of it when nobody reads.
  void tell(WorkerLine kind, std::string_view text) const {
    const std::string line = static_cast<char>(kind) + std::string(text) + "\n";
    if (!wzapp::writeWhole(pipe_, wzapp::viewOf(line))) _exit(0);
  }

 private:
  int pipe_;
};

// Of all packages at once, so that one may need another.
bool installFirst(const PackageFiles& files, TrialPlace& place, const Teller& teller,
                  std::string& error) {
  if (!files.copyIn()) {
    error = "cannot install what is to be there";
    return false;
  }
  const InstallOutcome outcome =
      runInstallation(files.packages(), LogFollower::Display::kNone, nullptr);
  for (std::size_t i = 0; i < outcome.packages.size(); ++i) {
    const Verdict verdict = judge(files.packages(), outcome, i);
    if (isTaken(verdict)) continue;
    teller.tell(WorkerLine::kRemark, outcome.packages[i].file + ", which is to be there, is " +
                                         wordText(verdict.word) + ": " + verdict.reason + " [" +
                                         verdict.code + "]");
  }
  ImageEntries installed;
  if (!place.keep(installed, error)) return false;
  teller.tell(WorkerLine::kKept, entriesText(installed));
  return true;
}

bool tryPackages(const Trial& trial, TrialPlace& place, const Teller& teller, std::string& error) {
  teller.tell(WorkerLine::kBegun, "");
  if (!place.reset(error)) return false;
  if (!trial.files->copyIn()) {  // too large
    for (const WaitingPackage& package : trial.files->packages()) {
      teller.tell(WorkerLine::kVerdict,
                  diedVerdict(package.file, "it could not be dropped into the terminal").json);
    }
    return true;
  }
  const InstallOutcome outcome =
      runInstallation(trial.files->packages(), LogFollower::Display::kNone, nullptr);
  for (std::size_t i = 0; i < outcome.packages.size(); ++i) {
    teller.tell(WorkerLine::kVerdict, judge(trial.files->packages(), outcome, i).json);
  }
  return true;
}

// Behind the change of credentials, which would make it forgotten (prctl(2)).
void endWithParent(pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(0);
}

}  // namespace

void tryBatch(const TerminalImage& image, const PackageFiles* first, const Batch& batch, int pipe) {
  const pid_t parent = getppid();
  endWithParent(parent);
  const Teller teller(pipe);
  TrialPlace place;
  std::string error;
  bool isGood = place.enter(image, error);
  endWithParent(parent);
  isGood = isGood && (first == nullptr || installFirst(*first, place, teller, error));
  for (std::size_t i = 0; isGood && i < batch.trials.size(); ++i) {
    isGood = tryPackages(batch.trials[i], place, teller, error);
  }
  if (!isGood) teller.tell(WorkerLine::kFailed, error);
}

}  // namespace wz
