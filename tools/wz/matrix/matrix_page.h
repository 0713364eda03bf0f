/// A matrix as one page of HTML, for a browser without a network: the table, and below it each code
/// with its rule, causes and repair and the cells that have it.
#ifndef WZ_MATRIX_MATRIX_PAGE_H
#define WZ_MATRIX_MATRIX_PAGE_H

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "wz/matrix/matrix_lines.h"

namespace wz {

class MatrixPage {
 public:
  explicit MatrixPage(const MatrixHead& head) : head_(head) {}

  void add(const CellPlace& place, const Verdict& verdict);

  /// The page, in UTF-8.
  [[nodiscard]] std::string text() const;

 private:
  struct Cell {
    CellPlace place;
    Verdict::Word word;
    std::size_t code, reason;  // numbers of texts
  };

  [[nodiscard]] std::size_t numberOf(const std::string& text);
  [[nodiscard]] std::string tableText() const;
  [[nodiscard]] std::string codeText(const std::string& code) const;

  const MatrixHead& head_;
  std::vector<Cell> cells_;  // in the order of telling
  std::vector<std::string> texts_;
  std::map<std::string, std::size_t> numbers_;  // of texts
};

}  // namespace wz

#endif  // WZ_MATRIX_MATRIX_PAGE_H
