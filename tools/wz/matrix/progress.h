/// Says on a user's terminal how far a long work is, on one line that changes.
#ifndef WZ_MATRIX_PROGRESS_H
#define WZ_MATRIX_PROGRESS_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace wz {

/// "12,000"
[[nodiscard]] std::string grouped(std::uint64_t number);

/// "45 s", "12 min 5 s", "3 h 20 min"
[[nodiscard]] std::string durationText(double seconds);

/// On the live line (screen.h), from the second second on.
class MatrixProgress {
 public:
  /// \param cells   how many there are.
  /// \param weight  of all of them together: what they are expected to cost, in any unit.
  MatrixProgress(std::size_t cells, double weight);
  ~MatrixProgress();
  MatrixProgress(const MatrixProgress&) = delete;
  MatrixProgress& operator=(const MatrixProgress&) = delete;

  void add(std::size_t cells, double weight);
  /// Cells that need nothing any more, and tell nothing about how long the others take.
  void leaveOut(std::size_t cells, double weight);
  /// Writes the line anew when it is time to.
  void show();
  /// Takes the line away.
  void clear();

  [[nodiscard]] double seconds() const;

 private:
  using Clock = std::chrono::steady_clock;

  bool isShown_ = false;
  std::size_t cells_, done_ = 0, leftOut_ = 0;
  double weight_, doneWeight_ = 0;
  Clock::time_point begin_ = Clock::now(), shown_ = begin_;
};

}  // namespace wz

#endif  // WZ_MATRIX_PROGRESS_H
