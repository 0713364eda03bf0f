/// An installation run on the terminal that this process is inside of, and what it changed.
#ifndef WZ_TERMINAL_INSTALLATION_H
#define WZ_TERMINAL_INSTALLATION_H

#include <string>
#include <vector>

#include "wz/reports/installed_applications.h"
#include "wz/reports/json_output.h"
#include "wz/reports/log_follower.h"
#include "wz/reports/package_report.h"

namespace wz {

/// A package that lies in the terminal's source directory.
struct WaitingPackage {
  std::string file;      ///< what the user calls it
  std::string name;      ///< its own in the source directory
  PackageReport report;  ///< tells what is to be expected of it
  std::string sha256;    ///< of its octets, hexadecimal; empty: not known
  std::uint64_t octets = 0;
};

struct PackageOutcome {
  std::string file;
  bool isDone = false;                ///< what it was for has come about
  Reasons reasons;                    ///< why not; also what was said about it all the same
  std::vector<std::string> warnings;  ///< of ids that are, or were by then, those of others
  Diagnostics diagnostics;  ///< the codes of those reasons, and what is known of their causes
};

struct ApplicationChange {
  enum class Kind { kInstalled, kReplaced, kRemoved };
  Kind kind;
  std::string id, versionBefore, versionNow;
  bool isDowngrade = false;
  Reasons reasons;                 ///< of a removal
  std::vector<std::string> codes;  ///< of those
};

struct InstallOutcome {
  int result = 0;  ///< of wzapp::wzInstall
  std::vector<std::string> log;
  std::vector<PackageOutcome> packages;
  std::vector<ApplicationChange> changes;

  [[nodiscard]] bool isDone() const;  ///< every package
};

/// Runs an installation over what waits in the source directory.
/// \param watcher  of its log.
[[nodiscard]] InstallOutcome runInstallation(const std::vector<WaitingPackage>& packages,
                                             LogFollower::Display display,
                                             LogFollower::Watcher watcher = nullptr);

/// What is wrong with the packages of a run, one behind the other.
[[nodiscard]] Diagnostics diagnosticsOf(const InstallOutcome& outcome);

/// Prints what a run changed, in words or as the members of an object.
void printOutcome(const InstallOutcome& outcome);
/// The same of one that was only tried: what would change.
void printTrialOutcome(const InstallOutcome& outcome);
void putChange(JsonWriter& writer, const ApplicationChange& change);
void putOutcome(JsonWriter& writer, const InstallOutcome& outcome);

/// Says what became of a run by an exit code, after a message where nothing else tells.
[[nodiscard]] int exitCodeOf(const InstallOutcome& outcome);

}  // namespace wz

#endif  // WZ_TERMINAL_INSTALLATION_H
