/// `wz matrix`.
#ifndef WZ_COMMANDS_COMMAND_MATRIX_H
#define WZ_COMMANDS_COMMAND_MATRIX_H

#include <string>
#include <vector>

namespace wz {

struct MatrixOptions {
  std::vector<std::string> packages;   // files
  std::vector<std::string> terminals;  // folders and files
  std::vector<std::string> merged;     // lines of shares; then there are no packages
  bool isTogether = false;
  bool isUngrouped = false;
  bool isDistinct = false;
  std::string share;   // "K/N"; empty: the whole
  std::string output;  // file for the lines; empty: none
  bool resumes = false;
  std::string page;   // file for HTML; empty: none
  unsigned jobs = 0;  // 0: as many as there are processors
  double timeoutSeconds = 120;
  bool asJson = false;
};

/// Tries packages on terminals, each on each.
int matrix(const MatrixOptions& options);

}  // namespace wz

#endif  // WZ_COMMANDS_COMMAND_MATRIX_H
