/// What a terminal makes of a package: a word, a code, and the reasons.
#ifndef WZ_MATRIX_VERDICT_H
#define WZ_MATRIX_VERDICT_H

#include <string>
#include <string_view>

#include "wz/terminal/installation.h"

namespace wz {

struct Verdict {
  enum class Word {
    kAccepted,    ///< what the package is for comes about
    kDowngrades,  ///< the same, in place of something newer
    kRemoves,     ///< the same, but something else vanishes that nobody asked to remove
    kRefused,     ///< it does not come about
    kDied,        ///< the trial came to no end
  };
  Word word = Word::kDied;
  std::string code;    ///< "WZ-0503"; empty where it is accepted
  std::string reason;  ///< the line or the finding behind the code
  std::string json;    ///< the members of the verdict in JSON, in one line, without braces
};

/// "accepted" and so on, in its index order.
inline constexpr const char* kVerdictWords[] = {"accepted", "downgrades", "removes", "refused",
                                                "died"};
inline constexpr std::size_t kVerdictWordCount = std::size(kVerdictWords);

[[nodiscard]] const char* wordText(Verdict::Word word);

/// Whether the package does what it is for.
[[nodiscard]] bool isTaken(const Verdict& verdict);

/// The verdict about the package `index` of a run.
[[nodiscard]] Verdict judge(const std::vector<WaitingPackage>& packages,
                            const InstallOutcome& outcome, std::size_t index);

/// That of a trial that ended early.
/// \param how  "it was ended by the signal 11"
[[nodiscard]] Verdict diedVerdict(const std::string& file, const std::string& how);

/// Reads the members back. False when they are none.
[[nodiscard]] bool readVerdict(std::string_view json, Verdict& verdict);

}  // namespace wz

#endif  // WZ_MATRIX_VERDICT_H
