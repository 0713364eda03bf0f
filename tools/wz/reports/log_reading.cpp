#include "wz/reports/log_reading.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

#include "installer/application_manifest.h"
#include "support/text.h"
#include "wz/words/log_format.h"
#include "wzapp/wzapp.h"

namespace wz {
namespace {

using Values = std::vector<std::string>;

std::string lastPart(const std::string& path) { return path.substr(path.rfind('/') + 1); }

// "/mnt/flash/etc/config/wzapp/wz/shop.MFT" -> "SHOP"
std::string idOfPath(const std::string& path) {
  const std::string name = wzapp::toUpper(lastPart(path));
  return wzapp::manifestStem(name).value_or(name);
}

class LogReader {
 public:
  void take(const std::string& line);
  std::vector<LoggedRun> finish();

 private:
  enum class Phase { kPackages, kRules, kDependencies, kListing, kOver };

  struct Row {
    LogFormat format;
    void (LogReader::*step)(const Values& values);  // null: it says nothing of its own
    const Code* code;                               // null: it is no remark
  };

  static const std::vector<Row>& rows();
  static const Row* findRow(std::string_view line, LogFormat::Match& match);

  void onBegin(const Values& values);
  void onPackage(const Values& values);
  void onArchive(const Values& values);
  void onExtracting(const Values& values);
  void onRules(const Values& values);
  void onDependencies(const Values& values);
  void onPass(const Values& values);
  void onChecking(const Values& values);
  void onListing(const Values& values);
  void onResult(const Values& values);
  void onNamed(const Values& values);
  void onRemoving(const Values& values);
  void onRemovingApplication(const Values& values);
  void onFailed(const Values& values);

  LoggedRun& run();
  void note(LogRemark remark);
  void remove(const std::string& id, unsigned pass);
  void endRules();

  std::vector<LoggedRun> runs_;
  Phase phase_ = Phase::kPackages;
  std::size_t prefix_ = 0;      // octets before the last line of the run that was known: a time
  std::size_t lineNumber_ = 0;  // of the line that is being read, from 1
  std::string application_;     // what lines are about at the moment, in upper case
  std::map<std::string, LogRemarks> reasons_;  // of this phase, or this pass
};

// Besides these, everything that has a code.
const std::vector<LogReader::Row>& LogReader::rows() {
  struct Step {
    const char* format;
    void (LogReader::*step)(const Values& values);
  };
  static constexpr Step kSteps[] = {
      {"Installing to %s", &LogReader::onBegin},
      {"Install %s", &LogReader::onPackage},
      {"Found %s", &LogReader::onArchive},
      {"Extracting %s", &LogReader::onExtracting},
      {"postinstall", &LogReader::onRules},
      {"Checking dependencies", &LogReader::onDependencies},
      {"Re-checking dependencies after removing apps", &LogReader::onPass},
      {"Checking %s", &LogReader::onChecking},
      {"Reading %s", nullptr},
      {"List of installed applications:", &LogReader::onListing},
      {"Overall result: %s", &LogReader::onResult},
  };
  // What remarks do besides being kept; before that.
  static constexpr std::pair<std::string_view, void (LogReader::*)(const Values&)> kRemarks[] = {
      {"WZ-0507", &LogReader::onNamed},
      {"WZ-0508", &LogReader::onNamed},
      {"WZ-0517", &LogReader::onRemovingApplication},
      {"WZ-0519", &LogReader::onFailed},
      {"WZ-0520", &LogReader::onRemoving},
  };
  static const std::vector<Row> all = [] {
    std::vector<Row> made;
    for (const Step& step : kSteps) made.push_back({LogFormat(step.format), step.step, nullptr});
    for (const Code* const code : allCodes()) {
      if (*code->logLine == '\0') continue;
      const auto* const remark = std::ranges::find(
          kRemarks, code->id,
          &std::pair<std::string_view, void (LogReader::*)(const Values&)>::first);
      made.push_back({LogFormat(code->logLine),
                      remark == std::end(kRemarks) ? nullptr : remark->second, code});
    }
    return made;
  }();
  return all;
}

// The format that begins first, since what follows may be a name that looks like another one; of
// those that begin at the same place the one that says most itself.
const LogReader::Row* LogReader::findRow(std::string_view line, LogFormat::Match& match) {
  const Row* best = nullptr;
  const auto isBetter = [&](const Row& row, const LogFormat::Match& found) {
    if (best == nullptr || found.position != match.position) {
      return best == nullptr || found.position < match.position;
    }
    if (row.format.beginsWithDirective() != best->format.beginsWithDirective()) {
      return best->format.beginsWithDirective();
    }
    return row.format.literalSize() > best->format.literalSize();
  };
  for (const Row& row : rows()) {
    std::optional<LogFormat::Match> found = row.format.find(line);
    if (!found || !isBetter(row, *found)) continue;
    best = &row;
    match = std::move(*found);
  }
  return best;
}

LoggedRun& LogReader::run() {
  if (runs_.empty()) onBegin({});
  return runs_.back();
}

void LogReader::take(const std::string& text) {
  const std::string_view line = trimmedLine(text);
  LogFormat::Match match;
  const Row* const row = findRow(line, match);
  const bool isBeginning =
      row != nullptr && (row->step == &LogReader::onBegin || row->step == &LogReader::onPackage);
  ++lineNumber_;
  // What a host says of a run is not the run's.
  if (phase_ == Phase::kOver && !isBeginning) return;
  const bool isListed =
      row == nullptr && phase_ == Phase::kListing && !runs_.empty() && !line.empty();
  if (isListed) runs_.back().installed.emplace_back(line.substr(std::min(prefix_, line.size())));
  if (row != nullptr) prefix_ = match.position;
  if (row != nullptr && row->step != nullptr) (this->*row->step)(match.values);
  if (row != nullptr && row->code != nullptr) {
    note({row->code, std::string(line.substr(match.position)), std::move(match.values)});
  }
  if (!runs_.empty()) runs_.back().lineCount = lineNumber_ - runs_.back().firstLine;
}

std::vector<LoggedRun> LogReader::finish() { return std::move(runs_); }

// ---- What lines are about ----------------------------------------------------------------------

void LogReader::onBegin(const Values&) {
  runs_.emplace_back();
  runs_.back().firstLine = lineNumber_ - 1;
  phase_ = Phase::kPackages;
  application_.clear();
  reasons_.clear();
}

void LogReader::onPackage(const Values& values) {
  if (phase_ != Phase::kPackages) onBegin({});  // the beginning of the run is not in the log
  run().packages.push_back({values[0], {}, {}});
}

void LogReader::onArchive(const Values& values) {
  if (run().packages.empty()) run().packages.emplace_back();
  run().packages.back().archives.push_back({values[0], false, {}});
}

void LogReader::onExtracting(const Values&) {
  if (run().packages.empty() || run().packages.back().archives.empty()) return;
  run().packages.back().archives.back().isExtracted = true;
}

void LogReader::onRules(const Values&) {
  static_cast<void>(run());
  phase_ = Phase::kRules;
  application_.clear();
}

void LogReader::onDependencies(const Values&) {
  endRules();
  phase_ = Phase::kDependencies;
  run().passes = 1;
}

void LogReader::onPass(const Values&) {
  application_.clear();
  reasons_.clear();
  ++run().passes;
}

// An archive, a folder of the manifest root, or the path of a manifest.
void LogReader::onChecking(const Values& values) {
  if (phase_ == Phase::kRules) application_ = wzapp::toUpper(values[0]);
  if (phase_ == Phase::kDependencies) application_ = idOfPath(values[0]);
}

void LogReader::onListing(const Values&) {
  endRules();
  phase_ = Phase::kListing;
}

void LogReader::onResult(const Values& values) {
  run().resultWord = values[0];
  phase_ = Phase::kOver;
}

// What was said of an application that stays all the same.
void LogReader::endRules() {
  for (auto& [id, remarks] : reasons_) {
    for (LogRemark& remark : remarks) run().others.push_back(std::move(remark));
  }
  reasons_.clear();
  application_.clear();
}

// ---- Remarks -----------------------------------------------------------------------------------

void LogReader::note(LogRemark remark) {
  constexpr std::string_view kSilent[] = {"WZ-0517", "WZ-0520"};  // tell of removals, not why
  if (std::ranges::find(kSilent, remark.code->id) != std::end(kSilent)) return;
  LoggedRun& at = run();
  if (phase_ == Phase::kPackages && !at.packages.empty()) {
    LoggedPackage& package = at.packages.back();
    LogRemarks& remarks =
        package.archives.empty() ? package.remarks : package.archives.back().remarks;
    remarks.push_back(std::move(remark));
  } else if (!application_.empty()) {
    reasons_[application_].push_back(std::move(remark));
  } else {
    at.others.push_back(std::move(remark));
  }
}

void LogReader::onNamed(const Values& values) { application_ = wzapp::toUpper(values[0]); }

void LogReader::remove(const std::string& id, unsigned pass) {
  LogRemarks reasons;
  if (const auto found = reasons_.find(id); found != reasons_.end()) {
    reasons = std::move(found->second);
    reasons_.erase(found);
  }
  const auto known = std::ranges::find(run().removals, id, &LoggedRemoval::id);
  if (known == run().removals.end()) {
    run().removals.push_back({id, pass, std::move(reasons)});
    return;
  }
  for (LogRemark& reason : reasons) known->reasons.push_back(std::move(reason));
}

// By the rules; the dependency check has named what it removes before. Its own data and its
// manifests follow, each with a line of its own, and at the end perhaps the whole root.
void LogReader::onRemoving(const Values& values) {
  const bool isRoot = values[0] == wzapp::wzInstallAppRoot();
  if (phase_ == Phase::kRules && !isRoot) remove(idOfPath(values[0]), 0);
}

void LogReader::onRemovingApplication(const Values& values) {
  remove(wzapp::toUpper(values[0]), run().passes);
}

void LogReader::onFailed(const Values& values) {
  run().failed = values[0];
  application_.clear();
}

}  // namespace

const LoggedRemoval* LoggedRun::findRemoval(const std::string& id) const {
  const auto found = std::ranges::find(removals, wzapp::toUpper(id), &LoggedRemoval::id);
  return found == removals.end() ? nullptr : &*found;
}

std::vector<LoggedRun> readInstallLog(const std::vector<std::string>& lines) {
  LogReader reader;
  for (const std::string& line : lines) reader.take(line);
  return reader.finish();
}

}  // namespace wz
