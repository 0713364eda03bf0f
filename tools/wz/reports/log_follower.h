/// Follows the log of an installation run: prints it as it comes, and remembers which of its lines
/// are about which package and which application.
#ifndef WZ_REPORTS_LOG_FOLLOWER_H
#define WZ_REPORTS_LOG_FOLLOWER_H

#include <cstdarg>
#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace wz {

/// Why something was refused or removed: errors and warnings of the log.
using Reasons = std::vector<std::string>;

class LogFollower {
 public:
  enum class Display {
    kNone,
    kLines,  ///< every line as it comes; on a screen with where the run is below them
  };

  /// Called behind every line.
  using Watcher = std::function<void(LogFollower& log)>;

  /// \param packageCount  how many packages wait to be installed.
  LogFollower(Display display, std::size_t packageCount, Watcher watcher = nullptr);
  ~LogFollower();
  LogFollower(const LogFollower&) = delete;
  LogFollower& operator=(const LogFollower&) = delete;

  /// What wzapp::wzInstall is given, with the object as its user pointer.
  static void take(void* log, const char* format, ...);

  [[nodiscard]] const std::vector<std::string>& lines() const { return lines_; }

  /// From here on it only remembers: there is no live line, and the watcher is not called.
  void goQuiet();

  /// By the names of package files.
  [[nodiscard]] Reasons ofPackage(const std::string& name) const;
  /// By the application's id in any case.
  [[nodiscard]] Reasons ofApplication(const std::string& id) const;

 private:
  enum class Phase { kBegin, kPackages, kRules, kDependencies, kEnd };
  struct Row;

  void takeLine(const char* format, std::va_list arguments);
  static const Row* findRow(const char* format);
  void onPackage(const std::string& path);
  void onEntry(const std::string& name);
  void onChecking(const std::string& what);
  void onNoManifest(const std::string& name);
  void onRules(const std::string&);
  void onDependencies(const std::string&);
  void onListing(const std::string&);
  void noteReason(const std::string& line);

  void showPlace() const;

  Display display_;
  Watcher watcher_;
  std::size_t packageCount_, packagesSeen_ = 0, entriesSeen_ = 0;
  Phase phase_ = Phase::kBegin;
  std::string package_, entry_, application_;  // what lines are about at the moment
  std::vector<std::string> lines_;
  std::map<std::string, Reasons> packageReasons_, applicationReasons_;
};

}  // namespace wz

#endif  // WZ_REPORTS_LOG_FOLLOWER_H
