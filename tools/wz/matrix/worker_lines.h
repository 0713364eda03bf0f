/// What a process that tries packages tells the one that has started it: lines of a letter and a
/// text.
#ifndef WZ_MATRIX_WORKER_LINES_H
#define WZ_MATRIX_WORKER_LINES_H

#include <string>
#include <string_view>

#include "wz/terminal/terminal_image.h"

namespace wz {

enum class WorkerLine : char {
  kBegun = 'b',    ///< a trial
  kVerdict = 'v',  ///< members of JSON: about the next package of the trial
  kKept = 'k',     ///< entriesText(): what is installed before any trial
  kRemark = 'r',   ///< about what is to be installed before any trial
  kFailed = 'f',   ///< why there can be no trial on this machine
};

[[nodiscard]] std::string entriesText(const ImageEntries& entries);
[[nodiscard]] ImageEntries entriesIn(std::string_view text);

}  // namespace wz

#endif  // WZ_MATRIX_WORKER_LINES_H
