/// Why something is refused: the id of a row of the table that `wz explain` reads ("WZ-0213"), null
/// where nothing is wrong.
#ifndef VERIFIER_CAUSE_H
#define VERIFIER_CAUSE_H

namespace verifier {

using Cause = const char*;
inline constexpr Cause kGood = nullptr;

}  // namespace verifier

#endif  // VERIFIER_CAUSE_H
