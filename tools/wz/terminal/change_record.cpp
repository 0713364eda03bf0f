#include "wz/terminal/change_record.h"

#include <unistd.h>

#include "workstation/terminal/terminal_directory.h"
#include "wz/reports/output.h"
#include "wz/terminal/begun_change.h"
#include "wz/terminal/change_causes.h"
#include "wz/terminal/history_file.h"
#include "wz/terminal/package_files.h"

namespace wz {
namespace {

void warn(const std::string& error) { printMessage("warning: " + error); }

void append(HistoryEvent& event) {
  std::string error;
  if (!appendHistory(workstation::terminalDirectory(), event, error)) warn(error);
  removeNote();
}

std::vector<HistoryPackage> packagesOf(const std::vector<WaitingPackage>& packages) {
  std::vector<HistoryPackage> all;
  all.reserve(packages.size());
  for (const WaitingPackage& package : packages) {
    all.push_back({package.file, package.sha256, package.octets, false});
  }
  return all;
}

// Those that still wait, or were on their way there.
void takeBack(const std::vector<WaitingPackage>& packages) {
  for (const WaitingPackage& package : packages) {
    const std::string place = placeOfPackage(package.name);
    unlink(partOf(place).c_str());
    if (!package.sha256.empty() && sha256OfFile(place) == package.sha256) unlink(place.c_str());
  }
}

std::string filesOf(const std::vector<HistoryPackage>& packages, bool isDone) {
  std::vector<std::string> files;
  for (const HistoryPackage& package : packages) {
    if (package.isDone == isDone) files.push_back(package.file);
  }
  return files.empty() ? "nothing" : joined(files);
}

// What was done by then, and says so.
void endCutOff(BegunChange& begun, const std::string& what) {
  const InstalledApplications now = findInstalledApplications();
  HistoryEvent& event = begun.event;
  event.isInterrupted = true;
  event.changes = explainedDifferences(begun.before, now, begun.packages, event.log);
  for (std::size_t i = 0; i < event.packages.size() && i < begun.packages.size(); ++i) {
    event.packages[i].isDone = isBrought(begun.packages[i], begun.before, now);
  }
  takeBack(begun.packages);
  append(event);
  printMessage(what + " was interrupted: done is " + filesOf(event.packages, true) + ", not done " +
               filesOf(event.packages, false) +
               "; packages that were still waiting are taken back, and the next installation "
               "judges what may stay");
}

std::string nameOf(const HistoryEvent& event) {
  return event.kind == HistoryKind::kRemove ? "the removal" : "the installation";
}

}  // namespace

void ChangeRecord::begin(HistoryKind kind, const std::vector<WaitingPackage>& packages) {
  event_.kind = kind;
  event_.time = historyTime();
  event_.packages = packagesOf(packages);
  packages_ = packages;
  before_ = findInstalledApplications();
  History history;
  std::string error;
  // What is wrong with the file is said where the event is appended.
  (void)readHistory(workstation::terminalDirectory(), history, error);
  event_.number = history.events.empty() ? 1 : history.events.back().number + 1;
  if (!writeNote({event_, packages_, before_})) {
    warn("the note of this change cannot be written: an interruption would not be told");
  }
}

void ChangeRecord::drop() { removeNote(); }

void ChangeRecord::finish(const std::vector<WaitingPackage>& packages,
                          const InstallOutcome& outcome) {
  event_.result = outcome.result;
  event_.packages = packagesOf(packages);
  for (std::size_t i = 0; i < outcome.packages.size(); ++i) {
    event_.packages[i].isDone = outcome.packages[i].isDone;
  }
  event_.changes = explainedChanges(before_, findInstalledApplications(), packages, outcome.log);
  event_.log = outcome.log;
  append(event_);
}

void ChangeRecord::interrupt(const std::vector<std::string>& log) {
  BegunChange begun{event_, packages_, before_};
  begun.event.log = log;
  endCutOff(begun, nameOf(event_));
}

void finishCutOffChange() {
  if (!hasNote()) return;
  BegunChange begun;
  History history;
  std::string error;
  const bool isRead = readNote(begun);
  (void)readHistory(workstation::terminalDirectory(), history, error);
  const bool isTold = !history.events.empty() && history.events.back().number >= begun.event.number;
  if (!isRead || isTold) {
    removeNote();
    return;
  }
  endCutOff(begun, "note: " + nameOf(begun.event) + " that began at " + begun.event.time);
}

}  // namespace wz
