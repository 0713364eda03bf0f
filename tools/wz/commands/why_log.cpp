#include "wz/commands/why_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "support/text.h"
#include "wz/reports/causes.h"
#include "wz/reports/diagnostic.h"
#include "wz/reports/json_document.h"
#include "wz/reports/log_reading.h"
#include "wz/reports/output.h"
#include "wz/words/exit_code.h"
#include "wz/words/explain.h"

namespace wz {
namespace {

constexpr std::size_t kMaxLogFile = std::size_t{64} << 20;

// ---- Reading -----------------------------------------------------------------------------------

// False with errno.
bool readAll(int descriptor, std::string& text) {
  char block[65536];
  for (;;) {
    const ssize_t count = read(descriptor, block, sizeof(block));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return count == 0;
    text.append(block, static_cast<std::size_t>(count));
    if (text.size() <= kMaxLogFile) continue;
    errno = EFBIG;
    return false;
  }
}

bool readLog(const std::string& file, std::vector<std::string>& lines) {
  const bool isInput = file == "-";
  const int descriptor = isInput ? STDIN_FILENO : open(file.c_str(), O_RDONLY | O_CLOEXEC);
  std::string text;
  const bool isRead = descriptor >= 0 && readAll(descriptor, text);
  const int reason = errno;
  if (descriptor >= 0 && !isInput) close(descriptor);
  if (!isRead) {
    printMessage("cannot read " + file + ": " + std::strerror(reason));
    return false;
  }
  wzapp::splitString(lines, text, '\n', false);
  if (!lines.empty() && lines.back().empty()) lines.pop_back();
  return true;
}

// ---- What is told of a run ---------------------------------------------------------------------

// Of one application alone, where the user names one.
struct Told {
  const WhyOptions& options;

  [[nodiscard]] bool isAbout(const std::string& id) const {
    return options.id.empty() || wzapp::toUpper(options.id) == wzapp::toUpper(id);
  }
  // Archives are mostly named after their applications.
  [[nodiscard]] bool isAboutFile(const std::string& name) const {
    return options.id.empty() ||
           wzapp::toUpper(name).find(wzapp::toUpper(options.id)) != std::string::npos;
  }
};

void printRemarks(const LogRemarks& remarks, const std::string& indent) {
  for (const LogRemark& remark : remarks) {
    printLine(indent + remark.code->id + " " + severityText(remark.code->severity) + ": " +
              lowerFirst(remark.code->title));
    printLine(indent + "  " + remark.line);
    printLine(indent + "  repair: " + repairOf({remark.code->id, "", "", "", 0, 0, ""}));
  }
}

void printPackages(const LoggedRun& run, const Told& told) {
  for (const LoggedPackage& package : run.packages) {
    const bool isSound = package.remarks.empty() &&
                         std::all_of(package.archives.begin(), package.archives.end(),
                                     [](const LoggedArchive& one) { return one.remarks.empty(); });
    const bool isMeant =
        told.isAboutFile(package.path) ||
        std::any_of(package.archives.begin(), package.archives.end(),
                    [&told](const LoggedArchive& one) { return told.isAboutFile(one.name); });
    if (!isMeant) continue;
    printLine("  package " + package.path + (isSound ? ": taken" : ""));
    printRemarks(package.remarks, "    ");
    for (const LoggedArchive& archive : package.archives) {
      if (archive.remarks.empty()) continue;
      printLine("    archive " + archive.name +
                (archive.isExtracted ? ", extracted" : ", refused"));
      printRemarks(archive.remarks, "      ");
    }
  }
}

void printRemovals(const LoggedRun& run, const Told& told) {
  for (const LoggedRemoval& removal : run.removals) {
    if (!told.isAbout(removal.id)) continue;
    const std::vector<Cause> causes = causesOf(removal.reasons, removal.pass);
    printLine("  " + removal.id + " was removed" +
              (causes.empty() ? ", as a package asked for"
               : removal.pass == 0
                   ? " by the rules for marketplace manifests"
                   : " in pass " + std::to_string(removal.pass) + " of the dependency check"));
    printCauses(causes, "    ");
    const std::vector<std::string> keeping = smallestChange(removal.id, causes);
    if (!keeping.empty()) printLine("    the smallest change that would keep it:");
    for (const std::string& change : keeping) printLine("      " + change);
  }
}

void printRun(const LoggedRun& run, const Told& told) {
  printLine("run in lines " + std::to_string(run.firstLine + 1) + " to " +
            std::to_string(run.firstLine + run.lineCount) + ": " +
            (run.resultWord.empty() ? "cut off, without a result" : run.resultWord));
  printPackages(run, told);
  printRemovals(run, told);
  if (told.options.id.empty()) printRemarks(run.others, "  ");
  if (!run.installed.empty()) printLine("  installed afterwards: " + joined(run.installed));
}

// ---- As JSON -----------------------------------------------------------------------------------

void putRemarks(JsonWriter& writer, const char* key, const LogRemarks& remarks) {
  putRows(writer, key, remarks, [&writer](const LogRemark& remark) {
    putText(writer, "code", remark.code->id);
    putText(writer, "severity", severityText(remark.code->severity));
    putText(writer, "title", remark.code->title);
    putText(writer, "line", remark.line);
    putText(writer, "repair", repairOf({remark.code->id, "", "", "", 0, 0, ""}));
  });
}

void putRun(JsonWriter& writer, const LoggedRun& run) {
  putNumber(writer, "firstLine", run.firstLine + 1);
  putNumber(writer, "lines", run.lineCount);
  putText(writer, "resultWord", run.resultWord);
  putRows(writer, "packages", run.packages, [&writer](const LoggedPackage& package) {
    putText(writer, "path", package.path);
    putRemarks(writer, "remarks", package.remarks);
    putRows(writer, "archives", package.archives, [&writer](const LoggedArchive& archive) {
      putText(writer, "name", archive.name);
      putFlag(writer, "extracted", archive.isExtracted);
      putRemarks(writer, "remarks", archive.remarks);
    });
  });
  putRows(writer, "removals", run.removals, [&writer](const LoggedRemoval& removal) {
    const std::vector<Cause> causes = causesOf(removal.reasons, removal.pass);
    putText(writer, "id", removal.id);
    putNumber(writer, "pass", removal.pass);
    putCauses(writer, "causes", causes);
    putTexts(writer, "smallestChange", smallestChange(removal.id, causes));
  });
  putRemarks(writer, "others", run.others);
  putTexts(writer, "installed", run.installed);
}

}  // namespace

int explainLog(const WhyOptions& options) {
  std::vector<std::string> lines;
  if (!readLog(options.log, lines)) return kEnvironment;
  const std::vector<LoggedRun> runs = readInstallLog(lines);
  if (runs.empty()) {
    printMessage("no line of " + options.log + " is one of an installer's log");
    return kApplicationFailed;
  }
  if (options.asJson) {
    printJsonDocument("why", true, {}, [&runs](JsonWriter& writer) {
      putRows(writer, "runs", runs, [&writer](const LoggedRun& run) { putRun(writer, run); });
    });
    return kDone;
  }
  for (const LoggedRun& run : runs) printRun(run, {options});
  return kDone;
}

}  // namespace wz
