/// What is for eyes alone: colours, a line that comes and goes, and how far something is. All of it
/// goes to the user's terminal, or nowhere. Any thread may call, but Progress is its maker's.
#ifndef WZ_REPORTS_SCREEN_H
#define WZ_REPORTS_SCREEN_H

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

namespace wz {

/// Whether `file` is a terminal that knows more than lines (isatty(3), TERM is not "dumb").
[[nodiscard]] bool isScreen(int file);

/// A line with the word that it begins with ("refused:", "warning:") in the colour of what that
/// means; as it is where `file` is no screen, or the environment variable NO_COLOR is not empty.
[[nodiscard]] std::string painted(int file, const std::string& line);

/// Shows `text` below all else on the screen that standard error is, until something is written
/// (output.h) or it is cleared. Nothing where that is no screen, or with --quiet.
void showLiveLine(std::string_view text);
void clearLiveLine();

/// How far something is that takes time: on the live line, from its second second on and then at
/// most ten times a second. Gone with the object.
class Progress {
 public:
  /// \param what   "making keys"
  /// \param total  how many steps there are; 0 where nobody knows, or cares.
  /// \param patience  how long nothing is said.
  explicit Progress(std::string what, std::size_t total = 0,
                    std::chrono::milliseconds patience = std::chrono::seconds(1));
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// One step more is done.
  void step();

 private:
  using Clock = std::chrono::steady_clock;

  std::string what_;
  std::size_t total_, done_ = 0;
  std::chrono::milliseconds patience_;
  Clock::time_point begin_ = Clock::now(), shown_ = {};
  bool isShown_ = false;
};

/// "making keys: 7 of 13, about 2 s left"
[[nodiscard]] std::string progressText(std::string_view what, std::size_t done, std::size_t total,
                                       std::chrono::milliseconds elapsed);

}  // namespace wz

#endif  // WZ_REPORTS_SCREEN_H
