/// Processes that try packages on terminals: each on one terminal, one trial after the other, as
/// many at once as there are processors. The library keeps what it has found out about the terminal
/// for as long as its process lives, so a process never changes from one terminal to another. One
/// that dies costs the trial that it was at; another one goes on behind it.
#ifndef WZ_MATRIX_CELL_WORKERS_H
#define WZ_MATRIX_CELL_WORKERS_H

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "wz/matrix/fleet.h"
#include "wz/matrix/verdict.h"
#include "wz/terminal/package_files.h"

namespace wz {

/// One installation: packages, and the number of each in the matrix.
struct Trial {
  std::shared_ptr<const PackageFiles> files;
  std::vector<std::size_t> packages;
};

/// Installations on a terminal of one group, each as if it were the first.
struct Batch {
  std::size_t group = 0;
  std::vector<Trial> trials;
};

class CellWorkers {
 public:
  struct Calls {
    /// The next work; nothing: there is no more, or it cannot be had.
    std::function<std::optional<Batch>()> next;
    /// What came of a package on the terminals of a group.
    std::function<void(std::size_t package, std::size_t group, Verdict verdict)> take;
    /// Now and then, while trials go on. False ends them.
    std::function<bool()> wait;
  };

  /// \param jobs     how many trials at once.
  /// \param longest  how long one may take.
  CellWorkers(const std::vector<FleetGroup>& groups, unsigned jobs,
              std::chrono::milliseconds longest);
  ~CellWorkers();
  CellWorkers(const CellWorkers&) = delete;
  CellWorkers& operator=(const CellWorkers&) = delete;

  /// Does all the work that there is. False after a message when the machine does not allow it.
  [[nodiscard]] bool run(const Calls& calls);

 private:
  struct Worker;
  using Clock = std::chrono::steady_clock;

  [[nodiscard]] bool fill(const Calls& calls);
  [[nodiscard]] bool start(Batch batch);
  [[nodiscard]] bool readFrom(Worker& worker, const Calls& calls);
  [[nodiscard]] bool takeLine(Worker& worker, const std::string& line, const Calls& calls);
  void finish(Worker& worker, const Calls& calls);
  [[nodiscard]] int longestWait() const;
  void endLate();

  const std::vector<FleetGroup>& groups_;
  unsigned jobs_;
  std::chrono::milliseconds longest_;
  std::vector<std::optional<ImageEntries>> kept_;  // by group: with what is to be installed first
  std::vector<std::unique_ptr<Worker>> workers_;
  std::deque<Batch> again_;  // what those that died have left
  bool isOver_ = false;      // there is no more work to be had
};

}  // namespace wz

#endif  // WZ_MATRIX_CELL_WORKERS_H
