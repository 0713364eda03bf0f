/// Plays variants on a host program: one installation each, on a terminal on which nothing is
/// installed.
#ifndef WZ_TAMPER_PLAYER_H
#define WZ_TAMPER_PLAYER_H

#include <string>
#include <vector>

#include "wz/tamper/lab_folder.h"

namespace wz {

/// How what a host said of a variant differs from what it must say.
struct Difference {
  std::string variant, what;
  std::vector<std::string> missing, unexpected;  ///< lines of the log
  std::string otherwise;                         ///< what else is not as it must be; may be empty

  [[nodiscard]] bool isNone() const {
    return missing.empty() && unexpected.empty() && otherwise.empty();
  }
};

/// Compares a log, as the library writes it, with what is expected. Lines that only tell how the
/// run gets on do not count, nor does the order of those that do, nor what a host puts in front of
/// a line, such as a time.
[[nodiscard]] Difference compareLog(const KeptVariant& variant,
                                    const std::vector<std::string>& log);

class Player {
 public:
  Player() = default;
  ~Player();
  Player(const Player&) = delete;
  Player& operator=(const Player&) = delete;

  /// Makes the terminal: like the one in the folder `terminal`, or, without one, a new one with a
  /// sponsor of the package. False with a line of text in `error`.
  [[nodiscard]] bool begin(const std::string& labDirectory, const KeptLab& lab,
                           const std::string& terminal, std::string& error);

  /// Drops the files of a variant and runs `host` by /bin/sh inside the terminal. It is to install
  /// once and to write the log on one of its outputs. False with a line of text in `error` when the
  /// variant could not be played.
  [[nodiscard]] bool play(const KeptVariant& variant, const std::string& host,
                          Difference& difference, std::string& error);

 private:
  [[nodiscard]] bool reset(const KeptVariant& variant, std::string& error) const;

  std::string labDirectory_, application_;
  std::string folder_;    // to be removed
  std::string terminal_;  // in it
};

}  // namespace wz

#endif  // WZ_TAMPER_PLAYER_H
