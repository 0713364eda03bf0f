#include "wz/reports/log_follower.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

#include "support/text.h"
#include "wz/reports/output.h"
#include "wz/reports/screen.h"

namespace wz {
namespace {

std::string formatted(const char* format, std::va_list arguments) {
  std::va_list copy;
  va_copy(copy, arguments);
  const int size = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  if (size < 0) return {};
  std::string text(static_cast<std::size_t>(size) + 1, '\0');
  std::vsnprintf(text.data(), text.size(), format, arguments);
  text.pop_back();
  if (text.ends_with('\n')) text.pop_back();
  return text;
}

std::string lastPart(const std::string& path) { return path.substr(path.rfind('/') + 1); }

bool isReason(std::string_view format) {
  return format.starts_with("Error: ") || format.starts_with("Warning: ") ||
         format.starts_with("Mismatching directory name ");
}

Reasons reasonsOf(const std::map<std::string, Reasons>& all, const std::string& key) {
  const auto found = all.find(key);
  return found == all.end() ? Reasons() : found->second;
}

}  // namespace

struct LogFollower::Row {
  const char* format;
  bool hasText;  // its first argument
  void (LogFollower::*note)(const std::string& text);
};

// Lines that tell what the following ones are about. They are told by their formats: what a package
// calls itself cannot be taken for one.
const LogFollower::Row* LogFollower::findRow(const char* format) {
  static constexpr Row kRows[] = {
      {"Install %s\n", true, &LogFollower::onPackage},
      {"Found %s\n", true, &LogFollower::onEntry},
      {"postinstall\n", false, &LogFollower::onRules},
      {"Checking dependencies\n", false, &LogFollower::onDependencies},
      {"Checking %s\n", true, &LogFollower::onChecking},
      {"Error: No valid marketplace manifest found for %s\n", true, &LogFollower::onNoManifest},
      {"Error: No marketplace manifest found for %s\n", true, &LogFollower::onNoManifest},
      {"Error: Installation of %s failed\n", true, &LogFollower::onNoManifest},
      {"List of installed applications:\n", false, &LogFollower::onListing},
  };
  for (const Row& row : kRows) {
    if (std::strcmp(row.format, format) == 0) return &row;
  }
  return nullptr;
}

LogFollower::LogFollower(Display display, std::size_t packageCount, Watcher watcher)
    : display_(display), watcher_(std::move(watcher)), packageCount_(packageCount) {}

LogFollower::~LogFollower() {
  if (display_ == Display::kLines) clearLiveLine();
}

void LogFollower::take(void* log, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  static_cast<LogFollower*>(log)->takeLine(format, arguments);
  va_end(arguments);
}

void LogFollower::takeLine(const char* format, std::va_list arguments) {
  std::va_list copy;
  va_copy(copy, arguments);
  const std::string line = formatted(format, copy);
  va_end(copy);
  if (const Row* const row = findRow(format)) {
    (this->*row->note)(row->hasText ? va_arg(arguments, const char*) : "");
  }
  if (isReason(format)) noteReason(line);
  lines_.push_back(line);
  if (display_ == Display::kLines) {
    printLine(line);
    showPlace();
  }
  if (watcher_) watcher_(*this);
}

Reasons LogFollower::ofPackage(const std::string& name) const {
  return reasonsOf(packageReasons_, name);
}

Reasons LogFollower::ofApplication(const std::string& id) const {
  return reasonsOf(applicationReasons_, wzapp::toUpper(id));
}

// ---- What lines are about ----------------------------------------------------------------------

void LogFollower::onPackage(const std::string& path) {
  phase_ = Phase::kPackages;
  package_ = lastPart(path);
  entry_.clear();
  ++packagesSeen_;
  entriesSeen_ = 0;
}

void LogFollower::onEntry(const std::string& name) {
  entry_ = name;
  ++entriesSeen_;
}

void LogFollower::onRules(const std::string&) {
  phase_ = Phase::kRules;
  package_.clear();
  application_.clear();
}

void LogFollower::onDependencies(const std::string&) {
  phase_ = Phase::kDependencies;
  application_.clear();
}

// An entry of the package, the folder of a marketplace manifest, or the path of a manifest.
void LogFollower::onChecking(const std::string& what) {
  constexpr std::size_t kEnding = 4;  // ".MFT"
  if (phase_ == Phase::kRules) application_ = wzapp::toUpper(what);
  if (phase_ != Phase::kDependencies) return;
  const std::string name = wzapp::toUpper(lastPart(what));
  application_ = name.substr(0, name.size() - std::min(kEnding, name.size()));
}

void LogFollower::onNoManifest(const std::string& name) { application_ = wzapp::toUpper(name); }

void LogFollower::onListing(const std::string&) {
  phase_ = Phase::kEnd;
  application_.clear();
}

void LogFollower::noteReason(const std::string& line) {
  if (phase_ == Phase::kPackages) {
    packageReasons_[package_].push_back(entry_.empty() ? line : entry_ + ": " + line);
  } else if (!application_.empty()) {
    applicationReasons_[application_].push_back(line);
  }
}

// ---- The live line -----------------------------------------------------------------------------

void LogFollower::goQuiet() {
  if (display_ == Display::kLines) clearLiveLine();
  display_ = Display::kNone;
  watcher_ = nullptr;
}

void LogFollower::showPlace() const {
  if (phase_ == Phase::kEnd) return;
  std::string text;
  if (phase_ == Phase::kPackages) {
    text = "package " + std::to_string(packagesSeen_) + " of " + std::to_string(packageCount_) +
           ": " + package_;
    if (!entry_.empty()) text += ", archive " + std::to_string(entriesSeen_) + ": " + entry_;
  } else if (phase_ != Phase::kBegin) {
    text = phase_ == Phase::kRules ? "marketplace manifests" : "dependencies";
    if (!application_.empty()) text += ": " + application_;
  }
  showLiveLine(text);
}

}  // namespace wz
