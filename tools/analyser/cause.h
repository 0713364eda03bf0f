/// Why something is refused: the id of a row of the table that `wz explain` reads ("WZ-0213"), null
/// where nothing is wrong.
#ifndef ANALYSER_CAUSE_H
#define ANALYSER_CAUSE_H

namespace analyser {

using Cause = const char*;
inline constexpr Cause kGood = nullptr;

}  // namespace analyser

#endif  // ANALYSER_CAUSE_H
