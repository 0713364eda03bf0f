/// Reads an installer's log, the workstation's own or one that comes from a terminal: what was said
/// about which package and archive, and what was removed by which rule or in which pass.
#ifndef WZ_REPORTS_LOG_READING_H
#define WZ_REPORTS_LOG_READING_H

#include <cstddef>
#include <string>
#include <vector>

#include "wz/words/codes.h"

namespace wz {

/// A line that refuses, warns or removes.
struct LogRemark {
  const Code* code = nullptr;  ///< never null
  std::string line;            ///< without what stands before it, such as a time
  std::vector<std::string> values;
};

using LogRemarks = std::vector<LogRemark>;

struct LoggedArchive {
  std::string name;
  bool isExtracted = false;  ///< its signature was good
  LogRemarks remarks;
};

struct LoggedPackage {
  std::string path;
  LogRemarks remarks;  ///< about the file itself
  std::vector<LoggedArchive> archives;
};

struct LoggedRemoval {
  std::string id;      ///< in upper case
  unsigned pass = 0;   ///< of the dependency check, from 1; 0: by the rules before it
  LogRemarks reasons;  ///< none: a package asked for it
};

/// One run of the installer. What a cut log does not have is empty.
struct LoggedRun {
  std::vector<LoggedPackage> packages;
  std::vector<LoggedRemoval> removals;       ///< in their order
  LogRemarks others;                         ///< about what stays, or about nothing named
  unsigned passes = 0;                       ///< of the dependency check
  std::vector<std::string> installed;        ///< as the run lists them
  std::string resultWord;                    ///< "OK"; empty: the log ends before it
  std::size_t firstLine = 0, lineCount = 0;  ///< in what was read; from 0
  std::string failed;  ///< the first application that did not stay; empty: none

  /// The removal of the application, in any case of letters; null where there was none.
  [[nodiscard]] const LoggedRemoval* findRemoval(const std::string& id) const;
};

/// The runs of a log, one behind the other. Lines that no installer writes are passed over.
[[nodiscard]] std::vector<LoggedRun> readInstallLog(const std::vector<std::string>& lines);

}  // namespace wz

#endif  // WZ_REPORTS_LOG_READING_H
