/// Whose name a package's manifests bear. A terminal does not bind the id in a manifest to the name
/// of its file, so an application can come under the id of another: it is then run with that one's
/// folder and stored data.
#ifndef WZ_REPORTS_IDENTITY_WARNINGS_H
#define WZ_REPORTS_IDENTITY_WARNINGS_H

#include <string>
#include <vector>

#include "wz/reports/installed_applications.h"
#include "wz/reports/package_report.h"

namespace wz {

/// A line of text for each manifest whose id is not the name of its file or folder, and for each id
/// that two applications of the package share. The case of letters does not count.
[[nodiscard]] std::vector<std::string> identityWarnings(const std::vector<InnerReport>& inners);

/// A line for each manifest of the package with the id of an application that is installed under
/// another name.
[[nodiscard]] std::vector<std::string> takenIdWarnings(const std::vector<InnerReport>& inners,
                                                       const InstalledApplications& installed);

}  // namespace wz

#endif  // WZ_REPORTS_IDENTITY_WARNINGS_H
