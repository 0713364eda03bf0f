/// Tries what a plan says, and tells each cell in the plan's order as soon as all before it are
/// known.
#ifndef WZ_MATRIX_MATRIX_RUN_H
#define WZ_MATRIX_MATRIX_RUN_H

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "wz/matrix/cell_workers.h"
#include "wz/matrix/fleet.h"
#include "wz/matrix/matrix_packages.h"
#include "wz/matrix/matrix_plan.h"
#include "wz/matrix/progress.h"
#include "wz/matrix/verdict.h"

namespace wz {

class MatrixRun {
 public:
  /// Is told of a cell. False ends the run.
  using Hearer = std::function<bool(const CellPlace& place, const Verdict& verdict)>;

  MatrixRun(MatrixPackages& packages, const Fleet& fleet, const MatrixPlan& plan, Hearer hear);

  /// Takes a cell that an earlier run has told, and tells it. False when it is not the next one.
  [[nodiscard]] bool takeEarlier(const CellPlace& place, const Verdict& verdict);

  /// Tries the rest. False after a message, or when the hearer has ended it.
  [[nodiscard]] bool run(unsigned jobs, std::chrono::milliseconds longest);

 private:
  using Kept = std::shared_ptr<const Verdict>;

  [[nodiscard]] Kept& keptOf(std::size_t package, std::size_t group);
  [[nodiscard]] std::optional<Batch> nextBatch();
  void keep(std::size_t package, std::size_t group, Verdict verdict);
  void skipOthers();
  void goOn();
  [[nodiscard]] bool tell();

  MatrixPackages& packages_;
  const Fleet& fleet_;
  MatrixPlan plan_;
  Hearer hear_;
  std::vector<std::size_t> terminalsOf_;                                 // how many each group has
  std::vector<Kept> kept_;                                               // by package and group
  std::unordered_map<std::string, std::weak_ptr<const Verdict>> equal_;  // by their JSON
  CellPlace at_;                                                         // the next to be told
  bool isTold_ = false;                                                  // all
  bool hasFailed_ = false;
  MatrixProgress progress_;
};

}  // namespace wz

#endif  // WZ_MATRIX_MATRIX_RUN_H
