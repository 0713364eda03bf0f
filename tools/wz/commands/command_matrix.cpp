#include "wz/commands/command_matrix.h"

#include <sched.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "workstation/terminal/terminal_profile.h"
#include "wz/matrix/fleet.h"
#include "wz/matrix/fleet_reader.h"
#include "wz/matrix/lines_output.h"
#include "wz/matrix/matrix_lines.h"
#include "wz/matrix/matrix_packages.h"
#include "wz/matrix/matrix_page.h"
#include "wz/matrix/matrix_plan.h"
#include "wz/matrix/matrix_run.h"
#include "wz/matrix/matrix_table.h"
#include "wz/reports/json_document.h"
#include "wz/reports/lost_output.h"
#include "wz/reports/output.h"
#include "wz/reports/output_file.h"
#include "wz/terminal/interrupt.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

namespace fs = std::filesystem;

// ---- What all that is found goes through -------------------------------------------------------

// Tells a matrix by all the ways that the user has asked for.
class Teller {
 public:
  Teller(const MatrixOptions& options, const MatrixHead& head)
      : options_(options),
        head_(head),
        lines_(options.asJson),
        table_(head, outputWidth()),
        page_(head) {}

  // `kept` octets of the file of lines are what an earlier run has written.
  [[nodiscard]] bool begin(std::uint64_t kept) {
    std::string error;
    if (!options_.output.empty() && !lines_.open(options_.output, kept, error)) {
      printMessage(error);
      return false;
    }
    if (!options_.page.empty() && !pageFile_.choose(options_.page, error)) {
      printMessage(error);
      return false;
    }
    const auto tell = [&](const std::string& line) {
      return kept == 0 ? lines_.write(line) : lines_.writeEarlier(line);
    };
    if (!tell(head_.firstLine())) return false;
    for (const std::string& line : head_.packageLines) {
      if (!tell(line)) return false;
    }
    return std::all_of(head_.terminals.begin(), head_.terminals.end(),
                       [&](const MatrixHead::Terminal& one) { return tell(one.line); });
  }

  [[nodiscard]] bool tell(const CellPlace& place, const Verdict& verdict, bool isEarlier) {
    summary_.add(head_, place, verdict);
    if (!options_.asJson) table_.add(place, verdict);
    if (!options_.page.empty()) page_.add(place, verdict);
    if (hasLostOutput()) return false;
    const std::string line = cellLine(head_, place, verdict);
    return isEarlier ? lines_.writeEarlier(line) : lines_.write(line);
  }

  // An exit code.
  [[nodiscard]] int end() {
    if (!options_.asJson) {
      table_.end();
      summary_.print();
    }
    if (std::string error; !options_.page.empty() && !pageFile_.write(page_.text(), error)) {
      printMessage(error);
      return kEnvironment;
    }
    if (!lines_.write(summary_.documentLine(head_))) return kEnvironment;
    leaveJsonToChild();
    return summary_.areAllTaken() ? kDone : kApplicationFailed;
  }

 private:
  const MatrixOptions& options_;
  const MatrixHead& head_;
  LinesOutput lines_;
  MatrixTable table_;
  MatrixSummary summary_;
  MatrixPage page_;
  OutputFile pageFile_;
};

// ---- Trying ------------------------------------------------------------------------------------

bool readShare(const std::string& text, Share& share) {
  if (text.empty()) return true;
  const char* const end = text.data() + text.size();
  const auto number = std::from_chars(text.data(), end, share.number);
  const bool hasStroke = number.ptr != end && *number.ptr == '/';
  const auto count = std::from_chars(number.ptr + (hasStroke ? 1 : 0), end, share.count);
  if (number.ec == std::errc() && count.ec == std::errc() && hasStroke && count.ptr == end &&
      share.number >= 1 && share.number <= share.count) {
    return true;
  }
  printMessage("--shard wants K/N, such as 3/8, with K from 1 to N, not " + text);
  return false;
}

unsigned processors() {
  cpu_set_t set;
  CPU_ZERO(&set);
  if (sched_getaffinity(0, sizeof(set), &set) != 0) return 1;
  return static_cast<unsigned>(std::max(1, CPU_COUNT(&set)));
}

// Takes what an earlier run has found out. A file that ends before its first cell is begun anew.
int takeEarlier(const MatrixOptions& options, const MatrixHead& head, MatrixReader& earlier,
                bool& isThere) {
  std::error_code failure;
  isThere = options.resumes && fs::exists(options.output, failure);
  if (!isThere) return kDone;
  std::string error;
  if (!earlier.open(options.output, error)) {
    isThere = false;
    if (earlier.isCut()) return kDone;
    printMessage(error);
    return kEnvironment;
  }
  const MatrixHead& there = earlier.head();
  const auto isSameTerminal = [](const auto& one, const auto& other) {
    return one.line == other.line;
  };
  if (there.firstLine() == head.firstLine() && there.packageLines == head.packageLines &&
      std::equal(there.terminals.begin(), there.terminals.end(), head.terminals.begin(),
                 head.terminals.end(), isSameTerminal)) {
    return kDone;
  }
  printMessage(options.output +
               " is of other packages, terminals or options, or of another version of wz; without "
               "--resume it is written anew");
  return kEnvironment;
}

int tryAll(const MatrixOptions& options) {
  if (options.packages.empty() || options.terminals.empty()) {
    printMessage(options.packages.empty()
                     ? "which packages? Name them, or files to put together with --merge"
                     : "on which terminals? Name them with --terminals");
    return kUsage;
  }
  if (options.resumes && options.output.empty()) {
    printMessage("--resume goes on with the file of -o, which is not named");
    return kUsage;
  }
  Share share;
  if (!readShare(options.share, share)) return kUsage;
  MatrixPackages packages;
  if (const int code = packages.name(options.packages); code != kDone) return code;
  Fleet fleet(options.isUngrouped  ? Fleet::Grouping::kNone
              : options.isDistinct ? Fleet::Grouping::kOne
                                   : Fleet::Grouping::kEqual);
  if (!FleetReader(fleet).read(options.terminals)) return kEnvironment;

  const MatrixHead head = headOf(packages, fleet, options.isTogether, share);
  MatrixReader earlier;
  bool isThere = false;
  if (const int code = takeEarlier(options, head, earlier, isThere); code != kDone) return code;

  // The file is only written to once all of it has been read.
  std::vector<MatrixReader::Cell> earlierCells;
  std::string error;
  for (MatrixReader::Cell cell; isThere && earlier.next(cell, error);) {
    earlierCells.push_back(std::move(cell));
  }
  if (!error.empty()) {
    printMessage(error);
    return kEnvironment;
  }
  Teller teller(options, head);
  if (!teller.begin(isThere ? earlier.position() : 0)) return kEnvironment;
  const MatrixPlan plan(head.shape(), fleet, share);
  bool isEarlier = true;
  MatrixRun run(packages, fleet, plan, [&](const CellPlace& place, const Verdict& verdict) {
    return teller.tell(place, verdict, isEarlier);
  });
  for (const MatrixReader::Cell& cell : earlierCells) {
    if (run.takeEarlier(cell.place, cell.verdict)) continue;
    printMessage(options.output +
                 " has its cells in another order; without --resume it is written anew");
    return kEnvironment;
  }
  isEarlier = false;
  const unsigned jobs = options.jobs != 0 ? options.jobs : processors();
  const auto longest =
      std::chrono::milliseconds(std::max(1LL, std::llround(options.timeoutSeconds * 1000)));
  if (!run.run(jobs, longest)) return kEnvironment;
  if (!options.asJson && fleet.distinct() < fleet.terminals().size()) {
    printMessage(std::to_string(fleet.terminals().size()) + " terminals, " +
                 std::to_string(fleet.distinct()) + " of them different");
  }
  return teller.end();
}

// ---- Putting shares together -------------------------------------------------------------------

struct ShareFile {
  MatrixReader reader;
  MatrixReader::Cell cell;
  bool hasCell = false;
};

bool isSameMatrix(const MatrixHead& one, const MatrixHead& other) {
  return one.version == other.version && one.isTogether == other.isTogether &&
         one.packageLines == other.packageLines &&
         std::equal(one.terminals.begin(), one.terminals.end(), other.terminals.begin(),
                    other.terminals.end(),
                    [](const auto& a, const auto& b) { return a.line == b.line; });
}

bool goOn(ShareFile& file) {
  std::string error;
  file.hasCell = file.reader.next(file.cell, error);
  if (error.empty()) return true;
  printMessage(error);
  return false;
}

// The file whose next cell is that of the place; null: none.
ShareFile* fileWith(std::vector<std::unique_ptr<ShareFile>>& files, const CellPlace& place) {
  for (const auto& file : files) {
    if (file->hasCell && file->cell.place.package == place.package &&
        file->cell.place.terminal == place.terminal) {
      return file.get();
    }
  }
  return nullptr;
}

int tellMerged(std::vector<std::unique_ptr<ShareFile>>& files, const MatrixHead& head,
               Teller& teller) {
  CellPlace place;
  bool isMore = !head.packages.empty() && !head.terminals.empty();
  for (; isMore; isMore = place.next(head.shape())) {
    ShareFile* const file = fileWith(files, place);
    if (file == nullptr) {
      printMessage("the cell of " + head.packages[place.package] + " on " +
                   head.terminals[place.terminal].name +
                   " is in none of the files: a share is missing or cut off");
      return kEnvironment;
    }
    if (!teller.tell(place, file->cell.verdict, false)) return kEnvironment;
    // A share that was done twice is in two files.
    while (ShareFile* const same = fileWith(files, place)) {
      if (!goOn(*same)) return kEnvironment;
    }
  }
  return teller.end();
}

int merge(const MatrixOptions& options) {
  if (!options.packages.empty() || !options.terminals.empty() || !options.share.empty() ||
      options.resumes || options.isTogether) {
    printMessage("--merge takes what it needs from its files: no packages, terminals or shares");
    return kUsage;
  }
  std::vector<std::unique_ptr<ShareFile>> files;
  for (const std::string& name : options.merged) {
    files.push_back(std::make_unique<ShareFile>());
    std::string error;
    if (!files.back()->reader.open(name, error)) {
      printMessage(error);
      return kEnvironment;
    }
    if (!isSameMatrix(files.back()->reader.head(), files.front()->reader.head())) {
      printMessage(name + " is a share of another matrix than " + options.merged.front());
      return kEnvironment;
    }
    if (!goOn(*files.back())) return kEnvironment;
  }
  MatrixHead head = files.front()->reader.head();
  head.share = Share();
  Teller teller(options, head);
  const int code = teller.begin(0) ? tellMerged(files, head, teller) : kEnvironment;
  std::error_code failure;
  if (code == kEnvironment && fs::is_regular_file(options.output, failure)) {
    fs::remove(options.output, failure);  // half a matrix
  }
  return code;
}

// False after a message.
bool writesToOtherFiles(const MatrixOptions& options) {
  for (const std::string& written : {options.output, options.page}) {
    if (written == "-") {
      printMessage("- is no file; without -o, --json writes the lines to standard output");
      return false;
    }
    for (const auto* const inputs : {&options.packages, &options.terminals, &options.merged}) {
      for (const std::string& input : *inputs) {
        if (!isOtherFile(input, written)) return false;
      }
    }
  }
  if (options.output.empty() || options.output != options.page) return true;
  printMessage(options.output + " cannot hold the lines and the page at once");
  return false;
}

}  // namespace

int matrix(const MatrixOptions& options) {
  outliveReader();
  if (!writesToOtherFiles(options)) return kUsage;
  unsetenv(workstation::kProfileVariable);  // each terminal is what its own profile says
  return options.merged.empty() ? tryAll(options) : merge(options);
}

}  // namespace wz
