/// What is wrong with something that was looked at: a code, and where.
#ifndef WZ_REPORTS_DIAGNOSTIC_H
#define WZ_REPORTS_DIAGNOSTIC_H

#include <cstddef>
#include <string>
#include <vector>

#include "wz/reports/json_output.h"
#include "wz/words/codes.h"

namespace wz {

struct Diagnostic {
  std::string code;     ///< "WZ-0123"; the table of codes has the rest of it
  std::string message;  ///< what is wrong here, a sentence without its stop
  std::string file;
  std::string entry;                 ///< of the archive that `file` is; empty: the file itself
  std::size_t line = 0, column = 0;  ///< from 1; 0: not of a place in the file
  std::string evidence;              ///< what was found there
};

using Diagnostics = std::vector<Diagnostic>;

[[nodiscard]] bool isError(const Diagnostic& diagnostic);
[[nodiscard]] bool hasErrors(const Diagnostics& diagnostics);

/// "shop/manifest.mft:3:7: error: a key stands twice in one object: id [WZ-0706]"
[[nodiscard]] std::string textOf(const Diagnostic& diagnostic);

/// How to repair it, with the command line where there is one.
[[nodiscard]] std::string repairOf(const Diagnostic& diagnostic);

/// "2 errors, 1 warning"; "nothing to complain of" without any.
[[nodiscard]] std::string countText(const Diagnostics& diagnostics);

/// Prints each with its evidence and its repair; with `verbose` also the rule behind it.
void printDiagnostics(const Diagnostics& diagnostics, bool verbose);

/// Writes one as an object.
void putDiagnostic(JsonWriter& writer, const Diagnostic& diagnostic);

}  // namespace wz

#endif  // WZ_REPORTS_DIAGNOSTIC_H
