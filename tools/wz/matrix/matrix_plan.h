/// Which cells a matrix has, in which order they are told, in which order they are worked on, and
/// which of them one share of the work is.
///
/// Cells are told package by package, each on one terminal after the other; of packages that are
/// tried together, terminal by terminal. The work is that on each group of equal terminals; a share
/// is a part of it without a gap.
#ifndef WZ_MATRIX_MATRIX_PLAN_H
#define WZ_MATRIX_MATRIX_PLAN_H

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

#include "wz/matrix/fleet.h"

namespace wz {

/// The share `number` of `count`, from 1.
struct Share {
  std::size_t number = 1, count = 1;
};

struct MatrixShape {
  std::size_t packages = 0, terminals = 0;
  bool isTogether = false;
};

struct CellPlace {
  std::size_t package = 0, terminal = 0;

  /// Goes to the next place in the order of telling. False behind the last.
  [[nodiscard]] bool next(const MatrixShape& shape);
  /// Whether another row of a table begins here.
  [[nodiscard]] bool isFirstOfRow(const MatrixShape& shape) const;
};

class MatrixPlan {
 public:
  /// What a process is to try on the terminals of a group: packages, each by itself or all at once.
  struct Work {
    std::size_t group = 0;
    std::vector<std::size_t> packages;
  };

  MatrixPlan(const MatrixShape& shape, const Fleet& fleet, const Share& share);

  [[nodiscard]] const MatrixShape& shape() const { return shape_; }
  [[nodiscard]] bool isShared(std::size_t package, std::size_t group) const;
  /// The cells of the share.
  [[nodiscard]] std::size_t cellCount() const { return cellCount_; }

  /// The next work in which there is something that is not `known`; nothing behind the last. At
  /// first there is little work at once, so that there is something to be seen; then more, so that
  /// less is spent on beginnings.
  [[nodiscard]] std::optional<Work> nextWork(
      const std::function<bool(std::size_t package, std::size_t group)>& isKnown);

 private:
  [[nodiscard]] bool isBehindLast() const;

  MatrixShape shape_;
  std::size_t groups_, first_, end_;  // of the work
  std::size_t cellCount_ = 0;
  std::size_t group_ = 0, package_ = 0, height_ = 1;  // what comes next
};

}  // namespace wz

#endif  // WZ_MATRIX_MATRIX_PLAN_H
