/// A terminal that exists for this process alone, on a file system in memory that goes with it: no
/// end of the process, however sudden, leaves anything of it.
#ifndef WZ_MATRIX_TRIAL_PLACE_H
#define WZ_MATRIX_TRIAL_PLACE_H

#include <cstdint>
#include <string>

#include "wz/terminal/terminal_image.h"

namespace wz {

/// What a trial may fill, in octets. It is the same on every machine, since the installer refuses
/// what does not fit.
inline constexpr std::uint64_t kTrialRoom = std::uint64_t{1} << 30;

class TrialPlace {
 public:
  /// Makes the terminal and enters it. For a process with one thread, once. False with a line of
  /// text in `error`.
  [[nodiscard]] bool enter(const TerminalImage& image, std::string& error);

  /// Makes what is installed now what reset() goes back to, and gives it. False with a line of text
  /// in `error`.
  [[nodiscard]] bool keep(ImageEntries& installed, std::string& error);

  /// Takes away what installations have done, and the packages that wait.
  [[nodiscard]] bool reset(std::string& error);

 private:
  std::string directory_;
  ImageEntries installed_;
};

}  // namespace wz

#endif  // WZ_MATRIX_TRIAL_PLACE_H
