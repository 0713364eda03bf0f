/// A matrix as lines of JSON: what is tried, on what, and a cell a line, in the order of the plan.
///
///     {"schema": 1, "event": "matrix", ...}      once
///     {"schema": 1, "event": "package", ...}     each package
///     {"schema": 1, "event": "terminal", ...}    each terminal
///     {"schema": 1, "event": "cell", ...}        each cell
///     {"schema": "urn:wzapp:matrix:1", ...}      once, at the end: the result as a document
///
/// The lines of a share differ from those of the whole in the first line and in which cells there
/// are.
#ifndef WZ_MATRIX_MATRIX_LINES_H
#define WZ_MATRIX_MATRIX_LINES_H

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "wz/matrix/fleet.h"
#include "wz/matrix/matrix_packages.h"
#include "wz/matrix/matrix_plan.h"
#include "wz/matrix/verdict.h"

namespace wz {

/// What the lines before the cells say.
struct MatrixHead {
  struct Terminal {
    std::string name;
    std::uint64_t count = 1;
    std::string line;
  };
  std::string version;  ///< of the program
  bool isTogether = false;
  Share share;
  std::vector<std::string> packages;      ///< names
  std::vector<std::string> packageLines;  ///< the same, whole
  std::vector<Terminal> terminals;

  [[nodiscard]] MatrixShape shape() const {
    return {packages.size(), terminals.size(), isTogether};
  }
  [[nodiscard]] std::string firstLine() const;
};

[[nodiscard]] MatrixHead headOf(const MatrixPackages& packages, const Fleet& fleet, bool isTogether,
                                const Share& share);

[[nodiscard]] std::string cellLine(const MatrixHead& head, const CellPlace& place,
                                   const Verdict& verdict);

/// Reads such lines from a file, which may end early.
class MatrixReader {
 public:
  struct Cell {
    CellPlace place;
    Verdict verdict;
    std::string line;
  };

  /// Reads up to the first cell. False with a line of text in `error`; `isCut` says that there is
  /// only less than it should be.
  [[nodiscard]] bool open(const std::string& file, std::string& error);
  [[nodiscard]] bool isCut() const { return isCut_; }

  [[nodiscard]] const MatrixHead& head() const { return head_; }

  /// The next cell; false at the end of the cells, or with a line of text in `error`.
  [[nodiscard]] bool next(Cell& cell, std::string& error);

  /// Behind what has been read of the file, in octets.
  [[nodiscard]] std::uint64_t position() const { return position_; }

 private:
  [[nodiscard]] bool readLine(std::string& line);
  bool fail(const std::string& what, std::string& error) const;

  std::string name_;
  std::ifstream file_;
  bool isCut_ = false;
  std::size_t line_ = 0;
  std::uint64_t position_ = 0;
  MatrixHead head_;
  std::map<std::string, std::size_t> packageNumbers_, terminalNumbers_;
};

}  // namespace wz

#endif  // WZ_MATRIX_MATRIX_LINES_H
