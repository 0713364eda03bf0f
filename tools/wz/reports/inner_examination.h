/// One archive of a package on its way through the checks of a terminal.
#ifndef WZ_REPORTS_INNER_EXAMINATION_H
#define WZ_REPORTS_INNER_EXAMINATION_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "archive/unzip.h"
#include "crypto/store/authorities.h"
#include "wz/reports/package_report.h"

namespace wz {

/// The authorities, and the certificates of the package that have been accepted so far. The later
/// of two with the same key identifier counts, as in the terminal's store.
struct Trust {
  std::vector<wzapp::Authority> rows;
  std::size_t authorityCount = 0;
  std::vector<std::vector<std::uint8_t>> certificates;  // what the rows behind the first are of
};

/// An entry, with as much of what comes out of it as is asked for.
[[nodiscard]] PackageEntry describeEntry(wzapp::UnZIP& archive, wzapp::UnZIP::Entry entry,
                                         EntrySizes sizes);

/// Takes the archive `entry` through the checks, up to the first that fails.
/// \param report  of the package, with its certificates.
/// \param diagnostics  takes what the check that fails says.
[[nodiscard]] InnerReport examineInner(wzapp::UnZIP& archive, wzapp::UnZIP::Entry entry,
                                       EntrySizes sizes, const Trust& trust,
                                       const PackageReport& report, Diagnostics& diagnostics);

}  // namespace wz

#endif  // WZ_REPORTS_INNER_EXAMINATION_H
