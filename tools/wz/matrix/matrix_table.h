/// A matrix in words, on standard output.
#ifndef WZ_MATRIX_MATRIX_TABLE_H
#define WZ_MATRIX_MATRIX_TABLE_H

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "wz/matrix/matrix_lines.h"
#include "wz/reports/json_output.h"

namespace wz {

/// Prints a row as soon as it is complete. Where all columns fit into the width each row is a line
/// of a table; where they do not, its cells stand below its name, those that say the same together.
class MatrixTable {
 public:
  /// \param width  of a line, in characters.
  MatrixTable(const MatrixHead& head, std::size_t width);

  void add(const CellPlace& place, const Verdict& verdict);
  void end();

 private:
  struct Cell {
    std::size_t column;
    std::string text;
  };

  void printColumns() const;
  void printRow();
  void printLine() const;
  void printParagraph() const;
  [[nodiscard]] const std::string& columnName(std::size_t column) const;

  const MatrixHead& head_;
  std::size_t width_;
  bool fits_ = false, isBegun_ = false;
  std::size_t nameWidth_ = 0;
  std::vector<std::size_t> columnWidths_;
  std::string row_;  // name
  std::vector<Cell> cells_;
};

/// How wide standard output is: the terminal's width, otherwise 100 characters.
[[nodiscard]] std::size_t outputWidth();

/// What cells come to.
class MatrixSummary {
 public:
  void add(const MatrixHead& head, const CellPlace& place, const Verdict& verdict);

  [[nodiscard]] bool areAllTaken() const;
  [[nodiscard]] std::size_t cells() const { return cells_; }

  /// Each code once, with the first cell that has it, and how to repair it; then the counts.
  void print() const;
  /// The document at the end of the lines.
  [[nodiscard]] std::string documentLine(const MatrixHead& head) const;

 private:
  struct Finding {
    std::size_t cells = 0;
    std::string package, terminal, reason;  // of the first
  };

  [[nodiscard]] std::vector<std::string> codesByCount() const;

  std::size_t cells_ = 0;
  std::size_t counts_[kVerdictWordCount] = {};       // of cells, by word
  std::uint64_t terminals_[kVerdictWordCount] = {};  // of the terminals that they stand for
  std::map<std::string, Finding> findings_;          // by code
};

}  // namespace wz

#endif  // WZ_MATRIX_MATRIX_TABLE_H
