#include "wz/reports/history_output.h"

#include <algorithm>
#include <vector>

#include "wz/reports/output.h"

namespace wz {
namespace {

using ChangeKind = HistoryChangeKind;

constexpr const char* kResultWords[] = {"ok", "no package", "error", "warning"};

std::string withVersion(const std::string& id, const std::string& version) {
  const std::string name = id.empty() ? "what has no id" : id;
  return version.empty() ? name : name + " " + version;
}

std::string resultText(const HistoryEvent& event) {
  if (event.isInterrupted) return "interrupted";
  if (event.result >= 0 && event.result < 4) return kResultWords[event.result];
  return "-";
}

std::string filesText(const HistoryEvent& event) {
  std::vector<std::string> files;
  for (const HistoryPackage& package : event.packages) {
    files.push_back(package.file + (package.isDone ? "" : " (not done)"));
  }
  return joined(files);
}

// A marketplace manifest is told where nothing was told of its application.
bool isToldShortly(const HistoryChange& change, const HistoryEvent& event) {
  if (change.thing != HistoryThing::kMarketplaceManifest) return true;
  return std::ranges::none_of(event.changes, [&change](const HistoryChange& other) {
    return other.thing == HistoryThing::kApplication && other.id == change.id;
  });
}

std::string codesText(const HistoryChange& change) {
  std::string codes;
  for (const HistoryRule& rule : change.rules) {
    if (codes.find(rule.code) != std::string::npos) continue;
    codes += (codes.empty() ? " [" : ", ") + rule.code;
  }
  return codes.empty() ? codes : codes + "]";
}

std::string shortText(const HistoryEvent& event) {
  std::vector<std::string> changes;
  for (const HistoryChange& change : event.changes) {
    if (isToldShortly(change, event)) changes.push_back(changeText(change) + codesText(change));
  }
  for (const HistoryMove& move : event.moves) {
    changes.push_back((move.isDone ? "moved " : "did not move ") + move.from);
  }
  return changes.empty() ? "nothing changed" : joined(changes, "; ");
}

void printDetails(const HistoryEvent& event) {
  for (const HistoryPackage& package : event.packages) {
    printLine("    package " + package.file + ", " + std::to_string(package.octets) +
              " octets, sha256 " + (package.sha256.empty() ? "not known" : package.sha256) +
              (package.isDone ? ", done" : ", not done"));
  }
  for (const HistoryChange& change : event.changes) {
    printLine("    " + changeText(change) +
              (change.package.empty() ? "" : ", by " + change.package + ": " + change.archive));
    for (const HistoryRule& rule : change.rules) {
      printLine("      " + rule.code +
                (rule.pass == 0 ? "" : ", pass " + std::to_string(rule.pass)) + ": " + rule.line);
    }
  }
  for (const HistoryMove& move : event.moves) {
    printLine(std::string("    ") + (move.isDone ? "moved " : "did not move ") + move.from +
              " to " + move.to);
  }
  for (const std::string& line : event.log) printLine("    | " + line);
  if (event.linesLeftOut > 0) {
    printLine("    (" + std::to_string(event.linesLeftOut) + " lines in the middle are not kept)");
  }
}

}  // namespace

std::string changeText(const HistoryChange& change) {
  static constexpr const char* kThings[] = {"", "the marketplace manifest of ", "the removal of "};
  const std::string thing = kThings[static_cast<int>(change.thing)];
  switch (change.kind) {
    case ChangeKind::kAppeared:
      return "installed " + thing + withVersion(change.id, change.versionNow);
    case ChangeKind::kChanged:
      return "replaced " + thing + withVersion(change.id, change.versionBefore) + " by " +
             (change.versionNow == change.versionBefore ? "the same version" : change.versionNow) +
             (change.isDowngrade ? ", a downgrade" : "");
    case ChangeKind::kVanished:
      return "removed " + thing + withVersion(change.id, change.versionBefore);
    case ChangeKind::kRefused:
      return "refused " + thing +
             (change.id.empty() ? change.package : withVersion(change.id, change.versionNow));
  }
  return {};
}

void printHistoryEvent(const HistoryEvent& event, bool verbose) {
  const std::string files = filesText(event);
  printLine(std::to_string(event.number) + "  " + event.time + "  " + historyKindText(event.kind) +
            (files.empty() ? "" : " " + files) + "  " + resultText(event) + "  " +
            shortText(event));
  if (verbose) printDetails(event);
}

}  // namespace wz
