/// What the second verifier, which shares no code with the library, says of a package, and over
/// what the two differ.
#ifndef WZ_REPORTS_SECOND_OPINION_H
#define WZ_REPORTS_SECOND_OPINION_H

#include <span>
#include <string>
#include <vector>

#include "crypto/store/authorities.h"
#include "wz/reports/package_report.h"

namespace wz {

struct SecondOpinion {
  struct Difference {
    std::string entry;     ///< of the package; empty: the package itself
    std::string library;   ///< "accepted", or the code by which it is refused
    std::string verifier;  ///< the same
  };
  bool wasAsked = false;
  std::string whyNot;  ///< "the package is too large" to be held in memory, or cannot be read
  bool isAccepted = false;
  std::vector<Difference> differences;
};

/// Asks as examinePackage() was asked for `report`: of a terminal that has the roots of all
/// `authorities`.
[[nodiscard]] SecondOpinion secondOpinion(const PackageReport& report,
                                          std::span<const wzapp::Authority> authorities);

}  // namespace wz

#endif  // WZ_REPORTS_SECOND_OPINION_H
